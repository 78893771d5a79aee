#include "app/DiskHealthBadge.h"
#include "app/DiskHealthSettingsPane.h"
#include "app/SidebarView.h"
#include "diskhealth/DiskHealthMonitor.h"
#include "diskhealth/SmartAnalyzer.h"
#include "services/Settings.h"
#include "tests/diskhealth/Screenshots.h"
#include "tests/support/ManualClock.h"

#include <QCheckBox>
#include <QComboBox>
#include <QLabel>
#include <QLocale>
#include <QPushButton>
#include <QSignalSpy>
#include <QTemporaryDir>
#include <atomic>
#include <gtest/gtest.h>

namespace velmox {
namespace {

// Every disk reads at the temperature the test sets.
class CountingReader final : public SmartReader {
public:
    Outcome read(const SmartTarget&) override {
        ++reads;
        SmartReport report;
        report.passed = true;
        report.temperatureC = temperature.load();
        SmartAnalyzer::grade(report, false);
        return report;
    }
    std::atomic<int> reads{0};
    std::atomic<int> temperature{30};
};

class SilentNotifier final : public DiskHealthNotifier {
public:
    void notify(const QString&, const QString&) override {}
};

class DiskHealthSettingsTest : public ::testing::Test {
protected:
    QTemporaryDir dir;
    test::ManualClock clock;
    Settings settings{dir.filePath(QStringLiteral("Velmox.conf"))};
    std::shared_ptr<CountingReader> reader = std::make_shared<CountingReader>();
    SilentNotifier notifier;
    DiskHealthMonitor monitor{
        settings, clock, reader,
        [] {
            return QList<SmartTarget>{SmartTarget{"/dev/sda", {}, false, true}};
        },
        notifier};
    DiskHealthSettingsPane pane{settings, monitor};

    // Moves the clock and waits for the checks that became due to end.
    int checksAfter(std::chrono::milliseconds time) {
        const int before = reader->reads;
        clock.advance(time);
        if (monitor.isChecking()) {
            QSignalSpy checked(&monitor, &DiskHealthMonitor::checked);
            EXPECT_TRUE(checked.wait(10000));
        }
        return reader->reads - before;
    }
};

TEST_F(DiskHealthSettingsTest, ChoicesAreSavedAndTheRunningMonitorFollowsThemAtOnce) {
    EXPECT_TRUE(pane.enabledBox()->isChecked());
    EXPECT_EQ(pane.intervalBox()->currentText(), "1 hour");
    EXPECT_EQ(pane.levelBox()->currentText(), "Warnings and serious problems");
    EXPECT_FALSE(pane.recoveryBox()->isChecked());
    monitor.start();
    EXPECT_EQ(checksAfter(std::chrono::seconds(19)), 0);
    EXPECT_EQ(checksAfter(std::chrono::seconds(1)), 1);

    // Once a day: the hourly check no longer comes.
    pane.intervalBox()->setCurrentIndex(pane.intervalBox()->findText("Once a day"));
    EXPECT_EQ(settings.value("diskHealthCheckMinutes").toInt(), 1440);
    EXPECT_EQ(checksAfter(std::chrono::hours(23)), 0);
    EXPECT_EQ(checksAfter(std::chrono::hours(1)), 1);

    // Switched off it checks nothing; switched on again it checks 20 seconds later.
    pane.enabledBox()->setChecked(false);
    EXPECT_FALSE(settings.boolValue("diskHealthMonitorEnabled", true));
    EXPECT_FALSE(pane.intervalBox()->isEnabled());
    EXPECT_EQ(checksAfter(std::chrono::hours(49)), 0);
    pane.enabledBox()->setChecked(true);
    EXPECT_EQ(checksAfter(std::chrono::seconds(20)), 1);

    pane.notifyBox()->setChecked(false);
    EXPECT_FALSE(pane.levelBox()->isEnabled() || pane.recoveryBox()->isEnabled());
    pane.notifyBox()->setChecked(true);
    pane.levelBox()->setCurrentIndex(1);
    pane.recoveryBox()->setChecked(true);
    EXPECT_TRUE(settings.boolValue("diskHealthNotify", false));
    EXPECT_EQ(settings.stringValue("diskHealthNotifyLevel"), "critical");
    EXPECT_TRUE(settings.boolValue("diskHealthNotifyRecovery", false));
    EXPECT_EQ(DiskHealthMonitor::notifyLevel(settings), HealthGrade::critical);

    // A stopped monitor stays stopped whatever the settings say.
    monitor.stop();
    pane.intervalBox()->setCurrentIndex(0);
    EXPECT_EQ(clock.pendingJobs(), 0);

    // A pane opened later shows what was saved, and follows what is saved elsewhere; an
    // interval below 1 minute means an hour.
    DiskHealthSettingsPane reopened(settings, monitor);
    EXPECT_EQ(reopened.intervalBox()->currentText(), "30 minutes");
    ASSERT_TRUE(settings.setValue("diskHealthCheckMinutes", 0));
    EXPECT_EQ(reopened.intervalBox()->currentText(), "1 hour");
    EXPECT_EQ(settings.value("diskHealthCheckMinutes").toInt(), 0);
    EXPECT_EQ(reopened.levelBox()->currentText(), "Serious problems only");
    EXPECT_TRUE(reopened.recoveryBox()->isChecked());
}

TEST_F(DiskHealthSettingsTest, CheckNowSaysCheckingThenWhenItLastChecked) {
    EXPECT_EQ(pane.lastCheckedLabel()->text(), "Not checked yet");
    QSignalSpy checked(&monitor, &DiskHealthMonitor::checked);
    pane.checkButton()->click();
    EXPECT_EQ(pane.checkButton()->text(), "Checking...");
    EXPECT_FALSE(pane.checkButton()->isEnabled());
    ASSERT_TRUE(checked.wait(10000));
    EXPECT_EQ(pane.checkButton()->text(), "Check now");
    EXPECT_TRUE(pane.checkButton()->isEnabled());
    EXPECT_EQ(pane.lastCheckedLabel()->text(),
              "Last checked " + QLocale().toString(clock.now(), QLocale::ShortFormat));
    pane.resize(560, 400);
    test::saveScreenshots(pane, QStringLiteral("disk-health-settings"), settings);
}

TEST_F(DiskHealthSettingsTest, TheSidebarRowCarriesTheBadgeWhileADiskNeedsALook) {
    SidebarView sidebar;
    auto* badge = new DiskHealthBadge(sidebar, monitor);
    const QList<QListWidgetItem*> rows = sidebar.findItems("Disk Health", Qt::MatchExactly);
    ASSERT_EQ(rows.size(), 1);
    QSignalSpy checked(&monitor, &DiskHealthMonitor::checked);
    auto check = [&] {
        monitor.checkNow();
        EXPECT_TRUE(checked.wait(10000));
    };
    check();
    EXPECT_EQ(rows[0]->toolTip(), "");

    reader->temperature = 76;
    check();
    EXPECT_EQ(rows[0]->toolTip(), "S.M.A.R.T.: Critical. Critical: Temperature (76 °C). Click to "
                                  "open the S.M.A.R.T. details.");
    EXPECT_EQ(badge->text(), rows[0]->toolTip());

    reader->temperature = 30;
    check();
    EXPECT_EQ(rows[0]->toolTip(), "");
}

} // namespace
} // namespace velmox
