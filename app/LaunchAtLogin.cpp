#include "app/LaunchAtLogin.h"

#include "platform/PlatformPaths.h"

#include <QDir>
#include <QFile>
#include <QFileInfo>
#include <QSaveFile>

namespace velmox {

namespace {

QString configHome() {
    const QString value = qEnvironmentVariable("XDG_CONFIG_HOME");
    return !value.isEmpty() && QDir::isAbsolutePath(value)
               ? value
               : PlatformPaths::home() + QStringLiteral("/.config");
}

// The Exec key's quoting rules: arguments with reserved characters go in double quotes,
// with ", `, $ and \ escaped.
QString quotedExecArgument(const QString& argument) {
    static const QString reserved = QStringLiteral(" \t\n\"'\\><~|&;$*?#()`");
    bool needsQuotes = false;
    for (QChar c : argument)
        needsQuotes = needsQuotes || reserved.contains(c);
    if (!needsQuotes)
        return argument;
    QString quoted = QStringLiteral("\"");
    for (QChar c : argument) {
        if (c == QLatin1Char('"') || c == QLatin1Char('`') || c == QLatin1Char('$') ||
            c == QLatin1Char('\\'))
            quoted += QLatin1Char('\\');
        quoted += c;
    }
    return quoted + QLatin1Char('"');
}

} // namespace

QString LaunchAtLogin::entryPath() {
    return configHome() + QStringLiteral("/autostart/velmox.desktop");
}

bool LaunchAtLogin::isEnabled() {
    return QFileInfo::exists(entryPath());
}

QByteArray LaunchAtLogin::entryText(const QString& executable) {
    // A desktop file's Exec value also doubles every backslash of the quoted form.
    QString exec = quotedExecArgument(executable);
    exec.replace(QLatin1Char('\\'), QStringLiteral("\\\\"));
    return QStringLiteral("[Desktop Entry]\n"
                          "Type=Application\n"
                          "Name=Velmox\n"
                          "Comment=Starts Velmox in the system tray when you log in\n"
                          "Exec=%1 %2\n"
                          "Icon=velmox\n"
                          "Terminal=false\n"
                          "X-GNOME-Autostart-enabled=true\n")
        .arg(exec, kLoginItemArgument)
        .toUtf8();
}

Status LaunchAtLogin::setEnabled(bool enabled, const QString& executable) {
    const QString path = entryPath();
    if (!enabled) {
        if (QFileInfo::exists(path) && !QFile::remove(path))
            return failure(
                QStringLiteral("The autostart entry “%1” could not be removed.").arg(path));
        return Done{};
    }
    if (!QDir().mkpath(QFileInfo(path).absolutePath()))
        return failure(QStringLiteral("The folder for “%1” could not be made.").arg(path));
    QSaveFile file(path);
    const QByteArray text = entryText(executable);
    if (!file.open(QIODevice::WriteOnly) || file.write(text) != text.size() || !file.commit())
        return failure(QStringLiteral("The autostart entry “%1” could not be written (%2).")
                           .arg(path, file.errorString()));
    return Done{};
}

} // namespace velmox
