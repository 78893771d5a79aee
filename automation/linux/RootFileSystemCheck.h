#pragma once

#include <QByteArray>
#include <QList>
#include <QString>
#include <optional>

namespace velmox {

// A read-only health check of a mounted file system, from the file system's own error state
// and counters: ext2/3/4 from the superblock (`tune2fs -l`), btrfs from its device error
// counters and a read-only scrub, XFS from `xfs_scrub -n`. Nothing here repairs, and no
// checker meant for unmounted file systems (`fsck -n`) is ever used.
struct RootFileSystemCheck {
    struct Mount {
        QByteArray mountPoint;
        QByteArray type;
        QByteArray source;
        QByteArray device; // "major:minor"
        bool operator==(const Mount&) const = default;
    };
    // Every mount of a /proc/<pid>/mountinfo text, in its order, with octal escapes undone.
    static QList<Mount> mounts(const QByteArray& mountInfo);
    // What is mounted at "/" now: the last mount there hides the ones before it.
    static std::optional<Mount> root(const QByteArray& mountInfo);

    // The verdict on what a check printed: nothing when the file system reports no errors,
    // else a sentence naming them.
    static std::optional<QString> ext4Problem(const QString& tune2fsListing);
    static std::optional<QString> btrfsProblem(const QString& deviceStats);
};

} // namespace velmox
