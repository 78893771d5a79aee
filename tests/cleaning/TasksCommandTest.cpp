#include "cli/CliCommand.h"
#include "platform/PlatformPaths.h"
#include "platform/Trash.h"
#include "tests/cleaning/CleaningTestSupport.h"
#include "tests/support/CliInvocation.h"

#include <QJsonArray>
#include <QJsonDocument>
#include <gtest/gtest.h>

using namespace velmox;
using namespace velmox::test;

namespace {

CliInvocation tasks(const QStringList& args) {
    return runCliCommand(QStringLiteral("tasks"), args);
}

QList<ActionHistoryEntry> savedHistory() {
    Settings settings;
    ManualClock clock;
    return ActionHistoryStore(settings, clock).entries();
}

TEST(TasksCommand, ListsEveryTaskAsJsonWithRawValues) {
    const CliInvocation list = tasks({"list", "--json"});
    ASSERT_EQ(list.code, 0) << list.err.toStdString();
    const QJsonArray array = QJsonDocument::fromJson(list.out.toUtf8()).array();
    ASSERT_EQ(array.size(), 17);
    const QJsonObject first = array.first().toObject();
    EXPECT_EQ(first["title"].toString(), "RAM Purge");
    EXPECT_EQ(first["category"].toString(), "Performance Suite");
    EXPECT_EQ(first["impactLevel"].toString(), "High Impact");
    EXPECT_TRUE(first["requiresSudo"].toBool());

    const CliInvocation text = tasks({"list"});
    EXPECT_TRUE(text.out.startsWith("System Cleanup\n  Font Cache Cleaner  [Moderate, needs "
                                    "administrator, Smart Scan]\n"));
    EXPECT_EQ(tasks({"list", "--yaml"}).code, 2);
}

TEST(TasksCommand, RunsATaskHeadlessAndPrintsTheSpaceFreed) {
    const QString caches = PlatformPaths::userCaches();
    QDir(caches).removeRecursively();
    writeFile(caches + "/big app/blob", QByteArray(200000, 'b'));
    const CliInvocation run = tasks({"run", "User Cache Cleaner"});
    ASSERT_EQ(run.code, 0) << run.err.toStdString();
    EXPECT_TRUE(run.out.startsWith("User Cache Cleaner: Freed 2")) << run.out.toStdString();
    EXPECT_TRUE(run.out.endsWith("Moved 1 item(s) to the Trash.\n1 can be put back from the "
                                 "Activity tab.\n"));
    EXPECT_TRUE(exists(Trash::itemPath("big app")));
    const QList<ActionHistoryEntry> history = savedHistory();
    ASSERT_FALSE(history.isEmpty());
    EXPECT_EQ(history.first().action, "User Cache Cleaner");
    EXPECT_EQ(ActionHistoryStore::undoItems(history.first()).size(), 1);
}

TEST(TasksCommand, RefusesUnconfirmedRiskyTasksWithoutATerminal) {
    const qsizetype before = savedHistory().size();
    // It deletes the package cache for good: never without a confirmation.
    const CliInvocation run = tasks({"run", "System Cache Cleaner"});
    EXPECT_EQ(run.code, 1);
    EXPECT_EQ(run.err, "“System Cache Cleaner” is High Impact and needs administrator rights. "
                       "Nothing was run: confirm with --yes when there is no terminal to ask "
                       "on.\n");
    EXPECT_EQ(savedHistory().size(), before);

    const CliInvocation unknown = tasks({"run", "Defragment"});
    EXPECT_EQ(unknown.code, 1);
    EXPECT_EQ(unknown.err, "There is no task called “Defragment”. Run “velmox tasks list” to see "
                           "them all.\n");
}

} // namespace
