#include "network/NetworkQualityBackend.h"
#include "network/NetworkSpeedTestViewModel.h"
#include "services/Settings.h"
#include "tests/support/ManualClock.h"

#include <QCoreApplication>
#include <QDeadlineTimer>
#include <QFile>
#include <QTemporaryDir>
#include <QThread>
#include <gtest/gtest.h>

using namespace velmox;
using namespace velmox::test;

namespace {

// Stands in for networkquality: a real child process that prints what the script says.
class FakeTool {
public:
    explicit FakeTool(const QByteArray& script) {
        path_ = dir_.filePath("networkquality");
        QFile file(path_);
        EXPECT_TRUE(file.open(QIODevice::WriteOnly));
        file.write("#!/bin/sh\ncd \"$(dirname \"$0\")\"\n" + script);
        file.close();
        file.setPermissions(QFile::ReadOwner | QFile::WriteOwner | QFile::ExeOwner);
    }
    QString path() const { return path_; }
    QString file(const QString& name) const { return dir_.filePath(name); }

private:
    QTemporaryDir dir_;
    QString path_;
};

bool processEventsUntil(const std::function<bool()>& done, int milliseconds = 15000) {
    QDeadlineTimer deadline(milliseconds);
    while (!done() && !deadline.hasExpired()) {
        QCoreApplication::processEvents(QEventLoop::AllEvents, 20);
        QThread::msleep(5);
    }
    return done();
}

// Each test starts with no saved history and the default unit.
void forgetSavedState() {
    Settings settings;
    EXPECT_TRUE(settings.remove(NetworkSpeedTestViewModel::historyKey));
    EXPECT_TRUE(settings.remove(NetworkSpeedTestViewModel::unitKey));
}

struct Fixture {
    explicit Fixture(const QString& tool) : backend(tool), model(backend, settings, clock) {
        QObject::connect(&model, &NetworkSpeedTestViewModel::runEnded, [this](bool) { ++ended; });
    }
    bool runToTheEnd() {
        const int before = ended;
        model.run();
        return processEventsUntil([&] { return ended > before; });
    }

    Settings settings;
    ManualClock clock;
    NetworkQualityBackend backend;
    NetworkSpeedTestViewModel model;
    int ended = 0;
};

} // namespace

TEST(SpeedTestViewModel, ShowsRecordsAndKeepsAResult) {
    FakeTool tool("echo '{\"dl_throughput\": 94300000, \"ul_throughput\": 21000000}'\n");
    forgetSavedState();
    Fixture fixture(tool.path());
    NetworkSpeedTestViewModel& model = fixture.model;
    ASSERT_TRUE(fixture.settings.setValue(NetworkSpeedTestViewModel::unitKey, "MBps"));

    model.run();
    EXPECT_TRUE(model.isTesting());
    EXPECT_EQ(model.statusMessage(), "Running macOS networkquality test...");
    EXPECT_EQ(model.downloadSpeed(), "Testing...");
    ASSERT_TRUE(processEventsUntil([&] { return fixture.ended == 1; }));

    // No "base_rtt": latency shows "--" and the entry is still recorded.
    EXPECT_FALSE(model.isTesting());
    EXPECT_EQ(model.statusMessage(), "Speed test complete.");
    EXPECT_EQ(model.downloadSpeed(), "11.8 MBps");
    EXPECT_EQ(model.uploadSpeed(), "2.6 MBps");
    EXPECT_EQ(model.latency(), "--");
    ASSERT_EQ(model.history().size(), 1);
    const SpeedTestHistoryEntry entry = model.history().at(0);
    EXPECT_EQ(entry.download, "11.8 MBps");
    EXPECT_EQ(entry.latency, "--");
    EXPECT_EQ(entry.dlValue, 94.3e6);
    EXPECT_EQ(entry.latencyValue, 0);
    EXPECT_EQ(entry.date, fixture.clock.now());

    // A change of unit shows the figures again; the history keeps what was shown.
    ASSERT_TRUE(model.setUnit("Gbps"));
    EXPECT_EQ(model.downloadSpeed(), "0.09 Gbps");
    EXPECT_FALSE(model.setUnit("mbps"));
    EXPECT_EQ(model.unit(), "Gbps");

    // Another window (or the command line) sees the saved history and adds to it, newest
    // first; nothing is lost between the two.
    Fixture other(tool.path());
    ASSERT_EQ(other.model.history(), model.history());
    fixture.clock.advance(std::chrono::minutes(1));
    ASSERT_TRUE(fixture.runToTheEnd());
    ASSERT_TRUE(other.runToTheEnd());
    model.reloadHistory();
    ASSERT_EQ(model.history().size(), 3);
    EXPECT_EQ(model.history().at(2), entry);
    EXPECT_EQ(model.history().at(1).date, fixture.clock.now());

    ASSERT_TRUE(model.clearHistory());
    other.model.reloadHistory();
    EXPECT_TRUE(other.model.history().isEmpty());
}

