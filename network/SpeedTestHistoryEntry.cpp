#include "network/SpeedTestHistoryEntry.h"

#include "services/ShownText.h"

#include <QJsonArray>
#include <QJsonDocument>

namespace velmox {

QJsonObject toJson(const SpeedTestHistoryEntry& entry) {
    return {{QStringLiteral("id"), entry.id.toString(QUuid::WithoutBraces).toUpper()},
            {QStringLiteral("date"), isoDate(entry.date)},
            {QStringLiteral("download"), entry.download},
            {QStringLiteral("upload"), entry.upload},
            {QStringLiteral("latency"), entry.latency},
            {QStringLiteral("dlValue"), entry.dlValue},
            {QStringLiteral("ulValue"), entry.ulValue},
            {QStringLiteral("latencyValue"), entry.latencyValue}};
}

std::optional<SpeedTestHistoryEntry> speedTestEntryFromJson(const QJsonObject& object) {
    SpeedTestHistoryEntry entry;
    entry.id = QUuid::fromString(object.value(QStringLiteral("id")).toString());
    entry.date =
        QDateTime::fromString(object.value(QStringLiteral("date")).toString(), Qt::ISODateWithMs);
    if (entry.id.isNull() || !entry.date.isValid())
        return std::nullopt;
    entry.download = object.value(QStringLiteral("download")).toString();
    entry.upload = object.value(QStringLiteral("upload")).toString();
    entry.latency = object.value(QStringLiteral("latency")).toString();
    entry.dlValue = object.value(QStringLiteral("dlValue")).toDouble();
    entry.ulValue = object.value(QStringLiteral("ulValue")).toDouble();
    entry.latencyValue = object.value(QStringLiteral("latencyValue")).toInteger();
    return entry;
}

QByteArray speedTestHistoryToJson(const QList<SpeedTestHistoryEntry>& entries) {
    QJsonArray array;
    for (const SpeedTestHistoryEntry& entry : entries)
        array.append(toJson(entry));
    return QJsonDocument(array).toJson(QJsonDocument::Compact);
}

Result<QList<SpeedTestHistoryEntry>> speedTestHistoryFromJson(const QByteArray& json) {
    const QJsonDocument document = QJsonDocument::fromJson(json);
    if (!document.isArray())
        return failure(QStringLiteral("The saved speed test history could not be read."));
    QList<SpeedTestHistoryEntry> entries;
    for (const QJsonValue& value : document.array()) {
        if (auto entry = speedTestEntryFromJson(value.toObject()))
            entries.append(*entry);
    }
    return entries;
}

} // namespace velmox
