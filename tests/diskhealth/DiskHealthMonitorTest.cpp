#include "diskhealth/DiskHealthMonitor.h"

#include "diskhealth/SmartAnalyzer.h"
#include "services/Settings.h"
#include "tests/diskhealth/PrivateBus.h"
#include "tests/support/DunstDaemon.h"
#include "tests/support/ManualClock.h"

#include <QDBusConnection>
#include <QDBusMessage>
#include <QTemporaryDir>
#include <QTest>
#include <atomic>
#include <gtest/gtest.h>
#include <mutex>

namespace velmox {
namespace {

// Drives read like real ones, with a temperature the test sets per disk; the grade comes from
// the analyzer.
class TemperatureReader final : public SmartReader {
public:
    Outcome read(const SmartTarget& target) override {
        ++reads;
        SmartReport report;
        report.protocolName = QStringLiteral("ATA");
        report.model = QStringLiteral("Disk ") + QString::fromLatin1(target.devicePath.mid(5));
        report.serial = QString::fromLatin1(target.devicePath);
        report.rotationRate = 0;
        report.passed = true;
        {
            std::lock_guard lock(mutex);
            report.temperatureC = temperatures.value(target.devicePath, 30);
        }
        SmartAnalyzer::grade(report);
        return report;
    }
    void set(const QByteArray& device, int celsius) {
        std::lock_guard lock(mutex);
        temperatures[device] = celsius;
    }
    std::atomic<int> reads{0};

private:
    std::mutex mutex;
    QMap<QByteArray, int> temperatures;
};

SmartTarget disk(const QByteArray& device) {
    SmartTarget target;
    target.devicePath = device;
    return target;
}

class DiskHealthMonitorTest : public ::testing::Test {
protected:
    void SetUp() override {
        ASSERT_TRUE(clientBus.isConnected());
        notifier = std::make_unique<FreedesktopNotifier>(clientBus);
        settings = std::make_unique<Settings>(dir.filePath(QStringLiteral("Velmox.conf")));
        monitor = std::make_unique<DiskHealthMonitor>(
            *settings, clock, reader,
            [] {
                return QList<SmartTarget>{disk("/dev/sda"), disk("/dev/sdb")};
            },
            *notifier);
    }
    void TearDown() override { monitor.reset(); }

    // Runs one check and returns the titles of the notifications it sent, all of them: the
    // daemon answers a marker sent after the check only once it has every earlier one.
    QStringList check() {
        const qsizetype before = shown().size();
        bool finished = false;
        const auto connection =
            QObject::connect(monitor.get(), &DiskHealthMonitor::checked, [&] { finished = true; });
        monitor->checkNow();
        EXPECT_TRUE(QTest::qWaitFor([&] { return finished; }, 20000));
        QObject::disconnect(connection);
        QDBusMessage marker = QDBusMessage::createMethodCall(
            QStringLiteral("org.freedesktop.Notifications"),
            QStringLiteral("/org/freedesktop/Notifications"),
            QStringLiteral("org.freedesktop.Notifications"), QStringLiteral("Notify"));
        marker << QStringLiteral("marker") << 0u << QString() << QStringLiteral("marker")
               << QString() << QStringList() << QVariantMap() << -1;
        EXPECT_EQ(clientBus.call(marker).type(), QDBusMessage::ReplyMessage);
        QStringList titles;
        for (const test::ShownNotification& notification : shown().mid(before))
            titles.append(notification.title);
        return titles;
    }
    // What the daemon showed, without the markers.
    QList<test::ShownNotification> shown() {
        QList<test::ShownNotification> all = dunst.shown();
        all.removeIf([](const auto& notification) { return notification.title == "marker"; });
        return all;
    }
    QString lastBody() { return shown().last().body; }

    void setSetting(const char* key, const QVariant& value) {
        ASSERT_TRUE(settings->setValue(QLatin1String(key), value));
    }

    test::PrivateBus bus;
    QDBusConnection clientBus = bus.connect(QStringLiteral("client"));
    test::DunstDaemon dunst{bus.address()};
    QTemporaryDir dir;
    test::ManualClock clock;
    std::shared_ptr<TemperatureReader> reader = std::make_shared<TemperatureReader>();
    std::unique_ptr<FreedesktopNotifier> notifier;
    std::unique_ptr<Settings> settings;
    std::unique_ptr<DiskHealthMonitor> monitor;
};

TEST_F(DiskHealthMonitorTest, NotifiesWhenAGradeRisesToTheChosenLevel) {
    // First check: sda already needs a look and notifies once; sdb is only recorded.
    reader->set("/dev/sda", 72);
    EXPECT_EQ(check(), QStringList{QStringLiteral("S.M.A.R.T. needs a look: Disk sda")});
    EXPECT_TRUE(lastBody().contains(QStringLiteral("72 °C")));
    EXPECT_EQ(settings->value(QStringLiteral("diskHealthLastLevels")).toMap(),
              (QVariantMap{{QStringLiteral("Disk sda /dev/sda"), 2},
                           {QStringLiteral("Disk sdb /dev/sdb"), 0}}));
    EXPECT_EQ(monitor->disks().size(), 2);
    EXPECT_EQ(monitor->lastChecked(), clock.now());

    // Unchanged: nothing. sdb rising to critical: one notification.
    EXPECT_EQ(check(), QStringList());
    reader->set("/dev/sdb", 80);
    EXPECT_EQ(check(), QStringList{QStringLiteral("S.M.A.R.T. critical: Disk sdb")});

    // Getting better says nothing unless recovery is asked for.
    reader->set("/dev/sdb", 30);
    EXPECT_EQ(check(), QStringList());
    setSetting("diskHealthNotifyRecovery", true);
    reader->set("/dev/sda", 30);
    EXPECT_EQ(check(), QStringList{QStringLiteral("S.M.A.R.T. OK: Disk sda")});
    EXPECT_EQ(lastBody(), QStringLiteral("The disk's S.M.A.R.T. grade went from Watch to OK."));

    // "Serious problems only": a rise to a warning stays quiet, critical does not.
    setSetting("diskHealthNotifyLevel", QStringLiteral("critical"));
    reader->set("/dev/sda", 72);
    EXPECT_EQ(check(), QStringList());
    reader->set("/dev/sda", 76);
    EXPECT_EQ(check(), QStringList{QStringLiteral("S.M.A.R.T. critical: Disk sda")});

    // With notifications off the levels are still kept.
    setSetting("diskHealthNotify", false);
    reader->set("/dev/sdb", 90);
    EXPECT_EQ(check(), QStringList());
    EXPECT_EQ(settings->value(QStringLiteral("diskHealthLastLevels"))
                  .toMap()
                  .value(QStringLiteral("Disk sdb /dev/sdb")),
              QVariant(3));
}

} // namespace
} // namespace velmox
