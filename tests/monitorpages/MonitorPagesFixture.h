#pragma once

#include "app/pages/MonitorDemand.h"
#include "monitor/SystemMonitorEngine.h"
#include "platform/linux/ProcHostCounters.h"
#include "tests/monitor/ProcSnapshot.h"
#include "tests/support/ManualClock.h"

#include <QTemporaryDir>
#include <gtest/gtest.h>
#include <memory>

namespace velmox::test {

// A real monitor engine on the recorded /proc snapshots, a manual clock and private
// settings; `sensors` is what every sensor read returns (absent: no sensor source).
class MonitorPagesFixture : public ::testing::Test {
protected:
    void makeEngine(std::optional<QList<SensorReading>> sensors = std::nullopt) {
        snapshot.use(QStringLiteral("live-1"));
        SystemMonitorEngine::Sources sources;
        sources.counters = std::make_unique<ProcHostCounters>(snapshot.path());
        if (sensors)
            sources.readSensors = [list = *sensors] { return list; };
        engine = std::make_unique<SystemMonitorEngine>(settings, clock, std::move(sources));
        demand = std::make_unique<MonitorDemand>(*engine);
    }

    QTemporaryDir folder;
    Settings settings{folder.filePath(QStringLiteral("Velmox.conf"))};
    ManualClock clock;
    ProcSnapshot snapshot;
    std::unique_ptr<SystemMonitorEngine> engine;
    std::unique_ptr<MonitorDemand> demand;
};

} // namespace velmox::test
