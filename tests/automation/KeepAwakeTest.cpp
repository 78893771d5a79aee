// Keeping the computer awake through logind's Inhibit call, against a stand-in logind on a
// private bus: the lock is held exactly from "on" until "off" or the end of its owner.
#include "tests/automation/PerformerWorld.h"

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

// Runs a task on a worker thread, as the automation queue does, while this thread serves the
// stand-in.
AutomationTaskOutcome perform(LinuxAutomationTaskPerformer& performer, const QString& task) {
    auto done = std::async(std::launch::async, [&] { return performer.perform(task, false); });
    while (done.wait_for(std::chrono::milliseconds(5)) != std::future_status::ready)
        QCoreApplication::processEvents();
    return done.get();
}

// Serves the bus for a moment, long enough for it to let go of its own copies of a lock.
void settle() {
    for (QDeadlineTimer deadline(300); !deadline.hasExpired();)
        QCoreApplication::processEvents(QEventLoop::AllEvents, 10);
}

TEST(KeepAwakeTest, TheLockIsHeldFromOnUntilOffOrTheEnd) {
    QProcess daemon;
    daemon.start("/usr/bin/dbus-daemon", {"--session", "--nofork", "--print-address"});
    ASSERT_TRUE(daemon.waitForStarted() && daemon.waitForReadyRead(10000));
    const QString address = QString::fromUtf8(daemon.readLine().trimmed());
    QDBusConnection service = QDBusConnection::connectToBus(address, "logind-stand-in");
    QDBusConnection client = QDBusConnection::connectToBus(address, "client");
    ASSERT_TRUE(service.isConnected() && client.isConnected());
    PrivilegeWorld privilege;
    auto keepAwake = std::make_unique<LogindKeepAwake>(client);
    LinuxAutomationTaskPerformer performer(privilege.keychain, privilege.shell, *keepAwake);

    const AutomationTaskOutcome absent = perform(performer, "preventSleepOn");
    EXPECT_FALSE(absent.success);
    EXPECT_TRUE(absent.message.startsWith("Couldn't start sleep prevention. logind did not give an "
                                          "inhibitor lock: ") &&
                absent.message.endsWith('.'))
        << absent.message.toStdString();

    StandInLogind logind;
    ASSERT_TRUE(service.registerObject("/org/freedesktop/login1", &logind,
                                       QDBusConnection::ExportAllSlots));
    ASSERT_TRUE(service.registerService("org.freedesktop.login1"));
    EXPECT_EQ(perform(performer, "preventSleepOn"),
              (AutomationTaskOutcome{true, "Sleep prevention is on."}));
    EXPECT_EQ(perform(performer, "preventSleepOn").message, "Sleep prevention is on.");
    ASSERT_EQ(logind.calls, QStringList{"sleep:idle|Velmox|Keeping the computer awake on "
                                        "request|block"})
        << "a held lock is not taken twice";
    settle();
    EXPECT_FALSE(logind.released(0));
    EXPECT_EQ(perform(performer, "preventSleepOff"),
              (AutomationTaskOutcome{true, "Sleep prevention is off."}));
    EXPECT_TRUE(logind.released(0));

    perform(performer, "preventSleepOn");
    settle();
    ASSERT_EQ(logind.readEnds.size(), 2);
    EXPECT_FALSE(logind.released(1));
    keepAwake.reset(); // quitting
    EXPECT_TRUE(logind.released(1));

    QDBusConnection::disconnectFromBus("logind-stand-in");
    QDBusConnection::disconnectFromBus("client");
    daemon.kill();
    daemon.waitForFinished();
}

} // namespace

#include "KeepAwakeTest.moc"
