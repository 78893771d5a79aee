#pragma once

#include "platform/PlatformPaths.h"
#include "services/ActionHistoryEntry.h"
#include "tests/support/TestFiles.h"

#include <QCoreApplication>
#include <QTemporaryDir>

namespace velmox {

// Failure messages name an entry by its action and detail.
inline void PrintTo(const ActionHistoryEntry& entry, std::ostream* os) {
    *os << '{' << entry.action.toStdString() << ": " << entry.detail.left(40).toStdString() << '}';
}

} // namespace velmox

namespace velmox::test {

// Points the data and cache folders (and so the Trash) at fresh folders inside HOME, on the
// home file system, for the life of the object.
class FreshDataFolders {
public:
    FreshDataFolders()
        : root_(PlatformPaths::home() + QStringLiteral("/fresh-XXXXXX")),
          oldData_(qgetenv("XDG_DATA_HOME")), oldCache_(qgetenv("XDG_CACHE_HOME")) {
        qputenv("XDG_DATA_HOME", QFile::encodeName(root_.filePath(QStringLiteral("data"))));
        qputenv("XDG_CACHE_HOME", QFile::encodeName(root_.filePath(QStringLiteral("cache"))));
        QDir().mkpath(root_.filePath(QStringLiteral("cache")));
    }
    ~FreshDataFolders() {
        qputenv("XDG_DATA_HOME", oldData_);
        qputenv("XDG_CACHE_HOME", oldCache_);
    }

private:
    QTemporaryDir root_;
    QByteArray oldData_;
    QByteArray oldCache_;
};

// Runs the queued insertions of records made so far.
inline void deliverRecords() {
    QCoreApplication::processEvents();
}

} // namespace velmox::test
