#include "diskhealth/PartitionTypes.h"

#include <QDirIterator>
#include <QFile>
#include <sys/utsname.h>

namespace velmox {

namespace {

struct MbrType {
    int typeByte;
    const char* name;
    DiskPartitionKind kind;
};

constexpr MbrType mbrTypes[] = {
    {0, "Empty", DiskPartitionKind::empty},
    {1, "FAT12", DiskPartitionKind::fat},
    {4, "FAT16", DiskPartitionKind::fat},
    {6, "FAT16", DiskPartitionKind::fat},
    {14, "FAT16", DiskPartitionKind::fat},
    {5, "Extended partition", DiskPartitionKind::extended},
    {15, "Extended partition", DiskPartitionKind::extended},
    {133, "Extended partition", DiskPartitionKind::extended},
    {7, "NTFS / exFAT", DiskPartitionKind::ntfs},
    {11, "FAT32", DiskPartitionKind::fat},
    {12, "FAT32", DiskPartitionKind::fat},
    {39, "Windows recovery", DiskPartitionKind::windowsRecovery},
    {66, "Windows dynamic disk", DiskPartitionKind::other},
    {130, "Linux swap", DiskPartitionKind::linuxSwap},
    {131, "Linux filesystem", DiskPartitionKind::linuxFileSystem},
    {142, "Linux LVM", DiskPartitionKind::linuxLvm},
    {165, "BSD partition", DiskPartitionKind::bsd},
    {166, "BSD partition", DiskPartitionKind::bsd},
    {169, "BSD partition", DiskPartitionKind::bsd},
    {171, "Apple boot", DiskPartitionKind::appleBoot},
    {175, "Mac OS Extended (HFS+)", DiskPartitionKind::hfs},
    {191, "Solaris", DiskPartitionKind::solaris},
    {238, "GPT protective MBR", DiskPartitionKind::other},
    {239, "EFI system partition", DiskPartitionKind::efiSystem},
    {253, "Linux RAID", DiskPartitionKind::linuxRaid},
};

struct GptType {
    const char* guid; // upper case
    const char* name;
    DiskPartitionKind kind;
};

constexpr GptType gptTypes[] = {
    {"C12A7328-F81F-11D2-BA4B-00A0C93EC93B", "EFI system partition", DiskPartitionKind::efiSystem},
    {"21686148-6449-6E6F-744E-656564454649", "BIOS boot partition", DiskPartitionKind::biosBoot},
    {"EBD0A0A2-B9E5-4433-87C0-68B6B72699C7", "Microsoft basic data", DiskPartitionKind::ntfs},
    {"E3C9E316-0B5C-4DB8-817D-F92DF00215AE", "Microsoft reserved",
     DiskPartitionKind::microsoftReserved},
    {"DE94BBA4-06D1-4D40-A16A-BFD50179D6AC", "Windows recovery",
     DiskPartitionKind::windowsRecovery},
    {"5808C8AA-7E8F-42E0-85D2-E1E90434CFB3", "Windows dynamic disk metadata",
     DiskPartitionKind::other},
    {"AF9B60A0-1431-4F62-BC68-3311714A69AD", "Windows dynamic disk", DiskPartitionKind::other},
    {"E75CAF8F-F680-4CEE-AFA3-B001E56EFC2D", "Windows Storage Spaces", DiskPartitionKind::other},
    {"0FC63DAF-8483-4772-8E79-3D69D8477DE4", "Linux filesystem",
     DiskPartitionKind::linuxFileSystem},
    {"0657FD6D-A4AB-43C4-84E5-0933C84B4F4F", "Linux swap", DiskPartitionKind::linuxSwap},
    {"E6D6D379-F507-44C2-A23C-238F2A3DF928", "Linux LVM", DiskPartitionKind::linuxLvm},
    {"A19D880F-05FC-4D3B-A006-743F0F84911E", "Linux RAID", DiskPartitionKind::linuxRaid},
    {"933AC7E1-2EB4-4F13-B844-0E14E2AEF915", "Linux home", DiskPartitionKind::linuxFileSystem},
    {"3B8F8425-20E0-4F3B-907F-1A25A76F98E8", "Linux server data",
     DiskPartitionKind::linuxFileSystem},
    {"CA7D7CCB-63ED-4C53-861C-1742536059CC", "Linux LUKS", DiskPartitionKind::luks},
    {"7FFEC5C9-2D00-49B7-8941-3EA10A5586B7", "Linux dm-crypt", DiskPartitionKind::luks},
    {"BC13C2FF-59E6-4262-A352-B275FD6F7172", "Linux extended boot",
     DiskPartitionKind::linuxFileSystem},
    {"4F68BCE3-E8CD-4DB1-96E7-FBCAF984B709", "Linux root (x86-64)",
     DiskPartitionKind::linuxFileSystem},
    {"44479540-F297-41B2-9AF7-D131D5F0458A", "Linux root (x86)",
     DiskPartitionKind::linuxFileSystem},
    {"B921B045-1DF0-41C3-AF44-4C6F280D3FAE", "Linux root (ARM64)",
     DiskPartitionKind::linuxFileSystem},
    {"69DAD710-2CE4-4E3C-B16C-21A1D49ABED3", "Linux root (ARM)",
     DiskPartitionKind::linuxFileSystem},
    {"72EC70A6-CF74-40E6-BD49-4BDA08E8F224", "Linux root (RISC-V 64-bit)",
     DiskPartitionKind::linuxFileSystem},
    {"1AACDB3B-5444-4138-BD9E-E5C2239B2346", "Linux root (PowerPC 64-bit LE)",
     DiskPartitionKind::linuxFileSystem},
    {"8484680C-9521-48C6-9C11-B0720656F69E", "Linux /usr (x86-64)",
     DiskPartitionKind::linuxFileSystem},
    {"B0E01050-EE5F-4390-949A-9101B17104E9", "Linux /usr (ARM64)",
     DiskPartitionKind::linuxFileSystem},
    {"7C3457EF-0000-11AA-AA11-00306543ECAC", "Apple APFS", DiskPartitionKind::apfs},
    {"69646961-6700-11AA-AA11-00306543ECAC", "Apple APFS ISC", DiskPartitionKind::apfs},
    {"52637672-7900-11AA-AA11-00306543ECAC", "Apple APFS recovery", DiskPartitionKind::apfs},
    {"48465300-0000-11AA-AA11-00306543ECAC", "Mac OS Extended (HFS+)", DiskPartitionKind::hfs},
    {"426F6F74-0000-11AA-AA11-00306543ECAC", "Apple boot", DiskPartitionKind::appleBoot},
    {"52414944-0000-11AA-AA11-00306543ECAC", "Apple RAID", DiskPartitionKind::appleRaid},
    {"52414944-5F4F-11AA-AA11-00306543ECAC", "Apple RAID (offline)", DiskPartitionKind::appleRaid},
    {"53746F72-6167-11AA-AA11-00306543ECAC", "Apple Core Storage", DiskPartitionKind::coreStorage},
    {"6A898CC3-1DD2-11B2-99A6-080020736631", "ZFS", DiskPartitionKind::zfs},
    {"6A85CF4D-1DD2-11B2-99A6-080020736631", "Solaris root", DiskPartitionKind::solaris},
    {"6A82CB45-1DD2-11B2-99A6-080020736631", "Solaris boot", DiskPartitionKind::solaris},
    {"83BD6B9D-7F41-11DC-BE0B-001560B84F0F", "FreeBSD boot", DiskPartitionKind::bsd},
    {"516E7CB4-6ECF-11D6-8FF8-00022D09712B", "FreeBSD data", DiskPartitionKind::bsd},
    {"516E7CB5-6ECF-11D6-8FF8-00022D09712B", "FreeBSD swap", DiskPartitionKind::bsd},
    {"516E7CB6-6ECF-11D6-8FF8-00022D09712B", "FreeBSD UFS", DiskPartitionKind::bsd},
    {"516E7CBA-6ECF-11D6-8FF8-00022D09712B", "FreeBSD ZFS", DiskPartitionKind::zfs},
};

const GptType* findGpt(QStringView guid) {
    QString key = guid.trimmed().toString().toUpper();
    if (key.startsWith(u'{') && key.endsWith(u'}'))
        key = key.mid(1, key.size() - 2);
    for (const GptType& type : gptTypes)
        if (key == QLatin1String(type.guid))
            return &type;
    return nullptr;
}

// The kernel drivers that read a file-system type, by blkid's name for it.
QStringList driversFor(QStringView type) {
    if (type == u"ext2" || type == u"ext3" || type == u"ext4")
        return {type.toString(), QStringLiteral("ext4")};
    if (type == u"zfs_member")
        return {QStringLiteral("zfs")};
    if (type == u"ntfs")
        return {QStringLiteral("ntfs3"), QStringLiteral("ntfs"), QStringLiteral("ntfs-3g")};
    if (type == u"vfat" || type == u"msdos")
        return {QStringLiteral("vfat"), QStringLiteral("msdos")};
    return {type.toString()};
}

// Signatures that are not a file system to mount: their own kinds carry their notes.
bool isFileSystem(QStringView type) {
    return !type.isEmpty() && type != u"swap" && type != u"LVM2_member" &&
           type != u"linux_raid_member" && type != u"crypto_LUKS" && type != u"BitLocker" &&
           type != u"isw_raid_member" && type != u"ddf_raid_member";
}

} // namespace

QString mbrTypeName(int typeByte) {
    for (const MbrType& type : mbrTypes)
        if (type.typeByte == typeByte)
            return QString::fromLatin1(type.name);
    return QStringLiteral("MBR type 0x%1")
        .arg(QString::number(typeByte & 0xff, 16).toUpper().rightJustified(2, u'0'));
}

DiskPartitionKind mbrTypeKind(int typeByte) {
    for (const MbrType& type : mbrTypes)
        if (type.typeByte == typeByte)
            return type.kind;
    return DiskPartitionKind::other;
}

QString gptTypeName(QStringView guid) {
    const GptType* type = findGpt(guid);
    return type ? QString::fromLatin1(type->name) : QString();
}

DiskPartitionKind gptTypeKind(QStringView guid) {
    const GptType* type = findGpt(guid);
    return type ? type->kind : DiskPartitionKind::other;
}

DiskPartitionKind signatureKind(QStringView signature) {
    if (signature == u"crypto_LUKS")
        return DiskPartitionKind::luks;
    if (signature == u"LVM2_member")
        return DiskPartitionKind::linuxLvm;
    if (signature == u"linux_raid_member")
        return DiskPartitionKind::linuxRaid;
    if (signature == u"BitLocker")
        return DiskPartitionKind::bitLocker;
    if (signature == u"swap")
        return DiskPartitionKind::linuxSwap;
    if (signature == u"apfs")
        return DiskPartitionKind::apfs;
    if (signature == u"hfsplus" || signature == u"hfs")
        return DiskPartitionKind::hfs;
    if (signature == u"zfs_member")
        return DiskPartitionKind::zfs;
    if (signature == u"ntfs")
        return DiskPartitionKind::ntfs;
    if (signature == u"exfat")
        return DiskPartitionKind::exfat;
    if (signature == u"vfat" || signature == u"msdos")
        return DiskPartitionKind::fat;
    if (signature.startsWith(u"ext") || signature == u"xfs" || signature == u"btrfs" ||
        signature == u"f2fs" || signature == u"jfs" || signature == u"reiserfs" ||
        signature == u"nilfs2" || signature == u"bcachefs")
        return DiskPartitionKind::linuxFileSystem;
    return DiskPartitionKind::other;
}

QString fileSystemDisplayName(QStringView type) {
    static const QHash<QString, QString> names = {
        {QStringLiteral("apfs"), QStringLiteral("APFS")},
        {QStringLiteral("hfsplus"), QStringLiteral("HFS+")},
        {QStringLiteral("hfs"), QStringLiteral("HFS")},
        {QStringLiteral("ntfs"), QStringLiteral("NTFS")},
        {QStringLiteral("exfat"), QStringLiteral("exFAT")},
        {QStringLiteral("vfat"), QStringLiteral("FAT")},
        {QStringLiteral("msdos"), QStringLiteral("FAT")},
        {QStringLiteral("zfs_member"), QStringLiteral("ZFS")},
        {QStringLiteral("btrfs"), QStringLiteral("Btrfs")},
        {QStringLiteral("xfs"), QStringLiteral("XFS")},
        {QStringLiteral("f2fs"), QStringLiteral("F2FS")},
        {QStringLiteral("ufs"), QStringLiteral("UFS")},
        {QStringLiteral("udf"), QStringLiteral("UDF")},
        {QStringLiteral("iso9660"), QStringLiteral("ISO 9660")},
    };
    return names.value(type.toString(), type.toString());
}

FileSystemSupport FileSystemSupport::from(const QByteArray& procFilesystems,
                                          const QSet<QString>& modules, bool ntfs3g) {
    FileSystemSupport support;
    for (const QByteArray& line : procFilesystems.split('\n')) {
        const QByteArray name = line.split('\t').last().trimmed();
        if (!name.isEmpty())
            support.drivers_.insert(QString::fromUtf8(name));
    }
    support.drivers_.unite(modules);
    if (ntfs3g)
        support.drivers_.insert(QStringLiteral("ntfs-3g"));
    return support;
}

FileSystemSupport FileSystemSupport::current() {
    QFile filesystems(QStringLiteral("/proc/filesystems"));
    const QByteArray procText = filesystems.open(QIODevice::ReadOnly) ? filesystems.readAll() : "";
    QSet<QString> modules;
    utsname system{};
    if (::uname(&system) == 0) {
        // Modules may sit under kernel/fs, updates/ or extra/ (DKMS builds such as zfs).
        QDirIterator it(QStringLiteral("/lib/modules/%1").arg(QString::fromUtf8(system.release)),
                        {QStringLiteral("*.ko*")}, QDir::Files, QDirIterator::Subdirectories);
        while (it.hasNext())
            modules.insert(it.nextFileInfo().fileName().section(u'.', 0, 0));
    }
    const bool fuse = procText.contains("\tfuseblk\n") || modules.contains(QStringLiteral("fuse"));
    const bool ntfs3g = fuse && (QFile::exists(QStringLiteral("/usr/bin/ntfs-3g")) ||
                                 QFile::exists(QStringLiteral("/bin/ntfs-3g")));
    return from(procText, modules, ntfs3g);
}

FileSystemSupport FileSystemSupport::everything() {
    FileSystemSupport support;
    support.all_ = true;
    return support;
}

bool FileSystemSupport::canRead(QStringView type) const {
    if (all_ || !isFileSystem(type))
        return true;
    for (const QString& driver : driversFor(type))
        if (drivers_.contains(driver))
            return true;
    return false;
}

QString linuxPartitionNote(DiskPartitionKind kind, QStringView type, const QString& holder,
                           const FileSystemSupport& support) {
    switch (kind) {
    case DiskPartitionKind::bitLocker:
        return QStringLiteral("This Linux system cannot read this file system (BitLocker is "
                              "locked)");
    case DiskPartitionKind::linuxLvm:
        return QStringLiteral("Member of an LVM volume group");
    case DiskPartitionKind::linuxRaid:
        return holder.isEmpty() ? QStringLiteral("Member of an md RAID set")
                                : QStringLiteral("Member of the md RAID set %1").arg(holder);
    case DiskPartitionKind::luks:
        return holder.isEmpty()
                   ? QStringLiteral("LUKS encrypted container (locked)")
                   : QStringLiteral("LUKS encrypted container, unlocked as %1").arg(holder);
    case DiskPartitionKind::appleRaid:
        return QStringLiteral("Member of an Apple RAID set");
    case DiskPartitionKind::coreStorage:
        return QStringLiteral("Part of a Core Storage volume group (legacy Fusion / FileVault)");
    default:
        break;
    }
    // Without a signature (blkid needs root) the partition type stands for its file system.
    const QString fileSystem = !type.isEmpty()                   ? type.toString()
                               : kind == DiskPartitionKind::apfs ? QStringLiteral("apfs")
                               : kind == DiskPartitionKind::hfs  ? QStringLiteral("hfsplus")
                               : kind == DiskPartitionKind::zfs  ? QStringLiteral("zfs_member")
                                                                 : QString();
    if (!support.canRead(fileSystem))
        return QStringLiteral("This Linux system cannot read %1 file systems without a driver "
                              "or module")
            .arg(fileSystemDisplayName(fileSystem));
    return {};
}

QString linuxDiskNote(DiskPartitionKind kind) {
    switch (kind) {
    case DiskPartitionKind::linuxLvm:
        return QStringLiteral("Contains a member of an LVM volume group.");
    case DiskPartitionKind::linuxRaid:
        return QStringLiteral("Contains a member of an md RAID set.");
    case DiskPartitionKind::luks:
        return QStringLiteral("Contains a LUKS encrypted container.");
    case DiskPartitionKind::appleRaid:
        return QStringLiteral("Contains a member of an Apple RAID set.");
    case DiskPartitionKind::coreStorage:
        return QStringLiteral("Contains Core Storage physical volumes (the older Fusion and "
                              "FileVault format that APFS replaced).");
    default:
        return {};
    }
}

} // namespace velmox
