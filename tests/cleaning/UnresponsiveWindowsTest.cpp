// Real application windows on a private X server (with-x-display.sh): they answer pings
// until they are stopped with SIGSTOP, and are then found and ended.
#include "cleaning/SmartScan.h"
#include "cleaning/UnresponsiveAppKiller.h"
#include "platform/linux/X11WindowPinger.h"
#include "tests/cleaning/CleaningTestSupport.h"
#include "tests/support/CliInvocation.h"

#include <QDeadlineTimer>
#include <QElapsedTimer>
#include <QProcess>
#include <QThread>
#include <csignal>
#include <gtest/gtest.h>
#include <sched.h>
#include <sys/wait.h>

using namespace velmox;
using namespace velmox::test;
using namespace std::chrono_literals;

namespace {

class UnresponsiveWindowsTest : public ::testing::Test {
protected:
    void SetUp() override { ASSERT_FALSE(qEnvironmentVariableIsEmpty("DISPLAY")); }

    // Starts a window and waits until the X server shows it.
    QProcess& openWindow(const QString& title, const QStringList& extra = {}) {
        auto& process = *windows.emplace_back(std::make_unique<QProcess>());
        process.start(QStringLiteral(VELMOX_TEST_WINDOW), QStringList{title} + extra);
        EXPECT_TRUE(process.waitForReadyRead(20000)) << process.readAllStandardError().data();
        EXPECT_EQ(process.readAllStandardOutput().trimmed(), "ready");
        return process;
    }

    static pid_t pidOf(const QProcess& process) { return static_cast<pid_t>(process.processId()); }

    // The parent of a vfork waits in uninterruptible sleep (state D) until its child leaves,
    // using no processor time, as a copy to a stalled drive does.
    pid_t startUninterruptibleSleeper() {
        const pid_t pid = ::fork();
        if (pid == 0) {
            ::setpgid(0, 0);
            alignas(16) static char stack[64 * 1024];
            ::clone(
                [](void*) -> int {
                    for (;;)
                        ::pause();
                },
                stack + sizeof stack, CLONE_VM | CLONE_VFORK | SIGCHLD, nullptr);
            ::_exit(0);
        }
        sleepers.push_back(pid);
        const QDeadlineTimer deadline(5000);
        while (stateOf(pid) != 'D' && !deadline.hasExpired())
            QThread::msleep(10);
        EXPECT_EQ(stateOf(pid), 'D');
        return pid;
    }

    static char stateOf(pid_t pid) {
        QFile stat(QStringLiteral("/proc/%1/stat").arg(pid));
        if (!stat.open(QIODevice::ReadOnly))
            return '?';
        const QByteArray line = stat.readAll();
        return line.at(line.lastIndexOf(')') + 2);
    }

    static bool hasEnded(QProcess& process) {
        return process.state() == QProcess::NotRunning || process.waitForFinished(3000);
    }

    void TearDown() override {
        for (const auto& window : windows) {
            // Continued first: a stopped process would not act on kill() until then.
            if (const pid_t pid = pidOf(*window); pid > 0)
                ::kill(pid, SIGCONT);
            window->kill();
            window->waitForFinished();
        }
        for (const pid_t group : sleepers) {
            ::kill(-group, SIGKILL);
            ::waitpid(group, nullptr, 0);
        }
    }

