#pragma once

#include <QString>

namespace velmox {

// Why a folder could not be read during a scan.
struct UnreadableReason {
    enum class Kind {
        needsAdministrator,
        ownPermissions, // the user owns the folder but its permissions shut them out
        needsFullDiskAccess,
        protectedByMacOS,
        readableNow,
        gone,
        other
    };
    Kind kind = Kind::other;
    int errorNumber = 0; // for `other`
    bool operator==(const UnreadableReason&) const = default;

    // The reason behind an error from opening a folder. Linux has no privacy layer, so
    // every permission error needs administrator rights.
    static UnreadableReason fromOpenError(int errorNumber);

    QString label() const;
    QString explanation() const;
};

// One folder of the unreadable-folders sheet.
struct UnreadableFolderInfo {
    QString path;
    UnreadableReason reason;
    QString owner; // "user root, permissions 700"
    bool operator==(const UnreadableFolderInfo&) const = default;

    // Looks at the folder again now: it may have gone or become readable since the scan.
    static UnreadableFolderInfo inspect(const QByteArray& path, UnreadableReason recorded);
};

} // namespace velmox
