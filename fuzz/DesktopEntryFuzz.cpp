// A desktop entry as the protected-apps chooser reads it: the first line of the input is the
// file's name, the rest its contents.
#include "automation/AutomationProtection.h"

#include <cstddef>
#include <cstdint>

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    using velmox::appIdFromDesktopEntry;
    const QByteArray bytes(reinterpret_cast<const char*>(data), static_cast<qsizetype>(size));
    const qsizetype newline = bytes.indexOf('\n');
    const QString name = QString::fromUtf8(newline < 0 ? bytes : bytes.left(newline));
    const QByteArray contents = newline < 0 ? QByteArray() : bytes.mid(newline + 1);
    const QString id = appIdFromDesktopEntry(name, contents);

    // An id names a cache folder: it is the file's name without ".desktop", never empty, never
    // a path and never hidden.
    if (!id.isEmpty() && (name != id + QLatin1String(".desktop") || id.contains(QLatin1Char('/')) ||
                          id.startsWith(QLatin1Char('.'))))
        __builtin_trap();
    // Comments and blank lines, line endings and groups after the main one change nothing.
    QByteArray crlf = contents;
    crlf.replace('\n', "\r\n");
    if (appIdFromDesktopEntry(name, crlf) != id ||
        appIdFromDesktopEntry(name, "# note\n\n" + contents) != id ||
        appIdFromDesktopEntry(name, contents + "\n[X-Other]\nType=Link\n") != id)
        __builtin_trap();
    // The same entry with its type written by the book is an application.
    if (!name.contains(QLatin1Char('/')) && name.endsWith(QLatin1String(".desktop")) &&
        name.size() > 8 && !name.startsWith(QLatin1Char('.')) &&
        appIdFromDesktopEntry(name, "[Desktop Entry]\nType=Application\n").isEmpty())
        __builtin_trap();
    return 0;
}
