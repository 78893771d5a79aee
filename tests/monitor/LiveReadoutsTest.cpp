#include "monitor/LiveReadouts.h"

#include <gtest/gtest.h>

namespace velmox {
namespace {

QString valueOf(const QList<Readout>& rows, const QString& title) {
    for (const Readout& row : rows)
        if (row.title == title)
            return row.value;
    return QStringLiteral("<no row>");
}

TEST(LiveReadouts, ShowWhatIsKnownAndSayWhatIsNot) {
    SystemStats stats;
    stats.ramUsed = 2.14;
    stats.ramFree = 21.4;
    const auto first = LiveReadouts::rowsFor(stats, std::nullopt);
    EXPECT_EQ(valueOf(first, "CPU"), QStringLiteral("Measuring"));
    EXPECT_EQ(valueOf(first, "Memory"), QStringLiteral("2.1 of 23.5 GiB"));
    EXPECT_EQ(valueOf(first, "Temperature"), QStringLiteral("Reading sensors"));
    EXPECT_EQ(valueOf(first, "Address"), QStringLiteral("Not connected"));
    EXPECT_EQ(valueOf(first, "Fan"), QStringLiteral("<no row>"));
    EXPECT_EQ(LiveReadouts::trayTitleFor(stats), QStringLiteral("– CPU · 2.1 GiB"));

    EXPECT_EQ(valueOf(LiveReadouts::rowsFor(stats, QList<SensorReading>{}), "Temperature"),
              QStringLiteral("No sensors"));

    stats.cpuUser = 12.4;
    stats.cpuSystem = 3.1;
    stats.cpuHistory = {15.5};
    stats.networkSpeedIn = 1536;
    stats.networkSpeedOut = 0;
    stats.cpuTemp = 46.25;
    stats.fanRPM = 0;
    stats.localIP = QStringLiteral("192.0.2.2");
    const QList<SensorReading> sensors = {{"TC0P", 46.25, SensorKind::temperature},
                                          {"F0Ac", 0, SensorKind::fan}};
    const auto rows = LiveReadouts::rowsFor(stats, sensors);
    EXPECT_EQ(valueOf(rows, "CPU"), QStringLiteral("16%"));
    EXPECT_EQ(valueOf(rows, "Network"), QStringLiteral("↓ 1.5 KiB/s  ↑ 0 bytes/s"));
    EXPECT_EQ(valueOf(rows, "Temperature"), QStringLiteral("CPU 46 °C"));
    EXPECT_EQ(valueOf(rows, "Fan"), QStringLiteral("Stopped"));
    EXPECT_EQ(valueOf(rows, "Address"), QStringLiteral("192.0.2.2"));
    EXPECT_EQ(rows.first().history, QList<double>({15.5}));
}

} // namespace
} // namespace velmox
