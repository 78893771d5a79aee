#include "platform/linux/PkexecElevation.h"
#include "platform/macos/AppleScriptElevation.h"

#include <gtest/gtest.h>

using namespace velmox;

namespace {

QString message(const CommandExecutorError& error) {
    return error.message.value_or("<cancelled>");
}

} // namespace

TEST(AppleScriptElevation, EscapesBackslashesBeforeQuotes) {
    // Escaping quotes first would double the backslashes it just added.
    EXPECT_EQ(AppleScriptElevation::escapeForStringLiteral(R"(a\"b)"), R"(a\\\"b)");
    EXPECT_EQ(
        AppleScriptElevation::script(R"(printf '%s\n' "C:\dir" > /tmp/x)"),
        R"(do shell script "printf '%s\\n' \"C:\\dir\" > /tmp/x" with administrator privileges)");
}

TEST(AppleScriptElevation, ClassifiesRecordedOsascriptErrors) {
    EXPECT_EQ(
        message(AppleScriptElevation::classify("0:110: execution error: User canceled. (-128)")),
        "Authentication canceled.");
    const QString wrong = "0:110: execution error: The administrator user name or password was "
                          "incorrect. (-60007)";
    EXPECT_EQ(message(AppleScriptElevation::classify(wrong)),
              "The administrator password was not accepted. (" + wrong + ")");
    EXPECT_EQ(message(AppleScriptElevation::classify("execution error: Error (-60005)")),
              "The administrator password was not accepted. (execution error: Error (-60005))");
    EXPECT_TRUE(message(AppleScriptElevation::classify(
                            "0:95: execution error: tccutil: Failed to reset LocalNetwork (1)"))
                    .startsWith("macOS restricts resetting Local Network permissions"));
    EXPECT_EQ(message(AppleScriptElevation::classify(
                  "0:64: execution error: sh: nosuchtool: command not found (127)")),
              "sh: nosuchtool: command not found (127)");
    const QString tcc = message(AppleScriptElevation::classify(
        "0:80: execution error: tccutil: Failed to reset Camera: OSStatus -10814 (1)"));
    EXPECT_TRUE(tcc.startsWith("tccutil: Failed to reset Camera: OSStatus -10814 (1)\n\nTip: "));
    EXPECT_EQ(message(AppleScriptElevation::classify("osascript: no such file")),
              "osascript: no such file");
    // One-shot runs report cancellation without their output.
    EXPECT_EQ(message(AppleScriptElevation::classifyOneShot(
                  "0:50: execution error: User canceled. (-128)")),
              "Authentication canceled");
    EXPECT_EQ(message(AppleScriptElevation::classifyOneShot("mdutil: volume not found")),
              "mdutil: volume not found");
}

TEST(PkexecElevation, TheLineIsOneArgumentOfItsOwn) {
    const QString line = R"(printf '%s' "a \"quoted\" \\ line" > /tmp/x; echo $HOME)";
    const QStringList arguments = PkexecElevation::arguments(line);
    EXPECT_EQ(arguments, (QStringList{"--disable-internal-agent", "/bin/sh", "-c",
                                      "PATH=/usr/bin:/bin:/usr/sbin:/sbin; export PATH; " + line}));
}

TEST(PkexecElevation, ClassifiesPkexecsOwnErrorTexts) {
    EXPECT_EQ(message(PkexecElevation::classify(
                  126, "Error executing command as another user: Request dismissed")),
              "Authentication canceled.");
    const QString refused = "Error executing command as another user: Not authorized\n\n"
                            "This incident has been reported.";
    EXPECT_EQ(message(PkexecElevation::classify(127, refused)),
              "The administrator password was not accepted. (" + refused + ")");
    const QString noAgent =
        "Error executing command as another user: No authentication agent found.";
    EXPECT_EQ(message(PkexecElevation::classify(127, noAgent)), noAgent);
    // The line's own failures pass through, whatever their status.
    EXPECT_EQ(message(PkexecElevation::classify(126, "/bin/sh: 1: ./x: Permission denied")),
              "/bin/sh: 1: ./x: Permission denied");
    EXPECT_EQ(message(PkexecElevation::classify(3, "")),
              "The administrator command ended with exit status 3.");
}
