#include "cli/CliCommand.h"
#include "platform/PlatformPaths.h"
#include "platform/Trash.h"
#include "tests/cleaning/CleaningTestSupport.h"
#include "tests/support/CliInvocation.h"

#include <QJsonArray>
#include <QJsonDocument>
#include <QJsonObject>
#include <QSet>
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
    EXPECT_EQ(first["key"].toString(), "ram-purge");

    const CliInvocation text = tasks({"list"});
    EXPECT_TRUE(
        text.out.startsWith("System Cleanup\n  Font Cache Cleaner (font-caches)  [Moderate, "
                            "needs administrator, Smart Scan]\n"))
        << text.out.toStdString();
    EXPECT_EQ(tasks({"list", "--yaml"}).code, 2);
}

// Scripts name a task by a key that outlives its title; every task of both systems has its own,
// the same where the job is the same.
TEST(TasksCommand, EveryTaskHasItsOwnKey) {
    QHash<QString, QString> titles;
    for (const auto system :
         {OptimizationRegistry::System::linuxDesktop, OptimizationRegistry::System::macOS}) {
        QSet<QString> keys;
        for (const OptimizationTask& task :
             OptimizationRegistry(TaskPlaces::current(), system).allTasks()) {
            const QString key = OptimizationRegistry::key(task);
            EXPECT_FALSE(key.isEmpty()) << task.title.toStdString();
            EXPECT_FALSE(keys.contains(key)) << key.toStdString();
            keys.insert(key);
            titles.insert(task.title, key);
        }
    }
    EXPECT_EQ(titles.value("File Search Re-indexing"), titles.value("Spotlight Re-indexing"));
}

TEST(TasksCommand, RunsATaskNamedByKeyOrTitleInAnyCase) {
    const QString caches = PlatformPaths::userCaches();
    QDir(caches).removeRecursively();
    writeFile(caches + "/small app/blob", QByteArray(1000, 's'));
    const CliInvocation byKey = tasks({"run", "USER-caches"});
    ASSERT_EQ(byKey.code, 0) << byKey.err.toStdString();
    EXPECT_TRUE(byKey.out.startsWith("User Cache Cleaner: ")) << byKey.out.toStdString();

    writeFile(caches + "/big app/blob", QByteArray(200000, 'b'));
    const CliInvocation run = tasks({"run", "user cache cleaner"});
    ASSERT_EQ(run.code, 0) << run.err.toStdString();
    EXPECT_TRUE(run.out.startsWith("User Cache Cleaner: Moved 1 item (2")) << run.out.toStdString();
    EXPECT_TRUE(run.out.endsWith(" kB) to the Trash.\n1 can be put back from the Activity tab "
                                 "of the window (“velmox activity” lists them).\n"))
        << run.out.toStdString();
    EXPECT_TRUE(exists(Trash::itemPath("big app")));
    const QList<ActionHistoryEntry> history = savedHistory();
    ASSERT_FALSE(history.isEmpty());
    EXPECT_EQ(history.first().action, "User Cache Cleaner");
    EXPECT_EQ(ActionHistoryStore::undoItems(history.first()).size(), 1);
}

TEST(TasksCommand, RefusesUnconfirmedRiskyTasksWithoutATerminal) {
    const qsizetype before = savedHistory().size();
    const CliInvocation run = tasks({"run", "RAM Purge"});
    EXPECT_EQ(run.code, 1);
    EXPECT_EQ(run.err, "“RAM Purge” is High Impact and needs administrator rights. Nothing was "
                       "run: confirm with --yes when there is no terminal to ask on.\n");
    // Only part of the package cache goes, so its size is said as the most it can be.
    const CliInvocation packages = tasks({"run", "System Cache Cleaner"});
    EXPECT_EQ(packages.code, 1);
    EXPECT_TRUE(packages.err.startsWith("“System Cache Cleaner”: This permanently deletes the "
                                        "downloaded packages in the package manager's cache (up "
                                        "to "))
        << packages.err.toStdString();
    EXPECT_EQ(savedHistory().size(), before);

    // Deleting for good takes --yes even where a terminal could ask, and says what and how much.
    QDir(QFileInfo(Trash::filesFolder()).path()).removeRecursively();
    const QString trashed = PlatformPaths::userCaches() + "/to-delete";
    writeFile(trashed, QByteArray(9000, 't'));
    ASSERT_TRUE(Trash::moveToTrash(trashed).has_value());
    const CliInvocation refused = tasks({"run", "Trash Management"});
    EXPECT_EQ(refused.code, 1);
    EXPECT_TRUE(refused.err.startsWith("“Trash Management”: This permanently deletes 1 item ("));
    EXPECT_TRUE(refused.err.endsWith(" kB) from the Trash. This cannot be undone. Nothing was "
                                     "run: add --yes to go ahead.\n"))
        << refused.err.toStdString();
    EXPECT_TRUE(exists(Trash::itemPath("to-delete")));
    EXPECT_EQ(tasks({"run", "Trash Management", "--yes"}).code, 0);
    EXPECT_FALSE(exists(Trash::itemPath("to-delete")));

    const CliInvocation unknown = tasks({"run", "Defragment"});
    EXPECT_EQ(unknown.code, 1);
    EXPECT_EQ(unknown.err, "There is no task called “Defragment”. Run “velmox tasks list” to see "
                           "every title and key.\n");
}

} // namespace
