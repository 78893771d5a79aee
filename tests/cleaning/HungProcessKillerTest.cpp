#include "cleaning/HungProcessKiller.h"

#include "tests/cleaning/CleaningTestSupport.h"

#include <QProcess>
#include <QTemporaryDir>
#include <future>
#include <gtest/gtest.h>
#include <unistd.h>

using namespace velmox;
using namespace velmox::test;
using namespace std::chrono_literals;

namespace {

// A process table whose states the test sets, for real processes the test starts.
class HungProcessKillerTest : public ::testing::Test {
protected:
    qint64 startSleeper() {
        auto* process = new QProcess;
        process->start("/bin/sleep", {"60"});
        EXPECT_TRUE(process->waitForStarted());
        sleepers.emplace_back(process);
        return process->processId();
    }

    void setStat(qint64 pid, const QString& name, char state, int cpuTicks) {
        writeFile(proc.filePath(QString::number(pid) + "/stat"),
                  QStringLiteral("%1 (%2) %3 1 %1 %1 0 -1 4194560 120 0 0 0 %4 3 0 0 20 0 1 0")
                      .arg(pid)
                      .arg(name)
                      .arg(QLatin1Char(state))
                      .arg(cpuTicks)
                      .toUtf8());
    }

    // The event loop may already have seen the end.
    bool ended(size_t sleeper, int waitMs = 3000) {
        QProcess& process = *sleepers[sleeper];
        return process.state() == QProcess::NotRunning || process.waitForFinished(waitMs);
    }

    void TearDown() override {
        for (const auto& sleeper : sleepers) {
            sleeper->kill();
            sleeper->waitForFinished();
        }
    }

    QTemporaryDir proc;
    std::vector<std::unique_ptr<QProcess>> sleepers;
};

TEST_F(HungProcessKillerTest, EndsOnlyProcessesStuckInUninterruptibleSleep) {
    const qint64 stuck = startSleeper();
    const qint64 sleeping = startSleeper();
    setStat(stuck, "stuck (worker) 1", 'D', 10);
    setStat(sleeping, "sleep", 'S', 10);
    setStat(::getpid(), "velmox", 'D', 10); // never itself

    const Result<QString> result = HungProcessKiller(proc.path(), 20ms).endStuck();

    ASSERT_TRUE(result.has_value()) << result.error().toStdString();
    EXPECT_EQ(*result,
              QStringLiteral("Ended 1 stuck process(es): stuck (worker) 1 (%1).").arg(stuck));
    EXPECT_TRUE(ended(0));
    EXPECT_EQ(sleepers[0]->exitStatus(), QProcess::CrashExit);
    EXPECT_FALSE(ended(1, 200));
}

TEST_F(HungProcessKillerTest, SparesProcessesThatMakeProgressOrBelongToOthers) {
    const qint64 busy = startSleeper();
    const qint64 foreign = startSleeper();
    setStat(busy, "copier", 'D', 10);
    setStat(foreign, "other", 'D', 10);
    if (::getuid() == 0)
        ASSERT_EQ(::chown(QFile::encodeName(proc.filePath(QString::number(foreign))).constData(),
                          65534, 65534),
                  0);
    else
        QDir(proc.filePath(QString::number(foreign))).removeRecursively();

    auto finding = std::async(std::launch::async,
                              [&] { return HungProcessKiller(proc.path(), 400ms).findStuck(); });
    std::this_thread::sleep_for(150ms);
    setStat(busy, "copier", 'D', 11); // it used the processor between the two looks
    EXPECT_TRUE(finding.get().isEmpty());
    QDir(proc.filePath(QString::number(busy))).removeRecursively();
    EXPECT_EQ(HungProcessKiller(proc.path(), 10ms).endStuck().value_or(QString()),
              "No process is stuck - nothing to end.");
    EXPECT_FALSE(ended(0, 200));
    EXPECT_FALSE(ended(1, 200));
}

TEST_F(HungProcessKillerTest, RunnerUsesTheKillerAndRecordsTheOutcome) {
    CleaningWorld world;
    const qint64 stuck = startSleeper();
    setStat(stuck, "frozen", 'D', 0);
    world.runner.setOptions({proc.path(), 10ms});
    const TaskRunResult result = world.run("Hung Process Killer");
    EXPECT_TRUE(result.success);
    EXPECT_TRUE(ended(0));
    ASSERT_EQ(world.history.entries().size(), 1);
    EXPECT_EQ(world.history.entries().at(0).detail,
              QStringLiteral("Done. There is no X11 display here, so windows that no longer "
                             "answer can't be found. Ended 1 stuck process(es): frozen (%1).")
                  .arg(stuck));
}

} // namespace
