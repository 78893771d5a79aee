#include "services/ActionHistoryEntry.h"

#include <QJsonArray>
#include <QJsonDocument>
#include <QLocale>
#include <cmath>

namespace velmox {

namespace {

// 2001-01-01T00:00:00Z in milliseconds since the Unix epoch.
constexpr qint64 referenceDateMs = 978307200000;
// Dates further than this from the reference date (about 300,000 years) are damage.
constexpr double maxSecondsFromReference = 1e13;

void appendJsonString(QByteArray& out, const QString& text) {
    const QByteArray utf8 = text.toUtf8();
    out += '"';
    qsizetype plainFrom = 0;
    for (qsizetype i = 0; i < utf8.size(); ++i) {
        const auto byte = static_cast<unsigned char>(utf8[i]);
        if (byte >= 0x20 && byte != '"' && byte != '\\')
            continue;
        out.append(utf8.constData() + plainFrom, i - plainFrom);
        plainFrom = i + 1;
        switch (byte) {
        case '"':
            out += "\\\"";
            break;
        case '\\':
            out += "\\\\";
            break;
        case '\n':
            out += "\\n";
            break;
        case '\r':
            out += "\\r";
            break;
        case '\t':
            out += "\\t";
            break;
        default:
            out += "\\u00" + QByteArray::number(byte, 16).rightJustified(2, '0');
        }
    }
    out.append(utf8.constData() + plainFrom, utf8.size() - plainFrom);
    out += '"';
}

double secondsSinceReference(const QDateTime& date) {
    return static_cast<double>(date.toMSecsSinceEpoch() - referenceDateMs) / 1000.0;
}

std::optional<QDateTime> dateFromSeconds(const QJsonValue& value) {
    if (!value.isDouble() || std::abs(value.toDouble()) > maxSecondsFromReference)
        return std::nullopt;
    const auto ms = static_cast<qint64>(std::llround(value.toDouble() * 1000.0));
    return QDateTime::fromMSecsSinceEpoch(ms + referenceDateMs, Qt::UTC);
}

std::optional<QUuid> uuidFromText(const QJsonValue& value) {
    static const QString nilText = QUuid().toString(QUuid::WithoutBraces);
    const QString text = value.toString();
    const QUuid id = QUuid::fromString(text);
    if (!value.isString() || (id.isNull() && text.toLower() != nilText))
        return std::nullopt;
    return id;
}

} // namespace

QByteArray toJson(const ActionHistoryEntry& entry) {
    QByteArray out = "{\"id\":";
    appendJsonString(out, entry.id.toString(QUuid::WithoutBraces).toUpper());
    out += ",\"date\":";
    out +=
        QByteArray::number(secondsSinceReference(entry.date), 'f', QLocale::FloatingPointShortest);
    out += ",\"action\":";
    appendJsonString(out, entry.action);
    out += ",\"detail\":";
    appendJsonString(out, entry.detail);
    out += ",\"success\":";
    out += entry.success ? "true}" : "false}";
    return out;
}

QByteArray toJson(const QList<ActionHistoryEntry>& entries) {
    QByteArray out = "[";
    out.reserve(entries.size() * 256);
    for (const ActionHistoryEntry& entry : entries) {
        if (out.size() > 1)
            out += ',';
        out += toJson(entry);
    }
    return out + ']';
}

std::optional<ActionHistoryEntry> fromJson(const QJsonObject& object) {
    const QJsonValue action = object.value(QLatin1String("action"));
    const QJsonValue detail = object.value(QLatin1String("detail"));
    const QJsonValue success = object.value(QLatin1String("success"));
    const std::optional<QUuid> id = uuidFromText(object.value(QLatin1String("id")));
    const std::optional<QDateTime> date = dateFromSeconds(object.value(QLatin1String("date")));
    if (!id || !date || !action.isString() || !detail.isString() || !success.isBool())
        return std::nullopt;
    return ActionHistoryEntry{*id, *date, action.toString(), detail.toString(), success.toBool()};
}

std::optional<QList<ActionHistoryEntry>> historyFromJson(const QByteArray& json) {
    QJsonParseError error;
    const QJsonDocument document = QJsonDocument::fromJson(json, &error);
    if (error.error != QJsonParseError::NoError || !document.isArray())
        return std::nullopt;
    QList<ActionHistoryEntry> entries;
    const QJsonArray array = document.array();
    entries.reserve(array.size());
    for (const QJsonValue& value : array) {
        std::optional<ActionHistoryEntry> entry = fromJson(value.toObject());
        if (!value.isObject() || !entry)
            return std::nullopt;
        entries.append(std::move(*entry));
    }
    return entries;
}

} // namespace velmox
