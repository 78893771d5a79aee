// velmox disks [--json]
// velmox disks --replay FILE... [--json]
//
// Lists the disks of this machine, or of another one from its saved tool outputs: lsblk's
// JSON, or diskutil's list, APFS list and info outputs. Each file is recognised by what it
// holds.

#include "cli/CliCommand.h"
#include "diskhealth/DiskInventory.h"
#include "diskhealth/DiskutilInventory.h"
#include "diskhealth/LsblkInventory.h"
#include "services/ShownText.h"

#include <QFile>
#include <QJsonArray>
#include <QJsonDocument>
#include <QJsonObject>

namespace velmox {

namespace {

Result<QList<PhysicalDisk>> replay(const QStringList& files) {
    QList<LsblkDevice> lsblkRoots;
    bool haveLsblk = false;
    DiskutilOutputs diskutil;
    for (const QString& path : files) {
        QFile file(path);
        if (!file.open(QIODevice::ReadOnly))
            return failure(QStringLiteral("%1 could not be read: %2.")
                               .arg(shownName(path), file.errorString()));
        const QByteArray bytes = file.readAll();
        if (auto devices = parseLsblkJson(bytes)) {
            lsblkRoots += *devices;
            haveLsblk = true;
            continue;
        }
        switch (recognizeDiskutilOutput(bytes)) {
        case DiskutilOutputKind::list:
            if (!diskutil.list.isEmpty())
                return failure(QStringLiteral("%1 is a second “diskutil list” output; give one "
                                              "per machine.")
                                   .arg(shownName(path)));
            diskutil.list = bytes;
            break;
        case DiskutilOutputKind::apfsList:
            diskutil.apfsList = bytes;
            break;
        case DiskutilOutputKind::info:
            diskutil.infos.append(bytes);
            break;
        case DiskutilOutputKind::infoText:
            diskutil.infoTexts.append(bytes);
            break;
        case DiskutilOutputKind::notDiskutil:
            return failure(QStringLiteral("%1 is neither lsblk's JSON nor an output of diskutil "
                                          "(list, apfs list or info), so it cannot be replayed.")
                               .arg(shownName(path)));
        }
    }
    QList<PhysicalDisk> disks;
    // The drivers of the machine a listing comes from are unknown: no note guesses at them.
    if (haveLsblk)
        disks = inventoryFromLsblk(lsblkRoots, FileSystemSupport::everything());
    const bool haveDiskutil = !diskutil.apfsList.isEmpty() || !diskutil.infos.isEmpty() ||
                              !diskutil.infoTexts.isEmpty() || !diskutil.list.isEmpty();
    if (haveDiskutil) {
        if (diskutil.list.isEmpty())
            return failure(QStringLiteral("The diskutil outputs need the one of “diskutil list "
                                          "-plist” beside them: it names the disks."));
        const auto fromDiskutil = inventoryFromDiskutil(diskutil);
        if (!fromDiskutil)
            return fromDiskutil;
        disks += *fromDiskutil;
    }
    return disks;
}

QString facts(const PhysicalDisk& disk) {
    QStringList parts;
    if (!disk.busProtocol.isEmpty())
        parts << disk.busProtocol;
    parts << byteText(disk.totalBytes);
    if (disk.isSolidState)
        parts << QStringLiteral("solid state");
    if (disk.isVirtual)
        parts << QStringLiteral("virtual");
    parts << (disk.isInternal ? QStringLiteral("internal") : QStringLiteral("external"));
    if (!disk.partitionScheme.isEmpty())
        parts << disk.partitionScheme;
    if (!disk.smartStatus.isEmpty())
        parts << QStringLiteral("S.M.A.R.T. %1").arg(disk.smartStatus);
    return parts.join(QStringLiteral(", "));
}

void printDisk(const PhysicalDisk& disk, QTextStream& out) {
    out << disk.identifier;
    if (!disk.modelName.isEmpty())
        out << "  " << disk.modelName;
    out << " (" << facts(disk) << ")\n";
    if (!disk.note.isEmpty())
        out << "  " << disk.note << '\n';
    for (const DiskPartition& partition : disk.partitions) {
        QStringList parts;
        if (!partition.content.isEmpty())
            parts << partition.content;
        parts << byteText(partition.sizeBytes);
        if (!partition.name.isEmpty())
            parts << QStringLiteral("“%1”").arg(partition.name);
        if (!partition.fileSystem.isEmpty())
            parts << partition.fileSystem;
        if (!partition.mountPoint.isEmpty())
            parts << QStringLiteral("on ") + shownName(QByteArrayView(partition.mountPoint));
        out << "  " << partition.identifier << "  " << parts.join(QStringLiteral(", ")) << '\n';
        if (!partition.detail.isEmpty())
            out << "      " << partition.detail << '\n';
    }
    for (const DiskContainerSummary& container : disk.containers)
        out << "  " << (container.isFusion ? "Fusion container " : "Container ")
            << container.identifier << ": " << byteText(container.sizeBytes) << ", "
            << byteText(container.freeBytes) << " free, " << container.volumeCount
            << (container.volumeCount == 1 ? " volume\n" : " volumes\n");
    for (const DiskVolume& volume : disk.volumes)
        out << "  Volume " << shownName(QByteArrayView(volume.mountPath)) << " (" << volume.bsdName
            << (volume.fileSystem.isEmpty() ? QString() : QStringLiteral(", ") + volume.fileSystem)
            << "): " << byteText(volume.totalBytes) << ", " << byteText(volume.availableBytes)
            << " available" << (volume.isReadOnly ? ", read-only" : "") << '\n';
}

int runDisks(const QStringList& args, CliIO& io) {
    bool json = false;
    bool replaying = false;
    QStringList files;
    for (const QString& arg : args) {
        if (arg == QLatin1String("--json")) {
            json = true;
        } else if (arg == QLatin1String("--replay")) {
            replaying = true;
        } else if (replaying && !arg.startsWith(QLatin1String("--"))) {
            files.append(arg);
        } else {
            io.err << "velmox disks: '" << arg << "' is not an option of this command.\n";
            return 2;
        }
    }
    if (replaying && files.isEmpty()) {
        io.err << "velmox disks: --replay needs the saved outputs to read.\n";
        return 2;
    }
    const auto disks = replaying ? replay(files) : makeDiskInventorySource()->read();
    if (!disks) {
        io.err << disks.error() << '\n';
        return 1;
    }
    if (json) {
        QJsonArray list;
        for (const PhysicalDisk& disk : *disks)
            list.append(toJson(disk));
        io.out << QJsonDocument(QJsonObject{{QStringLiteral("disks"), list}})
                      .toJson(QJsonDocument::Compact)
               << '\n';
        return 0;
    }
    if (disks->isEmpty())
        io.out << "No disks found.\n";
    for (const PhysicalDisk& disk : *disks)
        printDisk(disk, io.out);
    return 0;
}

} // namespace

VELMOX_CLI_COMMAND(disks, "disks [--json] [--replay FILE...]",
                   "Lists the disks with their partitions, volumes and notes; with --replay, "
                   "those of saved lsblk or diskutil outputs.",
                   runDisks);

} // namespace velmox
