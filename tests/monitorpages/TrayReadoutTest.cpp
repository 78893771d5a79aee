#include "app/TrayReadout.h"

#include "app/Screenshot.h"
#include "tests/monitorpages/MonitorPagesFixture.h"

#include <QSignalSpy>
#include <QTimer>

namespace velmox::test {
namespace {

using namespace std::chrono_literals;
using TrayReadoutTest = MonitorPagesFixture;

TEST_F(TrayReadoutTest, HoldsTheMonitorOnlyWhileShownWithAFigureChosen) {
    makeEngine();
    TrayReadout readout(settings, *demand);
    readout.setShown(true);
    EXPECT_FALSE(engine->isRunning()) << "no figure chosen: the tray costs nothing";
    EXPECT_EQ(readout.text(), QString());
    EXPECT_EQ(readout.toolTip(), TrayReadout::kIdleToolTip);

    EXPECT_TRUE(settings.setValue(kTrayFigureKey, QStringLiteral("memory")));
    EXPECT_TRUE(engine->isRunning());
    EXPECT_TRUE(readout.text().endsWith(u'%')) << readout.text().toStdString();
    EXPECT_TRUE(readout.toolTip().contains(QStringLiteral("Memory: ")))
        << readout.toolTip().toStdString();

    readout.setShown(false);
    EXPECT_FALSE(engine->isRunning());
    EXPECT_EQ(readout.text(), QString());
    readout.setShown(true);
    EXPECT_TRUE(settings.setValue(kTrayFigureKey, QStringLiteral("none")));
    EXPECT_FALSE(engine->isRunning());
    EXPECT_EQ(readout.toolTip(), TrayReadout::kIdleToolTip);
}

TEST_F(TrayReadoutTest, TheIconIsToldOnlyWhenItsTextChanges) {
    makeEngine();
    EXPECT_TRUE(settings.setValue(kTrayFigureKey, QStringLiteral("processor")));
    TrayReadout readout(settings, *demand);
    QSignalSpy texts(&readout, &TrayReadout::textChanged);
    readout.setShown(true);
    EXPECT_EQ(readout.text(), QStringLiteral("–")) << "one sample gives no processor load yet";

    snapshot.use(QStringLiteral("live-2"));
    clock.advance(2s);
    EXPECT_TRUE(readout.text().endsWith(u'%')) << readout.text().toStdString();
    EXPECT_EQ(texts.count(), 2);

    // Memory does not move between samples of the same snapshot.
    EXPECT_TRUE(settings.setValue(kTrayFigureKey, QStringLiteral("memory")));
    const int afterSwitch = texts.count();
    clock.advance(2s);
    clock.advance(2s);
    EXPECT_EQ(texts.count(), afterSwitch);
}

TEST_F(TrayReadoutTest, ScreenshotsWaitForTheSecondSampleButNoLongerThanTheDeadline) {
    makeEngine(QList<SensorReading>{});
    demand->acquire();
    QSignalSpy sensors(engine.get(), &SystemMonitorEngine::sensorsChanged);
    ASSERT_TRUE(sensors.wait(5000));
    EXPECT_FALSE(Screenshot::figuresReady(*engine));

    EXPECT_FALSE(Screenshot::waitForFigures(*engine, 200));

    snapshot.use(QStringLiteral("live-2"));
    QTimer::singleShot(50, [this] { clock.advance(2s); });
    EXPECT_TRUE(Screenshot::waitForFigures(*engine, 3000));
    demand->release();
}

} // namespace
} // namespace velmox::test
