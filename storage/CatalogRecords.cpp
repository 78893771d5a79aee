#include "storage/CatalogRecords.h"

#include "storage/VolumeInfo.h"

#include <QJsonArray>

namespace velmox {

namespace {

QString isoDate(const QDateTime& date) {
    return date.isValid() ? date.toOffsetFromUtc(date.offsetFromUtc()).toString(Qt::ISODateWithMs)
                          : QString();
}

std::optional<QDateTime> dateFrom(const QJsonValue& value) {
    if (!value.isString())
        return std::nullopt;
    const QDateTime date = QDateTime::fromString(value.toString(), Qt::ISODateWithMs);
    if (!date.isValid())
        return std::nullopt;
    return date;
}

// 64-bit counts are written as decimal text: JSON numbers lose digits beyond 2^53.
QString bigNumber(uint64_t value) {
    return QString::number(value);
}

std::optional<uint64_t> bigNumberFrom(const QJsonValue& value) {
    bool ok = false;
    const uint64_t number = value.toString().toULongLong(&ok);
    return ok ? std::optional(number) : std::nullopt;
}

std::optional<int64_t> signedFrom(const QJsonValue& value) {
    bool ok = false;
    const int64_t number = value.toString().toLongLong(&ok);
    return ok ? std::optional(number) : std::nullopt;
}

QString missing(const char* key) {
    return QStringLiteral("the record has no valid \"%1\"").arg(QLatin1String(key));
}

constexpr std::pair<UnreadableReason::Kind, const char*> kReasonNames[] = {
    {UnreadableReason::Kind::needsAdministrator, "needsAdministrator"},
    {UnreadableReason::Kind::ownPermissions, "ownPermissions"},
    {UnreadableReason::Kind::needsFullDiskAccess, "needsFullDiskAccess"},
    {UnreadableReason::Kind::protectedByMacOS, "protectedByMacOS"},
    {UnreadableReason::Kind::readableNow, "readableNow"},
    {UnreadableReason::Kind::gone, "gone"},
    {UnreadableReason::Kind::other, "other"},
};

} // namespace

QJsonObject toJson(const ScanStamp& stamp) {
    QJsonObject object{{QStringLiteral("version"), stamp.version},
                       {QStringLiteral("eventID"), bigNumber(stamp.eventID)},
                       {QStringLiteral("eventUUID"), stamp.eventUUID},
                       {QStringLiteral("identity"), stamp.identity}};
    if (stamp.fullScanDate)
        object.insert(QStringLiteral("fullScanDate"), isoDate(*stamp.fullScanDate));
    return object;
}

Result<ScanStamp> scanStampFromJson(const QJsonObject& object) {
    ScanStamp stamp;
    stamp.version = object.value(QStringLiteral("version")).toInt(-1);
    const auto eventID = bigNumberFrom(object.value(QStringLiteral("eventID")));
    if (!eventID)
        return failure(missing("eventID"));
    stamp.eventID = *eventID;
    stamp.eventUUID = object.value(QStringLiteral("eventUUID")).toString();
    stamp.identity = object.value(QStringLiteral("identity")).toString();
    if (object.contains(QStringLiteral("fullScanDate"))) {
        stamp.fullScanDate = dateFrom(object.value(QStringLiteral("fullScanDate")));
        if (!stamp.fullScanDate)
            return failure(missing("fullScanDate"));
    }
    return stamp;
}

QJsonObject toJson(const CatalogMeta& meta) {
    QJsonArray redirects;
    for (const PathRedirect& redirect : meta.redirects)
        redirects.append(QJsonObject{{QStringLiteral("visiblePrefix"), redirect.visiblePrefix},
                                     {QStringLiteral("dataPrefix"), redirect.dataPrefix}});
    QJsonObject object{{QStringLiteral("volumeName"), meta.volumeName},
                       {QStringLiteral("format"), meta.format},
                       {QStringLiteral("totalCapacity"), bigNumber(uint64_t(meta.totalCapacity))},
                       {QStringLiteral("availableSpace"), bigNumber(uint64_t(meta.availableSpace))},
                       {QStringLiteral("scanDate"), isoDate(meta.scanDate)},
                       {QStringLiteral("rootPath"), meta.rootPath},
                       {QStringLiteral("isSummary"), meta.isSummary},
                       {QStringLiteral("redirects"), redirects},
                       {QStringLiteral("volumeUUID"), meta.volumeUUID}};
    if (meta.scanStamp)
        object.insert(QStringLiteral("scanStamp"), toJson(*meta.scanStamp));
    object.insert(QStringLiteral("exclusions"), QJsonArray::fromStringList(meta.exclusions));
    return object;
}

Result<CatalogMeta> catalogMetaFromJson(const QJsonObject& object) {
    CatalogMeta meta;
    meta.volumeName = object.value(QStringLiteral("volumeName")).toString();
    meta.format = object.value(QStringLiteral("format")).toString();
    const auto total = signedFrom(object.value(QStringLiteral("totalCapacity")));
    const auto available = signedFrom(object.value(QStringLiteral("availableSpace")));
    if (!total || !available)
        return failure(missing(total ? "availableSpace" : "totalCapacity"));
    meta.totalCapacity = *total;
    meta.availableSpace = *available;
    // A record written without a date keeps none.
    if (const QJsonValue date = object.value(QStringLiteral("scanDate"));
        !date.toString().isEmpty()) {
        const auto parsed = dateFrom(date);
        if (!parsed)
            return failure(missing("scanDate"));
        meta.scanDate = *parsed;
    }
    meta.rootPath = object.value(QStringLiteral("rootPath")).toString();
    meta.isSummary = object.value(QStringLiteral("isSummary")).toBool();
    for (const QJsonValue& value : object.value(QStringLiteral("redirects")).toArray()) {
        const QJsonObject redirect = value.toObject();
        meta.redirects.append({redirect.value(QStringLiteral("visiblePrefix")).toString(),
                               redirect.value(QStringLiteral("dataPrefix")).toString()});
    }
    meta.volumeUUID = object.value(QStringLiteral("volumeUUID")).toString();
    if (object.contains(QStringLiteral("scanStamp"))) {
        auto stamp = scanStampFromJson(object.value(QStringLiteral("scanStamp")).toObject());
        if (!stamp)
            return failure(stamp.error());
        meta.scanStamp = *stamp;
    }
    // Older records have none.
    for (const QJsonValue& value : object.value(QStringLiteral("exclusions")).toArray()) {
        if (!value.isString())
            return failure(missing("exclusions"));
        meta.exclusions.append(value.toString());
    }
    return meta;
}

QJsonObject toJson(const ScanCheckpointInfo& info) {
    QJsonArray samples;
    for (const UnreadableSample& sample : info.unreadableSamples) {
        QString kind;
        for (const auto& [value, name] : kReasonNames)
            if (value == sample.reason.kind)
                kind = QLatin1String(name);
        samples.append(
            QJsonObject{{QStringLiteral("path"), QString::fromLatin1(sample.path.toBase64())},
                        {QStringLiteral("reason"), kind},
                        {QStringLiteral("errorNumber"), sample.reason.errorNumber}});
    }
    return {{QStringLiteral("scopeKey"), info.scopeKey},
            {QStringLiteral("entries"), bigNumber(uint64_t(info.entries))},
            {QStringLiteral("foldersDone"), bigNumber(uint64_t(info.foldersDone))},
            {QStringLiteral("unreadableCount"), bigNumber(uint64_t(info.unreadableCount))},
            {QStringLiteral("unreadableSamples"), samples},
            {QStringLiteral("elapsed"), info.elapsed},
            {QStringLiteral("savedAt"), isoDate(info.savedAt)},
            {QStringLiteral("baseline"), info.baseline}};
}

Result<ScanCheckpointInfo> scanCheckpointInfoFromJson(const QJsonObject& object) {
    ScanCheckpointInfo info;
    info.scopeKey = object.value(QStringLiteral("scopeKey")).toString();
    const auto entries = signedFrom(object.value(QStringLiteral("entries")));
    const auto folders = signedFrom(object.value(QStringLiteral("foldersDone")));
    const auto unreadable = signedFrom(object.value(QStringLiteral("unreadableCount")));
    const auto savedAt = dateFrom(object.value(QStringLiteral("savedAt")));
    if (info.scopeKey.isEmpty() || !entries || !folders || !unreadable || !savedAt)
        return failure(QStringLiteral("the checkpoint record is incomplete"));
    info.entries = *entries;
    info.foldersDone = *folders;
    info.unreadableCount = *unreadable;
    info.savedAt = *savedAt;
    info.elapsed = object.value(QStringLiteral("elapsed")).toDouble();
    info.baseline = object.value(QStringLiteral("baseline")).toBool();
    for (const QJsonValue& value : object.value(QStringLiteral("unreadableSamples")).toArray()) {
        const QJsonObject sample = value.toObject();
        UnreadableReason reason;
        const QString kind = sample.value(QStringLiteral("reason")).toString();
        for (const auto& [candidate, name] : kReasonNames)
            if (kind == QLatin1String(name))
                reason.kind = candidate;
        reason.errorNumber = sample.value(QStringLiteral("errorNumber")).toInt();
        info.unreadableSamples.append(
            {QByteArray::fromBase64(sample.value(QStringLiteral("path")).toString().toLatin1()),
             reason});
    }
    return info;
}

CatalogMeta catalogMetaFor(const FileTree& tree, const VolumeInfo& volume,
                           const QDateTime& scanDate) {
    CatalogMeta meta;
    meta.volumeName = volume.name;
    meta.format = volume.format;
    meta.totalCapacity = volume.total;
    meta.availableSpace = volume.freeAvailable;
    meta.scanDate = scanDate;
    meta.rootPath = tree.rootPath;
    meta.redirects = tree.pathRedirects;
    meta.exclusions = tree.exclusions;
    meta.volumeUUID = volume.uuid;
    return meta;
}

} // namespace velmox
