#include "PrivilegeWorld.h"
#include "platform/linux/PkexecElevation.h"

#include <gtest/gtest.h>

using namespace velmox;
using namespace velmox::test;

// These run as velmox-test-admin with the real Secret Service and the real sudo.

TEST(ShellHelper, WithoutASavedPasswordOnlyAnAllowedPromptRuns) {
    PrivilegeWorld world;
    const CommandResult refused = world.shell.runPrivileged("id -u", false);
    ASSERT_FALSE(refused);
    EXPECT_EQ(refused.error().description(),
              "No administrator password is saved. Add it in Settings > Access.");
    EXPECT_TRUE(world.prompt.lines.isEmpty());

    EXPECT_EQ(world.shell.runPrivileged("id -u", true), "ran after the prompt");
    EXPECT_EQ(world.prompt.lines, QStringList{"id -u"});
}

TEST(ShellHelper, TheSavedPasswordRunsTheLineAsRootWithoutAPrompt) {
    PrivilegeWorld world;
    ASSERT_TRUE(world.keychain.savePassword(kAccountPassword));
    EXPECT_EQ(world.shell.adminUsername(), kAdminAccount);
    EXPECT_EQ(world.shell.runPrivileged("id -un", true), "root");

    const CommandResult failing =
        world.shell.runPrivileged("echo 'no such volume' >&2; exit 1", true);
    ASSERT_FALSE(failing);
    EXPECT_EQ(failing.error().description(), "no such volume");
    EXPECT_TRUE(world.prompt.lines.isEmpty());
}

// A rejected password, or one saved for another account, never prompts unless allowed.
TEST(ShellHelper, AnUnusableSavedPasswordSaysWhyAndPromptsOnlyWhenAllowed) {
    struct Case {
        const char* password;
        const char* account;
        QString refusal;
    };
    for (const Case& c :
         {Case{"an-old-password", kAdminAccount,
               "The administrator password saved in the keyring was rejected for "
               "'velmox-test-admin'. Open Settings > Access, remove it and enter the current "
               "password."},
          Case{kAccountPassword, "someone-else",
               "The saved administrator account ('someone-else') is not the account you are "
               "logged in as. Open Settings > Access, remove it and save the password for "
               "'velmox-test-admin'."}}) {
        PrivilegeWorld world;
        ASSERT_TRUE(world.keychain.savePassword(c.password));
        EXPECT_TRUE(world.settings.setValue(ShellHelper::kAdminUsernameKey, c.account));
        const CommandResult refused = world.shell.runPrivileged("id -u", false);
        ASSERT_FALSE(refused);
        EXPECT_EQ(refused.error().description(), c.refusal);
        EXPECT_TRUE(world.prompt.lines.isEmpty());
        EXPECT_EQ(world.shell.runPrivileged("id -u", true), "ran after the prompt");
    }
}

TEST(PkexecElevation, RealPkexecFailsHereWithItsOwnWholeMessage) {
    // No polkit agent or login session on this machine: pkexec exits 127 with its reason.
    PkexecElevation pkexec;
    for (const CommandResult& result : {pkexec.run("id -u"), pkexec.runOneShot("id -u")}) {
        ASSERT_FALSE(result);
        ASSERT_TRUE(result.error().message);
        EXPECT_TRUE(result.error().message->startsWith("Error "))
            << result.error().message->toStdString();
    }
}
