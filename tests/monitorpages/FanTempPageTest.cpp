#include "app/pages/FanTempPage.h"

#include "tests/monitorpages/MonitorPagesFixture.h"

#include <QSignalSpy>

namespace velmox::test {
namespace {

using namespace std::chrono_literals;
using FanTempPageTest = MonitorPagesFixture;
using Group = FanTempPage::SensorGroup;

SensorReading temperature(const char* name, double value) {
    return {QString::fromLatin1(name), value, SensorKind::temperature};
}

SensorReading fan(const char* name, double value) {
    return {QString::fromLatin1(name), value, SensorKind::fan};
}

TEST(FanTempGroups, SensorsLandInTheirGroups) {
    // A long name that merely begins like an SMC key ("TCPIP board") is not one.
    const std::pair<const char*, Group> cases[] = {
        {"TC0P", Group::processor},         {"coretemp Package id 0", Group::processor},
        {"k10temp Tctl", Group::processor}, {"PMU tdie3", Group::processor},
        {"TG0D", Group::graphics},          {"amdgpu edge", Group::graphics},
        {"nvme Composite", Group::drives},  {"TH0a", Group::drives},
        {"acpitz temp1", Group::other},     {"TCPIP board", Group::other}};
    for (const auto& [name, group] : cases)
        EXPECT_EQ(FanTempPage::groupOf(QString::fromLatin1(name)), group) << name;
}

TEST(FanTempGroups, SmcFanKeysBecomeOneFanWithItsRange) {
    const auto fans =
        FanTempPage::fansOf({fan("F1Ac", 2100), fan("F0Mx", 6000), fan("F0Ac", 1200),
                             fan("F0Mn", 1000), temperature("TC0P", 50), fan("thinkpad fan1", 0)});
    ASSERT_EQ(fans.size(), 3);
    EXPECT_EQ(fans[0], (FanTempPage::Fan{QStringLiteral("Fan 1"), 1200, 1000.0, 6000.0}));
    EXPECT_EQ(fans[1], (FanTempPage::Fan{QStringLiteral("Fan 2"), 2100, {}, {}}));
    EXPECT_EQ(fans[2], (FanTempPage::Fan{QStringLiteral("thinkpad fan1"), 0, {}, {}}));
}

TEST_F(FanTempPageTest, MachineWithoutSensorsSaysSoInASentence) {
    makeEngine(QList<SensorReading>{});
    FanTempPage page(*demand);
    EXPECT_TRUE(page.stateMessage().endsWith(QStringLiteral("fan speeds…")));
    QSignalSpy read(engine.get(), &SystemMonitorEngine::sensorsChanged);
    page.show();
    ASSERT_TRUE(read.wait(5000));
    EXPECT_EQ(page.stateMessage(), FanTempPage::noSensorsMessage());
    EXPECT_TRUE(page.stateMessage().endsWith(QLatin1Char('.')));
    EXPECT_TRUE(page.histories().isEmpty());

    // No sensor source at all: the same page at once, with no read to wait for.
    makeEngine(std::nullopt);
    FanTempPage withoutSource(*demand);
    EXPECT_EQ(withoutSource.stateMessage(), FanTempPage::noSensorsMessage());
}

TEST_F(FanTempPageTest, ShowsEverySensorWithItsHistoryCappedAtThirty) {
    const QList<SensorReading> readings{temperature("coretemp Package id 0", 61.2),
                                        temperature("nvme Composite", 38.9), fan("F0Ac", 1840),
                                        fan("F0Mn", 1200), fan("F0Mx", 6000)};
    makeEngine(readings);
    FanTempPage page(*demand);
    QSignalSpy read(engine.get(), &SystemMonitorEngine::sensorsChanged);
    page.show();
    ASSERT_TRUE(read.wait(5000));
    EXPECT_EQ(page.stateMessage(), QString());
    EXPECT_EQ(page.shownValue(QStringLiteral("coretemp Package id 0")), QStringLiteral("61 °C"));
    EXPECT_EQ(page.shownValue(QStringLiteral("nvme Composite")), QStringLiteral("39 °C"));
    EXPECT_EQ(page.shownValue(QStringLiteral("Fan 1")), QStringLiteral("1840 RPM"));
    EXPECT_EQ(page.shownValue(QStringLiteral("Fan 1 range")),
              QStringLiteral("1200 RPM – 6000 RPM"));

    for (int sample = 0; sample < 40; ++sample)
        page.showReadings(readings);
    EXPECT_EQ(page.histories().value(QStringLiteral("nvme Composite")).size(), 30);
    EXPECT_EQ(page.histories().value(QStringLiteral("Fan 1")).size(), 30);

    // A sensor that goes away takes its row and its history with it.
    page.showReadings(QList<SensorReading>{readings.first()});
    EXPECT_EQ(page.shownValue(QStringLiteral("nvme Composite")), QString());
    EXPECT_FALSE(page.histories().contains(QStringLiteral("nvme Composite")));
    EXPECT_EQ(page.histories().value(QStringLiteral("coretemp Package id 0")).size(), 30);

    // Hidden for ten minutes, the page starts its histories again rather than drawing a
    // line across the time nobody watched.
    page.hide();
    clock.advance(10min);
    page.show();
    ASSERT_TRUE(read.wait(5000));
    EXPECT_EQ(page.histories().value(QStringLiteral("coretemp Package id 0")).size(), 1);
}

} // namespace
} // namespace velmox::test
