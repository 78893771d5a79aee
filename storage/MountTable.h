#pragma once

#include <QByteArray>
#include <QList>
#include <QString>
#include <optional>

namespace velmox {

// The mounted file systems, read from Linux's /proc/self/mountinfo.
struct MountEntry {
    QByteArray mountPoint;  // unescaped
    QString fileSystemType; // "ext4", "fuse.sshfs"
    QByteArray source;      // "/dev/vda1", "server:/export"
    unsigned major = 0;
    unsigned minor = 0;
    bool operator==(const MountEntry&) const = default;
};

struct MountTable {
    QList<MountEntry> entries;

    static MountTable parse(const QByteArray& mountinfo);
    static MountTable current();

    // The mount that holds `path` (the longest mount point that is a prefix of it).
    std::optional<MountEntry> mountOf(const QByteArray& path) const;
    // Every mount point strictly below `root`.
    QList<QByteArray> mountPointsBelow(const QByteArray& root) const;
};

} // namespace velmox
