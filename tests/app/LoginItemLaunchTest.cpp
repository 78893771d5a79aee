#include "app/LoginItemLaunch.h"

#include "app/LaunchAtLogin.h"

#include <QFile>
#include <gtest/gtest.h>
#include <sys/wait.h>
#include <unistd.h>

using namespace velmox;

namespace {

LoginItemLaunch::Facts factsAt(qint64 secondsAfterLogin, bool launchAtLogin) {
    const QDateTime login(QDate(2026, 3, 2), QTime(8, 0), Qt::UTC);
    return {{"velmox"}, launchAtLogin, login, login.addSecs(secondsAfterLogin)};
}

} // namespace

TEST(LoginItemLaunchTest, AFreshSessionCountsOnlyWithLaunchAtLoginOnAndUnder120Seconds) {
    EXPECT_TRUE(LoginItemLaunch::decide(factsAt(5, true)));
    EXPECT_TRUE(LoginItemLaunch::decide(factsAt(119, true)));
    EXPECT_FALSE(LoginItemLaunch::decide(factsAt(121, true)));
    EXPECT_FALSE(LoginItemLaunch::decide(factsAt(5, false)));

    LoginItemLaunch::Facts unknownSession = factsAt(5, true);
    unknownSession.sessionStart.reset();
    EXPECT_FALSE(LoginItemLaunch::decide(unknownSession));
}

TEST(LoginItemLaunchTest, TheAutostartArgumentAloneMakesALoginItemLaunch) {
    LoginItemLaunch::Facts facts = factsAt(3600, false);
    facts.arguments << LaunchAtLogin::kLoginItemArgument;
    EXPECT_TRUE(LoginItemLaunch::decide(facts));
}

// The session leader of the test run may sit outside this PID namespace (containers
// do that), so a child opens a session of its own and reads when that one started.
TEST(LoginItemLaunchTest, AProcessThatOpensASessionSeesItStartNow) {
    const QDateTime before = QDateTime::currentDateTimeUtc().addSecs(-2);
    const pid_t child = ::fork();
    ASSERT_GE(child, 0);
    if (child == 0) {
        if (::setsid() < 0)
            ::_exit(2);
        const auto start = LoginItemLaunch::desktopSessionStart();
        const bool plausible = start && *start >= before && *start <= QDateTime::currentDateTimeUtc().addSecs(2);
        ::_exit(plausible ? 0 : 1);
    }
    int status = 0;
    ASSERT_EQ(::waitpid(child, &status, 0), child);
    ASSERT_TRUE(WIFEXITED(status));
    EXPECT_EQ(WEXITSTATUS(status), 0);
}

TEST(LaunchAtLoginTest, TheAutostartEntryStartsVelmoxAsALoginItemAndCanBeRemoved) {
    EXPECT_FALSE(LaunchAtLogin::isEnabled());
    const QString executable = "/opt/Velmox Apps/bin/velmox";
    ASSERT_TRUE(LaunchAtLogin::setEnabled(true, executable));
    EXPECT_TRUE(LaunchAtLogin::isEnabled());
    EXPECT_TRUE(LaunchAtLogin::entryPath().endsWith("/autostart/velmox.desktop"));

    QFile entry(LaunchAtLogin::entryPath());
    ASSERT_TRUE(entry.open(QIODevice::ReadOnly));
    const QByteArray text = entry.readAll();
    EXPECT_TRUE(text.startsWith("[Desktop Entry]\nType=Application\n"));
    EXPECT_TRUE(text.contains("\nExec=\"/opt/Velmox Apps/bin/velmox\" --login-item\n"));

    ASSERT_TRUE(LaunchAtLogin::setEnabled(false, executable));
    EXPECT_FALSE(LaunchAtLogin::isEnabled());
    // Switching off twice is fine.
    EXPECT_TRUE(LaunchAtLogin::setEnabled(false, executable));
}

TEST(LaunchAtLoginTest, ReservedCharactersInThePathAreQuotedForTheExecKey) {
    const QString text = QString::fromUtf8(LaunchAtLogin::entryText("/home/a$b/velmox"));
    EXPECT_TRUE(text.contains("Exec=\"/home/a\\\\$b/velmox\" --login-item\n"))
        << text.toStdString();
}
