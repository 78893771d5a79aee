#include "monitor/SystemMonitorEngine.h"

#include "monitor/SMCHelper.h"
#include "platform/linux/LinuxMachineInfo.h"
#include "platform/linux/ProcHostCounters.h"
#include "tests/monitor/ProcSnapshot.h"
#include "tests/monitor/SimulatedSmc.h"
#include "tests/support/ManualClock.h"
#include "tests/support/TestFiles.h"

#include <QTemporaryDir>
#include <QThread>
#include <gtest/gtest.h>

namespace velmox {
namespace {

using namespace std::chrono_literals;

class EngineTest : public ::testing::Test {
protected:
    std::unique_ptr<SystemMonitorEngine> makeEngine(SensorWorker::ReadFunction sensors = {}) {
        auto engine = std::make_unique<SystemMonitorEngine>(
            settings, clock,
            SystemMonitorEngine::Sources{std::make_unique<ProcHostCounters>(proc.path()),
                                         std::make_unique<LinuxMachineInfo>(proc.path()),
                                         std::move(sensors)});
        QObject::connect(engine.get(), &SystemMonitorEngine::statsChanged,
                         [this](const SystemStats&) { ++published; });
        return engine;
    }

    test::ProcSnapshot proc;
    test::ManualClock clock;
    QTemporaryDir folder;
    Settings settings{folder.filePath(QStringLiteral("Velmox.conf"))};
    int published = 0;
};

TEST_F(EngineTest, PollingIntervalFromOneToTenElseTwo) {
    for (const auto& [stored, seconds] : std::initializer_list<std::pair<QVariant, double>>{
             {{}, 2.0}, {0.5, 2.0}, {11, 2.0}, {"fast", 2.0}, {1.0, 1.0}, {10, 10.0}, {"4.5", 4.5}})
        EXPECT_EQ(SystemMonitorEngine::clampedInterval(stored), seconds)
            << stored.toString().toStdString();
}

TEST_F(EngineTest, TicksOnTheStoredIntervalAndFollowsItsChanges) {
    proc.use(QStringLiteral("live-1"));
    EXPECT_TRUE(settings.setValue(SystemMonitorEngine::pollingIntervalKey, 10));
    auto engine = makeEngine();
    engine->start();
    EXPECT_EQ(published, 1) << "the first sample is taken at start";
    clock.advance(20s);
    EXPECT_EQ(published, 3);
    EXPECT_EQ(engine->timerInterval(), 10.0);

    EXPECT_TRUE(settings.setValue(SystemMonitorEngine::pollingIntervalKey, 0.5));
    EXPECT_EQ(engine->timerInterval(), 2.0);
    clock.advance(10s);
    EXPECT_EQ(published, 8);

    EXPECT_TRUE(settings.setValue(QStringLiteral("someOtherKey"), true));
    EXPECT_EQ(clock.pendingJobs(), 1);
    engine->stop();
    clock.advance(10s);
    EXPECT_EQ(published, 8);
}

TEST_F(EngineTest, PublishesProcessorLoadFromTheSecondSampleOn) {
    proc.use(QStringLiteral("live-1"));
    auto engine = makeEngine();
    engine->start();
    EXPECT_TRUE(engine->stats().cpuHistory.isEmpty());
    EXPECT_EQ(engine->stats().cpuUser, 0.0);
    EXPECT_EQ(engine->stats().networkSpeedIn, 0.0);
    EXPECT_GT(engine->stats().ramUsed, 0.0);

    proc.use(QStringLiteral("live-2"));
    clock.advance(2s);
    const SystemStats& stats = engine->stats();
    EXPECT_DOUBLE_EQ(stats.cpuUser, 202.0 / 235.0 * 100.0);
    EXPECT_DOUBLE_EQ(stats.cpuSystem, 32.0 / 235.0 * 100.0);
    EXPECT_EQ(stats.cpuHistory, QList<double>({stats.cpuUser + stats.cpuSystem}));
    EXPECT_EQ(stats.networkSpeedIn, 553 / 2.0);
    EXPECT_EQ(stats.networkSpeedOut, 630 / 2.0);
    EXPECT_EQ(stats.networkHistoryIn, QList<double>({553 / 2.0}));
    EXPECT_EQ(stats.ramHistory.size(), 2);
    EXPECT_EQ(stats.uptime, 0.0) << "no uptime in the recorded tree";
}

TEST_F(EngineTest, SkipsOneProcessorSampleWhenTheCoreCountChanges) {
    const auto firstCoreOnly = [](const char* snapshot) {
        QByteArray stat = test::ProcSnapshot::recorded(QString::fromLatin1(snapshot),
                                                       QStringLiteral("proc/stat"));
        const qsizetype from = stat.indexOf("cpu1 ");
        return stat.remove(from, stat.indexOf('\n', from) + 1 - from);
    };
    proc.use(QStringLiteral("live-1"));
    auto engine = makeEngine();
    engine->start();
    proc.write(QStringLiteral("proc/stat"), firstCoreOnly("live-1"));
    clock.advance(2s);
    EXPECT_TRUE(engine->stats().cpuHistory.isEmpty()) << "cpu1 went offline";
    proc.write(QStringLiteral("proc/stat"), firstCoreOnly("live-2"));
    clock.advance(2s);
    EXPECT_EQ(engine->stats().cpuHistory, QList<double>({100.0}));
    EXPECT_DOUBLE_EQ(engine->stats().cpuUser, 94.0 / 116.0 * 100.0);
}

TEST_F(EngineTest, EveryHistoryKeepsTheLastThirtySamples) {
    proc.use(QStringLiteral("live-1"));
    auto engine = makeEngine();
    const QByteArray meminfo =
        test::ProcSnapshot::recorded(QStringLiteral("live-1"), QStringLiteral("proc/meminfo"));
    const auto sampleWithAvailable = [&](int step) {
        QByteArray text = meminfo;
        const qsizetype at = text.indexOf("MemAvailable:");
        text.replace(at, text.indexOf('\n', at) - at,
                     "MemAvailable: " + QByteArray::number(20000000 - step * 1024) + " kB");
        proc.write(QStringLiteral("proc/meminfo"), text);
    };
    sampleWithAvailable(1);
    engine->start();
    for (int step = 2; step <= 31; ++step) {
        proc.use(step % 2 ? QStringLiteral("live-1") : QStringLiteral("live-2"));
        sampleWithAvailable(step);
        clock.advance(2s);
    }
    const SystemStats& stats = engine->stats();
    EXPECT_EQ(stats.ramHistory.size(), 30);
    EXPECT_EQ(stats.networkHistoryIn.size(), 30);
    EXPECT_EQ(stats.networkHistoryOut.size(), 30);
    EXPECT_EQ(stats.cpuHistory.size(), 30);
    EXPECT_DOUBLE_EQ(stats.ramHistory.last() - stats.ramHistory.first(), 29.0 / 1024.0)
        << "the first of 31 memory samples was pushed out";
    for (double rate : stats.networkHistoryIn)
        EXPECT_GE(rate, 0.0);
}

TEST_F(EngineTest, ReadsSensorsOnItsOwnThreadAtMostEveryFiveSeconds) {
    proc.use(QStringLiteral("live-1"));
    test::SimulatedSmc smc = test::SimulatedSmc::fromFile(QStringLiteral("MacBookPro11-1.smc"));
    SMCHelper helper(smc.opener(), nullptr);
    std::atomic<int> reads = 0;
    std::atomic<QThread*> readerThread = nullptr;
    auto engine = makeEngine([&] {
        ++reads;
        readerThread = QThread::currentThread();
        return helper.readAllSensors();
    });
    engine->start();
    ASSERT_TRUE(test::waitFor([&] { return engine->hasReadSensors(); }));
    EXPECT_NE(readerThread.load(), QThread::currentThread());
    EXPECT_EQ(engine->stats().cpuTemp, 54.0);
    EXPECT_EQ(engine->stats().fanRPM, 1298.0);
    EXPECT_EQ(engine->sensorReadings().size(), 13);

    for (int tick = 0; tick < 10; ++tick) {
        clock.advance(2s);
        ASSERT_TRUE(test::waitFor([&] { return !engine->isReadingSensors(); }));
    }
    EXPECT_EQ(reads, 4) << "at 0, 6, 12 and 18 seconds";
}

TEST_F(EngineTest, AfterARestartEverySeriesStartsAfresh) {
    proc.use(QStringLiteral("live-1"));
    auto engine = makeEngine();
    engine->start();
    engine->stop(); // nothing watches for ten minutes
    clock.advance(10min);
    proc.use(QStringLiteral("live-2"));
    engine->start();

    const SystemStats& stats = engine->stats();
    EXPECT_TRUE(stats.cpuHistory.isEmpty()) << "no load averaged over the hidden time";
    EXPECT_EQ(stats.cpuUser, 0.0);
    EXPECT_EQ(stats.networkSpeedIn, 0.0);
    EXPECT_TRUE(stats.networkHistoryIn.isEmpty()) << "the first sample is only a baseline";
    EXPECT_EQ(stats.ramHistory.size(), 1) << "the chart does not join across the gap";
}

TEST_F(EngineTest, SettingTheWallClockNeitherBendsRatesNorStopsSensorReads) {
    proc.use(QStringLiteral("live-1"));
    std::atomic<int> reads = 0;
    auto engine = makeEngine([&] {
        ++reads;
        return QList<SensorReading>{};
    });
    engine->start();
    ASSERT_TRUE(test::waitFor([&] { return engine->hasReadSensors(); }));

    clock.setWallClock(clock.now().addSecs(-3600));
    proc.use(QStringLiteral("live-2"));
    clock.advance(2s);
    EXPECT_EQ(engine->stats().networkSpeedIn, 553 / 2.0);

    for (int tick = 0; tick < 3; ++tick) {
        clock.advance(2s);
        ASSERT_TRUE(test::waitFor([&] { return !engine->isReadingSensors(); }));
    }
    EXPECT_EQ(reads, 2) << "at 0 and 6 seconds";
}

// A machine with a Docker bridge, a VPN tunnel and an Ethernet port: only eth0 is
// hardware in the recorded tree.
class AddressedMachine final : public MachineInfo {
public:
    QString modelIdentifier() override { return {}; }
    QString modelName() override { return QStringLiteral("Test machine"); }
    QString processorInfo() override { return QStringLiteral("Test processor"); }
    QString gpuModel() override { return {}; }
    std::optional<double> gpuUtilization() override { return {}; }
    std::optional<double> uptimeSeconds() override { return {}; }
    std::optional<VolumeSpace> startupVolumeSpace() override { return {}; }
    QList<NetworkAddress> activeIPv4Interfaces() override {
        return {{"tun0", "10.8.0.2"}, {"docker0", "172.17.0.1"}, {"eth0", "192.168.1.20"}};
    }
    QString thermalState() override { return QStringLiteral("unknown"); }
};

TEST_F(EngineTest, ListsOnlyTheInterfacesWhoseTrafficItCounts) {
    proc.use(QStringLiteral("live-1"));
    SystemMonitorEngine engine(settings, clock,
                               {std::make_unique<ProcHostCounters>(proc.path()),
                                std::make_unique<AddressedMachine>(),
                                {}});
    engine.start();
    EXPECT_EQ(engine.stats().activeNICs, (QList<NICInfo>{{"eth0", "Active", "192.168.1.20"}}));
    EXPECT_EQ(engine.stats().localIP, QStringLiteral("192.168.1.20"));
}

TEST(SystemMonitorEngineLive, SamplesThisMachine) {
    QTemporaryDir folder;
    Settings settings(folder.filePath(QStringLiteral("Velmox.conf")));
    test::ManualClock clock;
    SystemMonitorEngine engine(settings, clock, SystemMonitorEngine::systemSources());
    engine.start();
    QThread::msleep(300);
    clock.advance(2s);
    ASSERT_TRUE(test::waitFor([&] { return engine.hasReadSensors(); }));

    const SystemStats& stats = engine.stats();
    EXPECT_EQ(stats.cpuHistory.size(), 1);
    EXPECT_GE(stats.cpuUser + stats.cpuSystem, 0.0);
    EXPECT_LE(stats.cpuUser + stats.cpuSystem, 100.0 + 1e-9); // two rounded shares
    EXPECT_GT(stats.ramUsed, 0.0);
    EXPECT_GT(stats.diskTotal, stats.diskAvailable);
    EXPECT_GT(stats.uptime, 0.0);
}

} // namespace
} // namespace velmox
