#include "PrivilegeWorld.h"
#include "services/AdminCredentials.h"
#include "services/SudoRunner.h"

#include <QElapsedTimer>
#include <gtest/gtest.h>

using namespace velmox;
using namespace velmox::test;

// These run as velmox-test-user, which is in no administrator group and not in sudoers.

TEST(PlainAccount, SudoRejectsAnAccountOutsideSudoers) {
    const PrivilegedRunResult result = SudoRunner::run(kAccountPassword, "id -u");
    EXPECT_FALSE(result.succeeded);
    EXPECT_TRUE(result.passwordRejected) << result.errorMessage.value_or("").toStdString();
}

TEST(PlainAccount, SavingFailsAtTheGroupCheckBeforeThePasswordIsTried) {
    PrivilegeWorld world;
    QElapsedTimer timer;
    timer.start();
    // sudo would take seconds to turn this password down; the group check takes none.
    EXPECT_EQ(AdminCredentials::save(world.keychain, world.settings, kPlainAccount, "wrong"),
              "'velmox-test-user' is not an administrator account.");
    EXPECT_LT(timer.elapsed(), 1500);
    EXPECT_FALSE(world.keychain.hasSavedPassword());
}
