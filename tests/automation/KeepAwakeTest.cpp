// Keeping the computer awake through logind's Inhibit call, against a stand-in logind on a
// private bus: the lock is held exactly from "on" until "off" or the end of its owner.
#include "tests/automation/AutomationTestSupport.h"

#include <QCoreApplication>
#include <QDBusAbstractAdaptor>
#include <QDBusUnixFileDescriptor>
#include <QDeadlineTimer>
#include <QProcess>
#include <fcntl.h>
#include <future>
#include <gtest/gtest.h>
#include <poll.h>
#include <unistd.h>

using namespace velmox;
using namespace velmox::test;

namespace {

// Hands out the write end of a pipe as logind does and keeps the read end, which reports a
// hang-up once every copy of the lock is closed.
class StandInLogind : public QObject {
    Q_OBJECT
    Q_CLASSINFO("D-Bus Interface", "org.freedesktop.login1.Manager")
public:
    ~StandInLogind() override {
        for (int end : readEnds)
            ::close(end);
    }
    QStringList calls;
    QList<int> readEnds;

    bool released(int lock) const {
        pollfd watched{readEnds.at(lock), POLLIN, 0};
        return ::poll(&watched, 1, 0) == 1 && (watched.revents & POLLHUP) != 0;
    }

public slots:
    QDBusUnixFileDescriptor Inhibit(const QString& what, const QString& who, const QString& why,
                                    const QString& mode) {
        calls << QStringList{what, who, why, mode}.join('|');
        int ends[2];
        if (::pipe2(ends, O_CLOEXEC) != 0)
            return {};
        readEnds << ends[0];
        QDBusUnixFileDescriptor lock(ends[1]); // keeps a copy of its own
        ::close(ends[1]);
        return lock;
    }
};

class KeepAwakeTest : public ::testing::Test {
protected:
    void SetUp() override {
        daemon.start("/usr/bin/dbus-daemon", {"--session", "--nofork", "--print-address"});
        ASSERT_TRUE(daemon.waitForStarted());
        ASSERT_TRUE(daemon.waitForReadyRead(10000));
        address = QString::fromUtf8(daemon.readLine().trimmed());
        service = std::make_unique<QDBusConnection>(
            QDBusConnection::connectToBus(address, "logind-stand-in"));
        client =
            std::make_unique<QDBusConnection>(QDBusConnection::connectToBus(address, "client"));
        ASSERT_TRUE(service->isConnected() && client->isConnected());
    }
    void TearDown() override {
        QDBusConnection::disconnectFromBus("logind-stand-in");
        QDBusConnection::disconnectFromBus("client");
        daemon.kill();
        daemon.waitForFinished();
    }

    void serve() {
        ASSERT_TRUE(service->registerObject("/org/freedesktop/login1", &logind,
                                            QDBusConnection::ExportAllSlots));
        ASSERT_TRUE(service->registerService("org.freedesktop.login1"));
    }

    // Runs a task on a worker thread, as the automation queue does, while this thread serves
    // the stand-in.
    AutomationTaskOutcome perform(LinuxAutomationTaskPerformer& performer, const QString& task) {
        auto done = std::async(std::launch::async, [&] { return performer.perform(task, false); });
        while (done.wait_for(std::chrono::milliseconds(5)) != std::future_status::ready)
            QCoreApplication::processEvents();
        return done.get();
    }

    // Serves the bus for a moment, long enough for it to let go of its copies of a lock.
    void settle() {
        for (QDeadlineTimer deadline(300); !deadline.hasExpired();)
            QCoreApplication::processEvents(QEventLoop::AllEvents, 10);
    }

    // The pipe reports the hang-up as soon as the last copy closes; allow for the bus to let go
    // of its own copy.
    bool releasedSoon(int lock) {
        for (QDeadlineTimer deadline(5000); !deadline.hasExpired();) {
            QCoreApplication::processEvents();
            if (logind.released(lock))
                return true;
        }
        return false;
    }

    QProcess daemon;
    QString address;
    std::unique_ptr<QDBusConnection> service;
    std::unique_ptr<QDBusConnection> client;
    StandInLogind logind;
    PrivilegeWorld privilege;
};

TEST_F(KeepAwakeTest, TheLockIsHeldFromOnUntilOffOrTheEnd) {
    serve();
    auto keepAwake = std::make_unique<LogindKeepAwake>(*client);
    LinuxAutomationTaskPerformer performer(privilege.keychain, privilege.shell, *keepAwake);

    EXPECT_EQ(perform(performer, "preventSleepOn"),
              (AutomationTaskOutcome{true, "Sleep prevention is on."}));
    EXPECT_EQ(perform(performer, "preventSleepOn").message, "Sleep prevention is on.");
    ASSERT_EQ(logind.calls.size(), 1) << "a held lock is not taken twice";
    EXPECT_EQ(logind.calls.first(),
              "sleep:idle|Velmox|Keeping the computer awake on request|block");
    settle();
    EXPECT_FALSE(logind.released(0));

    EXPECT_EQ(perform(performer, "preventSleepOff"),
              (AutomationTaskOutcome{true, "Sleep prevention is off."}));
    EXPECT_TRUE(releasedSoon(0));

    perform(performer, "preventSleepOn");
    ASSERT_EQ(logind.readEnds.size(), 2);
    settle();
    EXPECT_FALSE(logind.released(1));
    keepAwake.reset(); // quitting
    EXPECT_TRUE(releasedSoon(1));
}

TEST_F(KeepAwakeTest, WithoutLogindTheFailureIsASentence) {
    LogindKeepAwake keepAwake(*client);
    LinuxAutomationTaskPerformer performer(privilege.keychain, privilege.shell, keepAwake);
    const AutomationTaskOutcome outcome = perform(performer, "preventSleepOn");
    EXPECT_FALSE(outcome.success);
    EXPECT_TRUE(outcome.message.startsWith(
        "Couldn't start sleep prevention. logind refused the inhibitor lock: "))
        << outcome.message.toStdString();
    EXPECT_TRUE(outcome.message.endsWith('.'));
    EXPECT_FALSE(keepAwake.isOn());
    EXPECT_EQ(perform(performer, "preventSleepOff").message, "Sleep prevention is off.");
}

} // namespace

#include "KeepAwakeTest.moc"
