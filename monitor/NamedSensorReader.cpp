#include "monitor/NamedSensorReader.h"

namespace velmox {

bool isPlausibleReading(SensorKind kind, double value) {
    if (kind == SensorKind::temperature)
        return value > 0.5 && value < 125.0;
    return value >= 0.0 && value < 15000.0;
}

void appendSensorReading(QList<SensorReading>& readings, SensorReading reading) {
    const auto taken = [&readings](const QString& name) {
        return std::any_of(readings.cbegin(), readings.cend(),
                           [&name](const SensorReading& r) { return r.name == name; });
    };
    if (taken(reading.name)) {
        const QString base = reading.name;
        int suffix = 2;
        do
            reading.name = QStringLiteral("%1 #%2").arg(base).arg(suffix++);
        while (taken(reading.name));
    }
    readings.append(std::move(reading));
}

NamedSensorReader::NamedSensorReader(std::unique_ptr<NamedSensorSource> source, Clock& clock)
    : source_(std::move(source)), clock_(clock) {}

bool NamedSensorReader::needsRefresh() const {
    if (!lastRefresh_.isValid())
        return true;
    const double age = double(lastRefresh_.msecsTo(clock_.now())) / 1000.0;
    if (!services_)
        return age > missingRetrySeconds;
    return age > (services_->isEmpty() ? emptyRefreshSeconds : listedRefreshSeconds);
}

void NamedSensorReader::refresh() {
    services_ = source_ ? source_->discover() : std::nullopt;
    lastRefresh_ = clock_.now();
    ++refreshCount_;
}

QList<SensorReading> NamedSensorReader::read() {
    QMutexLocker locker(&lock_);
    if (needsRefresh())
        refresh();
    QList<SensorReading> readings;
    if (!services_)
        return readings;
    for (const NamedSensorService& service : *services_) {
        if (service.name.isEmpty())
            continue;
        const std::optional<double> value = source_->read(service);
        if (value && isPlausibleReading(service.kind, *value))
            appendSensorReading(readings, {service.name, *value, service.kind, service.device});
    }
    return readings;
}

void NamedSensorReader::invalidate() {
    QMutexLocker locker(&lock_);
    lastRefresh_ = {};
}

int NamedSensorReader::refreshCount() const {
    QMutexLocker locker(&lock_);
    return refreshCount_;
}

} // namespace velmox
