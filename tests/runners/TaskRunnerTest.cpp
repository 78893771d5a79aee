#include "services/TaskRunner.h"

#include <gtest/gtest.h>

using namespace velmox;

TEST(TaskRunner, UserLinesRunInZshWithTheFixedSearchPathAndLiteralUnmatchedGlobs) {
    const ToolRunResult result =
        TaskRunner::run("echo /no/such/folder/*; echo $ZSH_NAME; echo $PATH");
    EXPECT_EQ(result.status, 0) << result.standardError.toStdString();
    const QStringList lines = result.standardOutput.split('\n');
    ASSERT_GE(lines.size(), 3);
    EXPECT_EQ(lines[0], "/no/such/folder/*");
    EXPECT_EQ(lines[1], "zsh");
    EXPECT_TRUE(lines[2].startsWith("/opt/homebrew/bin:/opt/homebrew/sbin:/usr/local/bin:"));
}

TEST(TaskRunner, SystemLinesGiveTrimmedOutputOrTheirErrorText) {
    EXPECT_EQ(TaskRunner::runSystemLine("printf '  done \\n\\n'"), "done");

    const CommandResult withError =
        TaskRunner::runSystemLine("echo partial; echo ' broken ' >&2; exit 3");
    ASSERT_FALSE(withError);
    EXPECT_EQ(withError.error().description(), "broken");

    const CommandResult onlyOutput = TaskRunner::runSystemLine("echo 'only output'; exit 2");
    ASSERT_FALSE(onlyOutput);
    EXPECT_EQ(onlyOutput.error().description(), "only output");

    const CommandResult silent = TaskRunner::runSystemLine("exit 4");
    ASSERT_FALSE(silent);
    EXPECT_EQ(silent.error().description(), "The command ended with exit status 4.");

    // Unlike user lines, an unmatched glob is an error here, as zsh has it by default.
    EXPECT_FALSE(TaskRunner::runSystemLine("echo /no/such/folder/*"));
}
