#pragma once

#include "platform/NamedSensorSource.h"
#include "services/Clock.h"

#include <QDateTime>
#include <QMutex>
#include <memory>

namespace velmox {

// Reads the sensors a NamedSensorSource publishes, listing them again only now and then
// (listing is the slow part): at the first read, after 60 seconds when the source was
// missing, and otherwise once the list is older than an hour (five minutes while it is
// empty). Temperatures outside 0.5...125 degrees and fan speeds outside 0...15000 RPM are
// left out; a name used twice gets " #2", " #3" ... appended. Safe from any thread.
class NamedSensorReader {
public:
    NamedSensorReader(std::unique_ptr<NamedSensorSource> source, Clock& clock);

    QList<SensorReading> read();
    // Lists the sensors again at the next read.
    void invalidate();
    int refreshCount() const;

    static constexpr double listedRefreshSeconds = 3600.0;
    static constexpr double emptyRefreshSeconds = 300.0;
    static constexpr double missingRetrySeconds = 60.0;

private:
    bool needsRefresh() const;
    void refresh();

    mutable QMutex lock_;
    std::unique_ptr<NamedSensorSource> source_;
    Clock& clock_;
    std::optional<QList<NamedSensorService>> services_;
    QDateTime lastRefresh_;
    int refreshCount_ = 0;
};

// Keeps sensor names unique: "name", then "name #2", "name #3" ...
void appendSensorReading(QList<SensorReading>& readings, SensorReading reading);
// The plausibility filters shared by every sensor source.
// Temperatures strictly between 0.5 and 125 degrees, fan speeds from 0 up to 15000 RPM.
bool isPlausibleReading(SensorKind kind, double value);

} // namespace velmox