    std::vector<std::unique_ptr<QProcess>> windows;
    std::vector<pid_t> sleepers;
};

TEST_F(UnresponsiveWindowsTest, StoppedAppIsFoundAndKilledWhenItIgnoresTheRequestToQuit) {
    QProcess& healthy = openWindow("Healthy Editor");
    QProcess& frozen = openWindow("Frozen Viewer – ünïcode", {"--ignore-term"});
    const pid_t pid = pidOf(frozen);
    X11WindowPinger pinger;
    const UnresponsiveAppKiller killer(pinger, 1500ms, 500ms);

    const auto answering = killer.find();
    ASSERT_TRUE(answering.has_value()) << answering.error().toStdString();
    EXPECT_TRUE(answering->isEmpty()) << "both windows answer while their apps run";

    ASSERT_EQ(::kill(pid, SIGSTOP), 0);
    const auto found = killer.find();
    ASSERT_TRUE(found.has_value());
    ASSERT_EQ(found->size(), 1);
    EXPECT_EQ(found->first().pid, pid);
    EXPECT_EQ(found->first().windowTitles, QStringList{"Frozen Viewer – ünïcode"});

    QElapsedTimer clock;
    clock.start();
    const Result<QString> ended = killer.end(*found);
    ASSERT_TRUE(ended.has_value()) << ended.error().toStdString();
    EXPECT_GE(clock.elapsed(), 500) << "SIGKILL only after the grace time";
    EXPECT_EQ(*ended,
              QStringLiteral("Ended 1 app(s) whose windows no longer answered: “Frozen Viewer – "
                             "ünïcode” (%1).")
                  .arg(pid));
    EXPECT_TRUE(hasEnded(frozen));
    EXPECT_EQ(frozen.exitStatus(), QProcess::CrashExit);
    EXPECT_EQ(healthy.state(), QProcess::Running);
}

TEST_F(UnresponsiveWindowsTest, SmartScanNamesTheAppsItWouldEndAndEndsOnlyThose) {
    QProcess& frozen = openWindow("Stalled Player");
    const pid_t pid = pidOf(frozen);
    ::kill(pid, SIGSTOP);
    // Neither a process waiting in uninterruptible sleep nor a stopped one without windows
    // is an app that stopped answering.
    const pid_t waiting = startUninterruptibleSleeper();
    QProcess stopped;
    stopped.start("/bin/sleep", {"60"});
    ASSERT_TRUE(stopped.waitForStarted());
    const auto stoppedPid = static_cast<pid_t>(stopped.processId());
    ::kill(stoppedPid, SIGSTOP);
    CleaningWorld world;
    OptimizationTaskRunner::Options options;
    options.windowAnswerWait = 1s;
    world.runner.setOptions(options);
    SmartScan scan(world.runner);
    std::optional<SmartScan::Plan> plan;
    std::optional<SmartScan::Summary> summary;
    QObject::connect(&scan, &SmartScan::finished,
                     [&](const SmartScan::Summary& done) { summary = done; });

    scan.prepare({world.task("Hung Process Killer")},
                 [&](const SmartScan::Plan& ready) { plan = ready; });
    ASSERT_TRUE(waitFor([&] { return plan.has_value(); }));
    ASSERT_TRUE(plan->unresponsive.has_value());
    EXPECT_EQ(UnresponsiveAppKiller::toEndSentence(*plan->unresponsive),
              QStringLiteral("These apps no longer answer and will be ended: “Stalled Player” "
                             "(%1).")
                  .arg(pid));
    EXPECT_EQ(frozen.state(), QProcess::Running) << "nothing ends before the user agrees";
    // An app that stops answering after the user was asked is not ended.
    QProcess& later = openWindow("Later Tool");
    ::kill(pidOf(later), SIGSTOP);

    scan.start(*plan);
    ASSERT_TRUE(waitFor([&] { return summary.has_value(); }));
    EXPECT_EQ(summary->succeeded, 1);
    EXPECT_TRUE(hasEnded(frozen));
    EXPECT_EQ(later.state(), QProcess::Running);
    EXPECT_EQ(stateOf(waiting), 'D');
    EXPECT_EQ(stateOf(stoppedPid), 'T');
    ASSERT_EQ(world.history.entries().size(), 1);
    EXPECT_EQ(world.history.entries().at(0).detail,
              QStringLiteral("Done. Ended 1 app(s) whose windows no longer answered: “Stalled "
                             "Player” (%1).")
                  .arg(pid));
    ::kill(stoppedPid, SIGCONT);
    stopped.kill();
    stopped.waitForFinished();
}

TEST_F(UnresponsiveWindowsTest, CommandListsThenEndsUnresponsiveApps) {
    QProcess& frozen = openWindow("Busy Tool");
    const pid_t pid = pidOf(frozen);
    openWindow("Fine Tool");
    EXPECT_EQ(runCliCommand("windows", {"--unresponsive", "--wait", "1.5"}).out,
              "No app is unresponsive: every window answered within 1.5 s.\n");
    ::kill(pid, SIGSTOP);

    const CliInvocation listed = runCliCommand("windows", {"--unresponsive", "--wait", "1"});
    EXPECT_EQ(listed.code, 0);
    EXPECT_EQ(listed.out, QStringLiteral("%1\tBusy Tool\n").arg(pid));
    EXPECT_EQ(frozen.state(), QProcess::Running) << "listing ends nothing";

    const CliInvocation ended =
        runCliCommand("windows", {"--unresponsive", "--end", "--wait", "1"});
    EXPECT_EQ(ended.code, 0) << ended.err.toStdString();
    EXPECT_TRUE(ended.out.endsWith("“Busy Tool” (" + QString::number(pid) + ").\n"))
        << ended.out.toStdString();
    EXPECT_TRUE(hasEnded(frozen));
    EXPECT_EQ(runCliCommand("windows", {"--end"}).code, 2);
    EXPECT_EQ(runCliCommand("windows", {"--unresponsive", "--wait", "soon"}).code, 2);
}

TEST_F(UnresponsiveWindowsTest, SessionsWithoutAnX11DisplaySayWhy) {
    const auto missing = X11WindowPinger(":4711").findUnanswered(100ms);
    ASSERT_FALSE(missing.has_value());
    EXPECT_EQ(missing.error(), "The X display “:4711” could not be reached, so windows that no "
                               "longer answer can't be found.");

    const QByteArray display = qgetenv("DISPLAY");
    qputenv("WAYLAND_DISPLAY", "wayland-0");
    EXPECT_TRUE(WindowPinger::forThisSession()->findUnanswered(100ms).error().startsWith(
        "A Wayland session does not let"));
    qunsetenv("WAYLAND_DISPLAY");
    qunsetenv("DISPLAY");
    const CliInvocation command = runCliCommand("windows", {"--unresponsive"});
    qputenv("DISPLAY", display);
    EXPECT_EQ(command.code, 1);
    EXPECT_EQ(command.err, "There is no X11 display here, so windows that no longer answer can't "
                           "be found.\n");
}

} // namespace
