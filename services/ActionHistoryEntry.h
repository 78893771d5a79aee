#pragma once

#include <QDateTime>
#include <QJsonObject>
#include <QList>
#include <QString>
#include <QUuid>
#include <optional>

namespace velmox {

// One line of the activity log.
struct ActionHistoryEntry {
    QUuid id;
    QDateTime date;
    QString action;
    // Free text; may end with an undo payload (see ActionHistoryStore::undoPayload).
    QString detail;
    bool success = false;

    bool operator==(const ActionHistoryEntry&) const = default;
};

// The stored JSON form: the keys "id", "date", "action", "detail", "success" in that order; the
// id as upper-case UUID text, the date as a number of seconds since 2001-01-01T00:00:00Z.
QByteArray toJson(const ActionHistoryEntry& entry);
QByteArray toJson(const QList<ActionHistoryEntry>& entries);
std::optional<ActionHistoryEntry> fromJson(const QJsonObject& object);
// The whole list, or nothing when any part of it is not a valid entry.
std::optional<QList<ActionHistoryEntry>> historyFromJson(const QByteArray& json);

} // namespace velmox
