#include "app/pages/StorageRemover.h"

#include "platform/Trash.h"
#include "services/ShownText.h"

#include <cerrno>
#include <ftw.h>
#include <sys/stat.h>
#include <unistd.h>

namespace velmox {

namespace {

QString shown(const QByteArray& path) {
    return shownName(QByteArrayView(path));
}

QByteArray folderOf(const QByteArray& path) {
    const qsizetype slash = path.lastIndexOf('/');
    return slash <= 0 ? QByteArray("/") : path.left(slash);
}

// Why the user may not take `path` out of its folder, or nothing when they may.
QString whyNotRemovable(const QByteArray& path) {
    struct stat item {};
    if (::lstat(path.constData(), &item) != 0)
        return QStringLiteral("“%1” is no longer there.").arg(shown(path));
    const QByteArray folder = folderOf(path);
    if (::access(folder.constData(), W_OK | X_OK) != 0)
        return QStringLiteral("“%1” can't be removed: you don't have permission to change the "
                              "folder “%2”.")
            .arg(shown(path), shown(folder));
    struct stat parent {};
    // In a folder with the sticky bit (like /tmp) only the owner may remove an item.
    if (::stat(folder.constData(), &parent) == 0 && (parent.st_mode & S_ISVTX) &&
        ::geteuid() != 0 && item.st_uid != ::geteuid() && parent.st_uid != ::geteuid())
        return QStringLiteral("“%1” can't be removed: it belongs to another user and its folder "
                              "only lets owners remove their items.")
            .arg(shown(path));
    return {};
}

thread_local int deleteError = 0;
thread_local QByteArray deleteFailedAt;

int deleteOne(const char* path, const struct stat*, int type, struct FTW*) {
    const int result = type == FTW_DP ? ::rmdir(path) : ::unlink(path);
    if (result != 0 && deleteError == 0) {
        deleteError = errno;
        deleteFailedAt = path;
    }
    return 0; // goes on, so as much as possible is removed
}

} // namespace

StorageRemover::~StorageRemover() = default;

StorageRemover::Outcome StorageRemover::remove(const QList<QByteArray>& paths, Mode mode) {
    Outcome outcome;
    outcome.mode = mode;
    for (const QByteArray& path : paths) {
        if (const QString why = whyNotRemovable(path); !why.isEmpty()) {
            outcome.failures << why;
            continue;
        }
        if (mode == Mode::trash) {
            const Result<QByteArray> name = Trash::moveToTrashBytes(path);
            if (!name) {
                outcome.failures << name.error();
                continue;
            }
            outcome.removed << path;
            outcome.trashed << ActionHistoryStore::TrashedItem{path, *name};
            continue;
        }
        deleteError = 0;
        deleteFailedAt.clear();
        // Depth first, never following a link and never entering another file system.
        ::nftw(path.constData(), deleteOne, 32, FTW_DEPTH | FTW_PHYS | FTW_MOUNT);
        struct stat left {};
        if (::lstat(path.constData(), &left) != 0) {
            outcome.removed << path;
            continue;
        }
        outcome.failures << QStringLiteral("“%1” was not deleted completely: “%2” could not be "
                                           "removed (%3).")
                                .arg(shown(path), shown(deleteFailedAt),
                                     qt_error_string(deleteError ? deleteError : EBUSY));
        if (!deleteFailedAt.isEmpty() && deleteFailedAt != path)
            outcome.partlyRemoved << path;
    }
    return outcome;
}

bool StorageRemover::start(const QList<QByteArray>& paths, Mode mode) {
    if (running_)
        return false;
    running_ = true;
    // The last batch's thread has ended (it reported back); joined here.
    worker_ = std::jthread([this, paths, mode] {
        Outcome outcome = remove(paths, mode);
        QMetaObject::invokeMethod(
            this,
            [this, outcome = std::move(outcome)] {
                running_ = false;
                emit finished(outcome);
            },
            Qt::QueuedConnection);
    });
    return true;
}

} // namespace velmox
