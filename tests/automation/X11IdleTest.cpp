// Idle time from the X11 screen saver extension, on a private X server (Xvfb) that nobody
// types on, when logind gives no idle hint.
#include "automation/linux/X11Idle.h"

#include "automation/AutomationEnvironment.h"

#include <QThread>
#include <gtest/gtest.h>

using namespace velmox;

namespace {

TEST(X11IdleTest, IdleTimeComesFromTheDisplayWhenLogindHasNoHint) {
    ASSERT_FALSE(qEnvironmentVariableIsEmpty("DISPLAY"));
    SystemAutomationEnvironment environment(
        {QDBusConnection(QStringLiteral("none")), nullptr, "/", QString(), {}, {}});
    // Reading again must not count as input: the idle time keeps growing.
    for (const double atLeast : {1.0, 2.0}) {
        QThread::msleep(1100);
        const std::optional<double> idle = environment.idleSeconds();
        ASSERT_TRUE(idle);
        EXPECT_GE(*idle, atLeast);
    }

    qunsetenv("DISPLAY");
    EXPECT_EQ(x11IdleSeconds(), std::nullopt);
    EXPECT_EQ(environment.idleSeconds(), std::nullopt);
}

} // namespace