TEST(SpeedTestViewModel, CapsTheHistoryAndNeverOverwritesOneItCannotRead) {
    FakeTool tool("echo '{\"dl_throughput\": 1000, \"ul_throughput\": 1000, \"base_rtt\": 5}'\n");
    forgetSavedState();
    Fixture fixture(tool.path());
    QList<SpeedTestHistoryEntry> full;
    for (int index = 0; index < NetworkSpeedTestViewModel::kHistoryLimit; ++index)
        full.append({QUuid::createUuid(), fixture.clock.now().addDays(-1 - index), "1 Kbps",
                     "1 Kbps", "5 ms", 1000, 1000, 5});
    ASSERT_TRUE(fixture.settings.setValue(NetworkSpeedTestViewModel::historyKey,
                                          speedTestHistoryToJson(full)));
    ASSERT_TRUE(fixture.runToTheEnd());
    const QList<SpeedTestHistoryEntry>& kept = fixture.model.history();
    ASSERT_EQ(kept.size(), NetworkSpeedTestViewModel::kHistoryLimit);
    EXPECT_EQ(kept.at(0).date, fixture.clock.now());
    EXPECT_EQ(kept.last(), full.at(full.size() - 2));

    ASSERT_TRUE(fixture.settings.setValue(NetworkSpeedTestViewModel::historyKey, "{broken"));
    ASSERT_TRUE(fixture.runToTheEnd());
    EXPECT_EQ(fixture.model.statusMessage(),
              "Speed test complete, but the result could not be saved: The saved speed test "
              "history could not be read.");
    EXPECT_EQ(fixture.settings.value(NetworkSpeedTestViewModel::historyKey).toByteArray(),
              "{broken");
}

TEST(SpeedTestViewModel, FailuresSayWhatHappened) {
    forgetSavedState();
    {
        Fixture missing("/nonexistent/networkquality");
        EXPECT_FALSE(missing.model.isAvailable());
        missing.model.run();
        EXPECT_FALSE(missing.model.isTesting());
        EXPECT_EQ(missing.model.statusMessage(),
                  "The speed test needs Apple's networkquality tool, which is only included with "
                  "macOS 12 and later.");
    }
    FakeTool failing("echo 'no route' >&2\nexit 3\n");
    Fixture exited(failing.path());
    ASSERT_TRUE(exited.runToTheEnd());
    EXPECT_EQ(exited.model.statusMessage(),
              "The test did not finish (exit code 3). Check your internet connection.");
    EXPECT_EQ(exited.model.downloadSpeed(), "--");
    EXPECT_TRUE(exited.model.history().isEmpty());

    FakeTool chatty("echo 'Download capacity: 21.661 Mbps'\n");
    Fixture unparsed(chatty.path());
    ASSERT_TRUE(unparsed.runToTheEnd());
    EXPECT_EQ(unparsed.model.statusMessage(), "Failed to parse test results.");
}

// The first run, when terminated, still prints a summary, half a second later; the second run
// answers after a second and a half. The late summary of the cancelled run arrives while the
// second one is under way and must change nothing.
TEST(SpeedTestViewModel, ACancelledRunsLateResultIsIgnored) {
    FakeTool tool(R"(if [ ! -e started ]; then
  : > started
  trap 'kill $! 2>/dev/null; sleep 0.5; echo "{\"dl_throughput\": 1000000, \"ul_throughput\": 1000000, \"base_rtt\": 99}"; : > late; exit 0' TERM
  sleep 30 & wait
fi
sleep 1.5
echo '{"dl_throughput": 94300000, "ul_throughput": 20000000, "base_rtt": 12.7}'
)");
    forgetSavedState();
    Fixture fixture(tool.path());
    NetworkSpeedTestViewModel& model = fixture.model;

    model.run();
    const int firstToken = model.runToken();
    ASSERT_TRUE(processEventsUntil([&] { return QFile::exists(tool.file("started")); }));
    model.cancel();
    EXPECT_FALSE(model.isTesting());
    EXPECT_EQ(model.statusMessage(), "Speed test cancelled.");

    model.run();
    EXPECT_EQ(model.runToken(), firstToken + 1);
    ASSERT_TRUE(processEventsUntil([&] { return QFile::exists(tool.file("late")); }));
    // Let the late summary reach the model.
    processEventsUntil([] { return false; }, 300);
    EXPECT_TRUE(model.isTesting());
    EXPECT_EQ(model.downloadSpeed(), "Testing...");
    EXPECT_TRUE(model.history().isEmpty());

    ASSERT_TRUE(processEventsUntil([&] { return fixture.ended == 1; }));
    EXPECT_EQ(model.downloadSpeed(), "94.3 Mbps");
    EXPECT_EQ(model.latency(), "12 ms");
    ASSERT_EQ(model.history().size(), 1);
    EXPECT_EQ(model.history().at(0).latencyValue, 12);
}
