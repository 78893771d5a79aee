#include "app/pages/DashboardPage.h"

#include "app/pages/HistoryChart.h"
#include "app/pages/MonitorCard.h"
#include "app/pages/MonitorFormat.h"
#include "tests/monitorpages/MonitorPagesFixture.h"

namespace velmox::test {
namespace {

using namespace std::chrono_literals;
using DashboardPageTest = MonitorPagesFixture;

SystemStats sampleStats() {
    SystemStats stats;
    stats.cpuUser = 12.4;
    stats.cpuSystem = 5.2;
    stats.cpuHistory = {10.0, 17.6};
    stats.ramUsed = 5.24;
    stats.ramFree = 10.76;
    stats.ramApp = 3.1;
    stats.ramWired = 1.6;
    stats.ramCompressed = 0.54;
    stats.ramHistory = {5.0, 5.24};
    stats.diskTotal = 500e9;
    stats.diskAvailable = 123.4e9;
    stats.diskFree = 150e9;
    stats.networkSpeedIn = 1536.0;
    stats.networkSpeedOut = 3.0 * 1048576.0;
    stats.networkHistoryIn = {0.0, 1536.0};
    stats.networkHistoryOut = {0.0, 3.0 * 1048576.0};
    stats.uptime = 3 * 86400 + 4 * 3600 + 59;
    stats.cpuTemp = 54.4;
    stats.ssdTemp = 38.0;
    stats.ssdLabel = "nvme0n1";
    stats.fanRPM = 1840.0;
    stats.macModel = "MacBookPro18,3";
    stats.processorInfo = "Apple M1 Pro (8 performance + 2 efficiency)";
    stats.activeNICs = {{"en0", "Active", "192.168.1.20"}, {"en5", "Active", "10.0.0.7"}};
    return stats;
}

TEST_F(DashboardPageTest, CardsShowTheFiguresOfTheRecord) {
    makeEngine();
    DashboardPage page(*demand);
    const QList<SensorReading> sensors{{"TC0P", 54.4, SensorKind::temperature},
                                       {"F0Ac", 1840.0, SensorKind::fan}};
    page.showStats(sampleStats(), sensors);

    EXPECT_EQ(page.processorCard()->headline(), QStringLiteral("18%"));
    EXPECT_EQ(page.processorCard()->detail(QStringLiteral("User")), QStringLiteral("12%"));
    EXPECT_EQ(page.processorCard()->detail(QStringLiteral("Idle")), QStringLiteral("82%"));
    EXPECT_EQ(page.memoryCard()->headline(), QStringLiteral("5.2 of 16.0 GiB"));
    // Linux names the memory parts by what they are there.
    EXPECT_EQ(page.memoryCard()->detail(QStringLiteral("Zswap")), QStringLiteral("0.5 GiB"));
    EXPECT_EQ(page.memoryCard()->detail(QStringLiteral("Kernel")), QStringLiteral("1.6 GiB"));
    EXPECT_EQ(page.memoryCard()->detail(QStringLiteral("Wired")), QString());
    EXPECT_EQ(page.networkCard()->detail(QStringLiteral("In")), QStringLiteral("1.5 KiB/s"));
    EXPECT_EQ(page.networkCard()->detail(QStringLiteral("Out")), QStringLiteral("3.0 MiB/s"));
    EXPECT_EQ(page.networkCard()->chart()->series().size(), 2);
    EXPECT_EQ(page.processorCard()->chart()->axisLabels(),
              (QStringList{"100%", "58 s ago", "now"}));
    EXPECT_EQ(page.memoryCard()->chart()->axisLabels().first(), "16.0 GiB");
    EXPECT_EQ(page.diskCard()->headline(), QStringLiteral("123.4 GB free"));
    // Used as `df` counts it; the space kept for the administrator apart.
    EXPECT_EQ(page.diskCard()->detail(QStringLiteral("Used")), QStringLiteral("350.0 GB"));
    EXPECT_EQ(page.diskCard()->detail(QStringLiteral("Reserved")), QStringLiteral("26.6 GB"));
    EXPECT_EQ(page.sensorsCard()->headline(), QStringLiteral("54 °C"));
    EXPECT_EQ(page.sensorsCard()->detail(QStringLiteral("nvme0n1")), QStringLiteral("38 °C"));
    EXPECT_EQ(page.sensorsCard()->detail(QStringLiteral("Fan")), QStringLiteral("1840 RPM"));
    EXPECT_EQ(page.machineCard()->headline(), QStringLiteral("MacBookPro18,3"));
    EXPECT_EQ(page.machineCard()->detail(QStringLiteral("Up for")),
              QStringLiteral("3 days, 4 hours"));
    EXPECT_EQ(page.machineCard()->detail(QStringLiteral("en5")), QStringLiteral("10.0.0.7"));

    // A later record with fewer facts leaves no stale rows behind.
    SystemStats bare;
    page.showStats(bare, QList<SensorReading>{});
    EXPECT_EQ(page.diskCard()->detail(QStringLiteral("Reserved")), QString());
    EXPECT_EQ(page.processorCard()->headline(), QStringLiteral("Measuring…"));
    EXPECT_EQ(page.machineCard()->detail(QStringLiteral("en5")), QString());
    EXPECT_EQ(page.machineCard()->detail(QStringLiteral("Address")), notConnectedText());
    EXPECT_EQ(page.machineCard()->headline(), QStringLiteral("Unknown"));
    EXPECT_EQ(page.diskCard()->note(),
              QStringLiteral("The size of the system volume could not be read."));
    EXPECT_EQ(page.sensorsCard()->headline(), QStringLiteral("No sensors"));
    EXPECT_EQ(page.sensorsCard()->detail(QStringLiteral("Fan")), QString());

    // Without a model name the computer goes by its host name.
    bare.macModelName = QStringLiteral("Unknown computer");
    bare.hostName = QStringLiteral("workbench");
    bare.osName = QStringLiteral("Debian GNU/Linux 12 (bookworm)");
    page.showStats(bare, QList<SensorReading>{});
    EXPECT_EQ(page.machineCard()->headline(), QStringLiteral("workbench"));
    EXPECT_EQ(page.machineCard()->detail(QStringLiteral("System")),
              QStringLiteral("Debian GNU/Linux 12 (bookworm)"));
}

TEST_F(DashboardPageTest, FollowsTheLiveEngineAndKeepsHistoriesAtThirty) {
    makeEngine(QList<SensorReading>{});
    DashboardPage page(*demand);
    page.show();
    ASSERT_TRUE(engine->isRunning());
    EXPECT_EQ(page.processorCard()->headline(), QStringLiteral("Measuring…"));
    const double total = engine->stats().ramUsed + engine->stats().ramFree;
    EXPECT_EQ(page.memoryCard()->headline(),
              QStringLiteral("%1 of %2")
                  .arg(QString::number(engine->stats().ramUsed, 'f', 1),
                       monitorformat::gibibytes(total)));

    snapshot.use(QStringLiteral("live-2"));
    clock.advance(2s);
    EXPECT_EQ(page.processorCard()->headline(),
              monitorformat::percent(engine->stats().cpuUser + engine->stats().cpuSystem));

    for (int tick = 0; tick < 40; ++tick)
        clock.advance(2s);
    EXPECT_EQ(page.processorCard()->chart()->series().first().samples, engine->stats().cpuHistory);
    EXPECT_EQ(page.memoryCard()->chart()->series().first().samples.size(), 30);
    EXPECT_EQ(page.networkCard()->chart()->series().last().samples.size(), 30);

    page.hide();
    EXPECT_FALSE(engine->isRunning());
}

TEST(MonitorFormat, UptimeAndRatesReadNaturally) {
    using namespace monitorformat;
    EXPECT_EQ(uptime(59), QStringLiteral("0 minutes"));
    EXPECT_EQ(uptime(3600 + 60), QStringLiteral("1 hour, 1 minute"));
    EXPECT_EQ(uptime(86400), QStringLiteral("1 day, 0 hours"));
    EXPECT_EQ(rate(-5), QStringLiteral("0 bytes/s"));
}

} // namespace
} // namespace velmox::test
