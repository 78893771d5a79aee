#include "diskhealth/SmartReportJson.h"

#include <QJsonArray>
#include <QJsonDocument>
#include <QJsonValue>
#include <limits>
#include <vector>

namespace velmox {

namespace {

// Writes JSON with the keys in the order given (QJsonObject would sort them), indented by two.
class OrderedJsonWriter {
public:
    void beginObject() { open('{'); }
    void endObject() { close('}'); }
    void beginArray() { open('['); }
    void endArray() { close(']'); }
    void key(const char* name) {
        separate();
        out_ += scalar(QString::fromLatin1(name)) + ": ";
        afterKey_ = true;
    }
    void value(const QJsonValue& value) {
        separate();
        out_ += scalar(value);
    }
    template <typename T> void field(const char* name, const T& fieldValue) {
        key(name);
        value(QJsonValue(fieldValue));
    }
    QByteArray take() { return out_ + '\n'; }

private:
    static QByteArray scalar(const QJsonValue& value) {
        const QByteArray wrapped = QJsonDocument(QJsonArray{value}).toJson(QJsonDocument::Compact);
        return wrapped.mid(1, wrapped.size() - 2);
    }
    void indent() { out_ += QByteArray(2 * static_cast<int>(empty_.size()), ' '); }
    void separate() {
        if (afterKey_) {
            afterKey_ = false;
            return;
        }
        if (empty_.empty())
            return;
        if (!empty_.back())
            out_ += ',';
        empty_.back() = false;
        out_ += '\n';
        indent();
    }
    void open(char bracket) {
        separate();
        out_ += bracket;
        empty_.push_back(true);
    }
    void close(char bracket) {
        const bool wasEmpty = empty_.back();
        empty_.pop_back();
        if (!wasEmpty) {
            out_ += '\n';
            indent();
        }
        out_ += bracket;
    }

    QByteArray out_;
    std::vector<bool> empty_; // per open bracket: nothing written inside yet
    bool afterKey_ = false;
};

// Counters are written as integers with all their digits (QJsonValue(double) keeps 53 bits).
QJsonValue number(std::uint64_t value) {
    return QJsonValue(
        static_cast<qint64>(std::min<std::uint64_t>(value, std::numeric_limits<qint64>::max())));
}

} // namespace

QByteArray smartReportJson(const SmartReport& report) {
    OrderedJsonWriter json;
    json.beginObject();
    json.field("source", smartSourceLabel(report.source));
    json.field("protocolName", report.protocolName);
    json.field("model", report.model);
    json.field("serial", report.serial);
    json.field("firmware", report.firmware);
    json.key("verdict");
    json.value(report.verdict ? QJsonValue(static_cast<int>(*report.verdict)) : QJsonValue());
    json.field("verdictTitle", report.verdictTitle);
    json.field("verdictDetail", report.verdictDetail);

    json.key("summary");
    json.beginArray();
    for (const SmartFact& fact : report.summary) {
        json.beginObject();
        json.field("label", fact.label);
        json.field("value", fact.value);
        json.key("meter");
        json.value(fact.meter ? QJsonValue(*fact.meter) : QJsonValue());
        json.field("grade", static_cast<int>(fact.grade));
        json.endObject();
    }
    json.endArray();

    json.key("attributes");
    json.beginArray();
    for (const SmartAttributeRow& row : report.attributes) {
        json.beginObject();
        json.field("id", row.id);
        json.field("name", row.name);
        json.field("value", row.value);
        json.field("worst", row.worst);
        json.field("thresh", row.threshold);
        json.field("prefailure", row.prefailure);
        json.field("rawValue", static_cast<qint64>(row.rawValue));
        json.field("rawString", row.rawString);
        json.field("grade", static_cast<int>(row.grade));
        json.field("label", row.label);
        json.endObject();
    }
    json.endArray();

    json.key("healthLog");
    if (const auto& log = report.healthLog) {
        json.beginObject();
        json.field("criticalWarning", log->criticalWarning);
        json.field("temperatureC", log->temperatureC);
        json.field("spare", log->spare);
        json.field("spareThreshold", log->spareThreshold);
        json.field("used", log->used);
        json.key("dataUnitsRead");
        json.value(number(log->dataUnitsRead));
        json.key("dataUnitsWritten");
        json.value(number(log->dataUnitsWritten));
        json.key("hostReads");
        json.value(number(log->hostReads));
        json.key("hostWrites");
        json.value(number(log->hostWrites));
        json.key("busyMinutes");
        json.value(number(log->busyMinutes));
        json.key("powerCycles");
        json.value(number(log->powerCycles));
        json.key("powerOnHours");
        json.value(number(log->powerOnHours));
        json.key("unsafeShutdowns");
        json.value(number(log->unsafeShutdowns));
        json.key("mediaErrors");
        json.value(number(log->mediaErrors));
        json.key("errorEntries");
        json.value(number(log->errorEntries));
        json.key("warningTempMinutes");
        json.value(number(log->warningTempMinutes));
        json.key("criticalTempMinutes");
        json.value(number(log->criticalTempMinutes));
        json.key("sensors");
        json.beginArray();
        for (int sensor : log->sensors)
            json.value(sensor);
        json.endArray();
        json.endObject();
    } else {
        json.value(QJsonValue());
    }
    json.field("diskutilStatus", report.diskutilStatus);
    json.field("status", diskHealthStatusName(report.status));
    json.endObject();
    return json.take();
}

} // namespace velmox
