#pragma once

#include "diskhealth/DiskRecords.h"
#include "services/Result.h"

#include <QByteArray>
#include <QList>
#include <QString>
#include <optional>

namespace velmox {

// What a saved diskutil output is, told from its content.
enum class DiskutilOutputKind { notDiskutil, list, apfsList, info, infoText };
DiskutilOutputKind recognizeDiskutilOutput(const QByteArray& bytes);

// The outputs the macOS inventory is built from. `infos` holds `diskutil info -plist` of
// whole disks (and may hold partitions' too); `infoTexts` the plain-text form, read where no
// property list is at hand.
struct DiskutilOutputs {
    QByteArray list;
    QByteArray apfsList;
    QList<QByteArray> infos;
    QList<QByteArray> infoTexts;
};

// The facts the text form of `diskutil info` gives.
struct DiskutilInfoText {
    QString identifier;
    QString smartStatus;
    std::optional<int64_t> diskSize;
    bool isInternal = false;
    bool operator==(const DiskutilInfoText&) const = default;
};
DiskutilInfoText parseDiskutilInfoText(const QByteArray& text);

// The physical disks with partitions, APFS containers, volumes and notes. Fails with a
// sentence when the list is missing or is not diskutil's property list; a damaged APFS list
// or info only leaves its facts out. Pure: replayed outputs use it too.
Result<QList<PhysicalDisk>> inventoryFromDiskutil(const DiskutilOutputs& outputs);

// The name diskutil's partition content string stands for, and its kind:
// "Apple_APFS" -> apfs, "Microsoft Basic Data" -> ntfs, "0x83" -> "Linux filesystem".
DiskPartitionKind diskutilContentKind(const QString& content);

} // namespace velmox
