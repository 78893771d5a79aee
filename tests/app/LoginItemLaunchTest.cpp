#include "app/LoginItemLaunch.h"

#include "app/LaunchAtLogin.h"

#include <QFile>
#include <gtest/gtest.h>

using namespace velmox;

namespace {

LoginItemLaunch::Facts factsAt(qint64 secondsAfterLogin, bool launchAtLogin) {
    const QDateTime login(QDate(2026, 3, 2), QTime(8, 0), Qt::UTC);
    return {{"velmox"}, launchAtLogin, login, login.addSecs(secondsAfterLogin)};
}

} // namespace

TEST(LoginItemLaunchTest, TheArgumentIfTheEntryPassesOneElseAFreshSessionUnder120s) {
    // A terminal opened a moment ago, with launch at login on: an ordinary start.
    EXPECT_FALSE(LoginItemLaunch::decide(factsAt(5, true)));
    LoginItemLaunch::Facts facts = factsAt(3600, false);
    facts.arguments << LaunchAtLogin::kLoginItemArgument;
    EXPECT_TRUE(LoginItemLaunch::decide(facts));

    for (const auto& [seconds, launchAtLogin, expected] :
         {std::tuple{119, true, true}, {121, true, false}, {5, false, false}}) {
        facts = factsAt(seconds, launchAtLogin);
        facts.entryPassesArgument = false;
        EXPECT_EQ(LoginItemLaunch::decide(facts), expected) << seconds;
    }
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

    // Reserved characters are quoted for the Exec key.
    const QString quoted = QString::fromUtf8(LaunchAtLogin::entryText("/home/a$b/velmox"));
    EXPECT_TRUE(quoted.contains("Exec=\"/home/a\\\\$b/velmox\" --login-item\n"))
        << quoted.toStdString();
}
