#pragma once

#include "diskhealth/DiskRecords.h"

#include <QSet>
#include <QString>

namespace velmox {

// The name of an MBR partition type byte: "Linux filesystem", "MBR type 0x42" for the ones
// without a name.
QString mbrTypeName(int typeByte);
DiskPartitionKind mbrTypeKind(int typeByte);

// The name of a GPT partition type GUID (any case, with or without braces); empty when the
// GUID is not one of the common types.
QString gptTypeName(QStringView guid);
DiskPartitionKind gptTypeKind(QStringView guid);

// The kind that a file-system or content signature (blkid's TYPE: "ext4", "crypto_LUKS",
// "LVM2_member", "BitLocker") gives; `other` when the signature says nothing special.
DiskPartitionKind signatureKind(QStringView signature);

// "APFS" for "apfs", "HFS+" for "hfsplus": the name people know a file-system type by.
QString fileSystemDisplayName(QStringView type);

// Which file systems this Linux system can read: those in /proc/filesystems, those whose
// kernel module is installed, and NTFS through the ntfs-3g FUSE driver when it is installed.
class FileSystemSupport {
public:
    // `procFilesystems`: the text of /proc/filesystems; `modules`: kernel module base names
    // ("hfsplus", "ntfs3"); `ntfs3g`: whether the FUSE NTFS driver is installed.
    static FileSystemSupport from(const QByteArray& procFilesystems, const QSet<QString>& modules,
                                  bool ntfs3g);
    // This machine, read from /proc/filesystems and /lib/modules/<running kernel>.
    static FileSystemSupport current();
    // A machine that can read everything (a replayed report from elsewhere).
    static FileSystemSupport everything();

    // True for file systems the running kernel (or a module it may load) reads, and for
    // signatures that are not file systems at all.
    bool canRead(QStringView type) const;

private:
    QSet<QString> drivers_;
    bool all_ = false;
};

// The note under a partition of this kind on Linux, or empty. `type` is the file-system
// signature, `holder` the device stacked on it (the md set, the opened LUKS mapping) when
// there is one.
QString linuxPartitionNote(DiskPartitionKind kind, QStringView type, const QString& holder,
                           const FileSystemSupport& support);
// The note under a whole disk that holds a partition of this kind, or empty.
QString linuxDiskNote(DiskPartitionKind kind);

} // namespace velmox
