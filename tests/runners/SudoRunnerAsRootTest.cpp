#include "services/SudoRunner.h"

#include <gtest/gtest.h>
#include <unistd.h>

using namespace velmox;

// The suite runs as root, as CI does: sudo asks root for nothing, so a password handed to it
// would wait, unread, on the line's standard input.
TEST(SudoRunner, RootRunsTheLineWithoutHandingItThePassword) {
    if (::geteuid() != 0)
        GTEST_SKIP() << "Needs root.";
    const PrivilegedRunResult result = SudoRunner::run("a password nobody asked for", "id -u; cat");
    ASSERT_TRUE(result.succeeded) << result.errorMessage.value_or("").toStdString();
    EXPECT_EQ(result.output, "0");
}
