#include "PrivilegeWorld.h"
#include "services/AdminCredentials.h"
#include "services/SudoRunner.h"

#include <gtest/gtest.h>

using namespace velmox;
using namespace velmox::test;

// These run as velmox-test-user, which is in no administrator group and not in sudoers.

TEST(PlainAccount, SudoRejectsAnAccountOutsideSudoers) {
    const PrivilegedRunResult result = SudoRunner::run(kAccountPassword, "id -u");
    EXPECT_FALSE(result.succeeded);
    EXPECT_TRUE(result.passwordRejected);
    EXPECT_TRUE(result.errorMessage.value_or("").contains("is not in the sudoers file"))
        << result.errorMessage.value_or("").toStdString();
}

TEST(PlainAccount, SavingFailsAtTheGroupCheckBeforeThePasswordIsTried) {
    PrivilegeWorld world;
    // Had sudo been asked first, its refusal would have given "The password was not accepted".
    EXPECT_EQ(
        AdminCredentials::save(world.keychain, world.settings, kPlainAccount, kAccountPassword),
        "'velmox-test-user' is not an administrator account.");
    EXPECT_EQ(world.keychain.hasSavedPassword(), false);
}
