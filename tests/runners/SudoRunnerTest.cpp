#include "services/SudoRunner.h"

#include "platform/PromptElevation.h"
#include "tests/support/TestAccounts.h"

#include <gtest/gtest.h>

using namespace velmox;
using namespace velmox::test;

// These run as velmox-test-admin, a member of "sudo", against the real sudo.

// The password never appears in any command line, the sudo one included.
TEST(SudoRunner, RunsTheLineUnchangedAsRootWithTheRightPassword) {
    const PrivilegedRunResult result =
        SudoRunner::run(kAccountPassword, R"(id -un; echo "$PATH"; printf '%s|' "say \"hi\"" )"
                                          R"('back\slash' "a\\b"; echo; ps -eo args)");
    ASSERT_TRUE(result.succeeded) << result.errorMessage.value_or("").toStdString();
    EXPECT_TRUE(result.output.startsWith("root\n/usr/bin:/bin:/usr/sbin:/sbin\n"
                                         R"(say "hi"|back\slash|a\b|)"
                                         "\n"))
        << result.output.toStdString();
    EXPECT_TRUE(result.output.contains("/usr/bin/sudo -S -k -p"));
    EXPECT_FALSE(result.output.contains(kAccountPassword));
    EXPECT_FALSE(result.passwordRejected);
}

TEST(SudoRunner, APasswordSudoDoesNotAskForNeverReachesTheLine) {
    // scripts/test-accounts.sh lets this account run this one root line, a script that echoes
    // its standard input, without a password. sudo would reject this one had it asked.
    const QString unasked = "a password nobody asked for";
    const PrivilegedRunResult result =
        SudoRunner::run(unasked, "/usr/local/libexec/velmox-test/echo-input");
    ASSERT_TRUE(result.succeeded) << "Is the NOPASSWD rule of scripts/test-accounts.sh in place? "
                                  << result.errorMessage.value_or("").toStdString();
    EXPECT_FALSE(result.output.contains(unasked)) << result.output.toStdString();
}

TEST(SudoRunner, AWrongPasswordIsRejectedWithoutWaitingForAnotherTry) {
    // Had sudo waited for a second try, the run would have ended at its limit instead.
    const PrivilegedRunResult result =
        SudoRunner::run("not-the-password", "id -un", std::chrono::seconds(60));
    EXPECT_FALSE(result.succeeded);
    EXPECT_TRUE(result.passwordRejected);
    EXPECT_TRUE(result.errorMessage.value_or("").contains("Sorry, try again."))
        << result.errorMessage.value_or("").toStdString();
}

TEST(SudoRunner, AFailingLineIsNotARejectedPassword) {
    const PrivilegedRunResult result =
        SudoRunner::run(kAccountPassword, "echo 'some output'; echo ' disk is busy ' >&2; exit 5");
    EXPECT_FALSE(result.succeeded);
    EXPECT_FALSE(result.passwordRejected);
    EXPECT_EQ(result.errorMessage, "disk is busy");

    const PrivilegedRunResult silent = SudoRunner::run(kAccountPassword, "echo only-out; exit 5");
    EXPECT_EQ(silent.errorMessage, "only-out");
}

TEST(SudoRunner, ALineThatOutlivesItsLimitIsStopped) {
    const PrivilegedRunResult result =
        SudoRunner::run(kAccountPassword, "exec sleep 60", std::chrono::seconds(2));
    EXPECT_FALSE(result.succeeded);
    EXPECT_EQ(result.errorMessage, PromptElevation::timedOutMessage());
}
