#include "tests/cleaning/CleaningTestSupport.h"

#include <QProcess>
#include <gtest/gtest.h>
#include <unistd.h>

using namespace velmox;
using namespace velmox::test;

namespace {

QString gsetting(const QString& schema) {
    QProcess process;
    process.start("/usr/bin/gsettings", {"get", schema, "show-hidden"});
    process.waitForFinished();
    return QString::fromUtf8(process.readAllStandardOutput()).trimmed();
}

class UserScriptTasksTest : public ::testing::Test {
protected:
    CleaningWorld world;
};

TEST_F(UserScriptTasksTest, CacheAndAttachmentRemoversDeleteOnlyTheirFolders) {
    const QString speech = world.places.userCaches + "/speech-dispatcher";
    writeFile(speech + "/log/speech-dispatcher.log", QByteArray(40000, 's'));
    writeFile(world.places.userCaches + "/speech-other/keep", "k");
    const QString attachments = world.places.temporary + "/mozilla_" + world.places.user + "0";
    writeFile(attachments + "/invoice 'march'.pdf", QByteArray(30000, 'p'));

    const TaskRunResult speechResult = world.run("Speech & Dictation Cache Cleaner");
    const TaskRunResult mailResult = world.run("Mail Attachment Remover");

    EXPECT_TRUE(speechResult.success);
    EXPECT_FALSE(exists(speech));
    EXPECT_TRUE(exists(world.places.userCaches + "/speech-other/keep"));
    EXPECT_GE(speechResult.bytesFreed(), 40000);
    EXPECT_EQ(speechResult.bytesAfter, 0);
    EXPECT_TRUE(mailResult.success);
    EXPECT_FALSE(exists(attachments));
    EXPECT_GE(mailResult.bytesFreed(), 30000);
    ASSERT_EQ(world.history.entries().size(), 2);
    EXPECT_EQ(world.history.entries().at(0).action, "Mail Attachment Remover");
}

TEST_F(UserScriptTasksTest, HiddenFileTogglesChangeTheDesktopSetting) {
    ASSERT_TRUE(world.run("Hidden File Toggle (Show)").success);
    EXPECT_EQ(gsetting("org.gtk.Settings.FileChooser"), "true");
    ASSERT_TRUE(world.run("Hidden File Toggle (Hide)").success);
    EXPECT_EQ(gsetting("org.gtk.Settings.FileChooser"), "false");
}

TEST_F(UserScriptTasksTest, ClipboardWithoutADesktopFailsWithASentence) {
    const TaskRunResult result = world.run("Clipboard History Flusher");
    EXPECT_FALSE(result.success);
    EXPECT_EQ(result.output, "No clipboard tool for this desktop (wl-copy, xsel or xclip) was "
                             "found, so the clipboard was not cleared.");
    ASSERT_EQ(world.history.entries().size(), 1);
    EXPECT_FALSE(world.history.entries().at(0).success);
    EXPECT_EQ(world.history.entries().at(0).detail, result.output);
}

TEST_F(UserScriptTasksTest, FailingScriptReportsItsErrorAndExitStatus) {
    OptimizationTask task = world.task("Trash Management");
    task.shellScript = "echo partial; echo 'disk on fire' >&2; exit 3";
    EXPECT_EQ(world.runner.runBlocking(task).output, "disk on fire");
    task.shellScript = "exit 4";
    EXPECT_EQ(world.runner.runBlocking(task).output, "The task's script ended with exit status 4.");
}

TEST_F(UserScriptTasksTest, RootTaskWithoutSavedPasswordGoesToThePromptUnchanged) {
    const OptimizationTask task = world.task("Log File Scrubber");
    const TaskRunResult result = world.runner.runBlocking(task);
    EXPECT_TRUE(result.success) << result.output.toStdString();
    // Velmox running as root runs the script itself and never asks.
    EXPECT_EQ(world.privilege.prompt.lines,
              ::geteuid() == 0 ? QStringList() : QStringList{task.shellScript});
}

} // namespace
