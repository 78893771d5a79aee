#pragma once

#include "services/Result.h"
#include "storage/DiskScanner.h"
#include "storage/FileTree.h"
#include "storage/VolumeInfo.h"

#include <QDateTime>
#include <QJsonObject>
#include <QList>
#include <QString>
#include <cstdint>
#include <optional>

namespace velmox {

// What an incremental rescan compares against: the change-history position at the start of
// the scan and the volume it was taken on.
struct ScanStamp {
    int version = 1;
    uint64_t eventID = 0;
    QString eventUUID;
    QString identity;
    std::optional<QDateTime> fullScanDate; // the last complete scan
    bool operator==(const ScanStamp&) const = default;
};

// The descriptive record of a saved scan.
struct CatalogMeta {
    QString volumeName;
    QString format;
    int64_t totalCapacity = 0;
    int64_t availableSpace = 0;
    QDateTime scanDate;
    QString rootPath;
    bool isSummary = false;        // only the top folder levels are stored
    QList<PathRedirect> redirects; // written from the tree's own
    QString volumeUUID;
    std::optional<ScanStamp> scanStamp;
    QStringList exclusions; // what the scan skipped, written from the tree's own
    bool operator==(const CatalogMeta&) const = default;
};

// The descriptive record of a checkpoint of a running scan.
struct ScanCheckpointInfo {
    QString scopeKey;
    int64_t entries = 0;
    int64_t foldersDone = 0;
    int64_t unreadableCount = 0;
    QList<UnreadableSample> unreadableSamples;
    double elapsed = 0;
    QDateTime savedAt;
    bool baseline = false; // continues an incremental scan
    bool operator==(const ScanCheckpointInfo&) const = default;
};

// What reading a checkpoint yields; a paused scanner is rebuilt from it.
struct RestoredScan {
    FileTree tree;
    ScanCheckpointInfo info;
    std::vector<PendingFolderRecord> stack;
};

QJsonObject toJson(const ScanStamp& stamp);
Result<ScanStamp> scanStampFromJson(const QJsonObject& object);
QJsonObject toJson(const CatalogMeta& meta);
Result<CatalogMeta> catalogMetaFromJson(const QJsonObject& object);
QJsonObject toJson(const ScanCheckpointInfo& info);
Result<ScanCheckpointInfo> scanCheckpointInfoFromJson(const QJsonObject& object);

// The descriptive record of a finished scan of `tree` on `volume`.
CatalogMeta catalogMetaFor(const FileTree& tree, const VolumeInfo& volume,
                           const QDateTime& scanDate);

} // namespace velmox
