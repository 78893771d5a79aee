#pragma once

#include "services/Result.h"

#include <QByteArray>
#include <QDateTime>
#include <QJsonObject>
#include <QList>
#include <QString>
#include <QUuid>

namespace velmox {

// One finished speed test as the history keeps it: the figures as they were shown then, and
// the raw values behind them (bits per second, whole milliseconds; 0 where the test had no
// figure).
struct SpeedTestHistoryEntry {
    QUuid id;
    QDateTime date; // when the test finished
    QString download;
    QString upload;
    QString latency;
    double dlValue = 0.0;
    double ulValue = 0.0;
    qint64 latencyValue = 0;

    bool operator==(const SpeedTestHistoryEntry&) const = default;
};

// JSON keys equal the field names; the id is an upper-case UUID, the date ISO 8601 with its
// offset.
QJsonObject toJson(const SpeedTestHistoryEntry& entry);
std::optional<SpeedTestHistoryEntry> speedTestEntryFromJson(const QJsonObject& object);

// The stored history: one JSON array. Reading skips entries that do not decode; a value that
// is not an array at all is a whole-sentence failure.
QByteArray speedTestHistoryToJson(const QList<SpeedTestHistoryEntry>& entries);
Result<QList<SpeedTestHistoryEntry>> speedTestHistoryFromJson(const QByteArray& json);

} // namespace velmox
