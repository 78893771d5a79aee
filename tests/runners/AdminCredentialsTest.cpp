#include "services/AdminCredentials.h"

#include "PrivilegeWorld.h"

#include <gtest/gtest.h>

using namespace velmox;
using namespace velmox::test;

// These run as velmox-test-admin with the real Secret Service and the real sudo. Saving the
// right password is run through the Access pane of the settings window.

TEST(AdminCredentials, IncompleteForeignOrWrongCredentialsAreNotSaved) {
    PrivilegeWorld world;
    EXPECT_EQ(AdminCredentials::save(world.keychain, world.settings, kAdminAccount, ""),
              "Enter the administrator name and password.");
    EXPECT_EQ(AdminCredentials::save(world.keychain, world.settings, "", kAccountPassword),
              "Enter the administrator name and password.");
    EXPECT_EQ(AdminCredentials::save(world.keychain, world.settings, "root", kAccountPassword),
              "Use the account you are logged in as ('velmox-test-admin'). The password of "
              "another account can't be stored, because it could only be used by putting it in "
              "a command.");
    EXPECT_EQ(world.keychain.hasSavedPassword(), false);

    const QString message =
        AdminCredentials::save(world.keychain, world.settings, kAdminAccount, "wrong-password");
    EXPECT_TRUE(message.startsWith("The password was not accepted for 'velmox-test-admin'"))
        << message.toStdString();
    EXPECT_EQ(world.keychain.hasSavedPassword(), false);
    EXPECT_FALSE(world.settings.contains(ShellHelper::kAdminUsernameKey));
}
