#include "storage/UnreadableReason.h"

#include <cerrno>
#include <cstring>
#include <fcntl.h>
#include <pwd.h>
#include <sys/stat.h>
#include <unistd.h>

namespace velmox {

UnreadableReason UnreadableReason::fromOpenError(int errorNumber) {
    if (errorNumber == EACCES || errorNumber == EPERM)
        return {Kind::needsAdministrator, 0};
    return {Kind::other, errorNumber};
}

QString UnreadableReason::label() const {
    switch (kind) {
    case Kind::needsAdministrator:
        return QStringLiteral("Needs administrator rights");
    case Kind::ownPermissions:
        return QStringLiteral("Your folder's permissions");
    case Kind::needsFullDiskAccess:
        return QStringLiteral("Needs Full Disk Access");
    case Kind::protectedByMacOS:
        return QStringLiteral("Sealed by macOS");
    case Kind::readableNow:
        return QStringLiteral("Readable now (rescan)");
    case Kind::gone:
        return QStringLiteral("No longer exists");
    case Kind::other:
        break;
    }
    return QStringLiteral("Error %1: %2")
        .arg(errorNumber)
        .arg(QString::fromLocal8Bit(std::strerror(errorNumber)));
}

QString UnreadableReason::explanation() const {
    switch (kind) {
    case Kind::needsAdministrator:
        return QStringLiteral("Only root (or its owner) may open this folder.")
#ifdef Q_OS_MACOS
               + QStringLiteral(" Full Disk Access does not change file permissions.")
#endif
               + QStringLiteral(" Scans read it with administrator rights when a password is "
                                "saved in Settings > Access; otherwise use \"Read Blocked "
                                "Folders\".");
    case Kind::ownPermissions:
        return QStringLiteral(
            "This folder is yours, but its permissions do not let you open it. You can change "
            "them in the file manager (Properties > Permissions) or with chmod u+rx, then rescan.");
    case Kind::needsFullDiskAccess:
        return QStringLiteral("macOS privacy protection is blocking this folder. Turn on Full "
                              "Disk Access for Velmox, then quit and reopen the app.");
    case Kind::protectedByMacOS:
        return QStringLiteral("macOS keeps this folder sealed (System Integrity Protection or "
                              "an app data vault), even from apps with Full Disk Access.");
    case Kind::readableNow:
        return QStringLiteral("The folder can be opened now. It was blocked during the scan; "
                              "rescan to include it.");
    case Kind::gone:
        return QStringLiteral("The folder was removed after the scan.");
    case Kind::other:
        break;
    }
    return QStringLiteral("The system reported an unexpected error for this folder.");
}

UnreadableFolderInfo UnreadableFolderInfo::inspect(const QByteArray& path,
                                                   UnreadableReason recorded) {
    UnreadableFolderInfo info{QString::fromUtf8(path), recorded, {}};
    struct stat status {};
    if (::lstat(path.constData(), &status) != 0) {
        if (errno == ENOENT || errno == ENOTDIR)
            info.reason = {UnreadableReason::Kind::gone, 0};
        return info;
    }
    passwd entry{};
    passwd* owner = nullptr;
    char buffer[4096];
    ::getpwuid_r(status.st_uid, &entry, buffer, sizeof buffer, &owner);
    info.owner = QStringLiteral("user ") +
                 (owner ? QString::fromLocal8Bit(owner->pw_name) : QString::number(status.st_uid)) +
                 QStringLiteral(", permissions ") +
                 QStringLiteral("%1").arg(status.st_mode & 07777, 3, 8, QLatin1Char('0'));
    const int fd = ::open(path.constData(), O_RDONLY | O_DIRECTORY | O_CLOEXEC);
    if (fd >= 0) {
        ::close(fd);
        info.reason = {UnreadableReason::Kind::readableNow, 0};
    } else if ((errno == EACCES || errno == EPERM) && status.st_uid == ::geteuid() &&
               ::geteuid() != 0) {
        info.reason = {UnreadableReason::Kind::ownPermissions, 0};
    }
    return info;
}

} // namespace velmox
