// `velmox automation` as a child process, on the test's own home. Runs as root and again as an
// account that has neither root nor a saved password.
#include "automation/AutomationStore.h"
#include "services/ActionHistoryStore.h"
#include "services/Clock.h"
#include "services/Settings.h"
#include "tests/support/VelmoxProcess.h"

#include <QJsonArray>
#include <QJsonDocument>
#include <QJsonObject>
#include <QStandardPaths>
#include <gtest/gtest.h>
#include <unistd.h>

using namespace velmox;
using namespace velmox::test;

namespace {

// `velmox args...` on a terminal of its own (script(1) makes one), typing `input`.
VelmoxRun runOnTerminal(const QString& args, const QByteArray& input) {
    QProcess process;
    process.start(QStringLiteral("/usr/bin/script"),
                  {QStringLiteral("-qec"), QStringLiteral(VELMOX_BINARY " ") + args,
                   QStringLiteral("/dev/null")});
    process.write(input);
    if (!process.waitForFinished(60000))
        process.kill();
    return {process.exitCode(), process.readAllStandardOutput(), process.readAllStandardError()};
}

QStringList recordedActions() {
    Settings settings;
    ActionHistoryStore history(settings, SystemClock::shared());
    QStringList actions;
    for (const ActionHistoryEntry& entry : history.entries())
        actions.prepend(entry.action + QStringLiteral(" | ") + entry.detail);
    return actions;
}

class AutomationCommandTest : public ::testing::Test {
protected:
    void SetUp() override {
        AutomationStoreData data;
        AutomationRule rule;
        rule.id = "r1";
        rule.name = "Tidy";
        rule.actionId = "chain:gone";
        data.rules = {rule};
        data.chains = {{"empty", "Empty routine", {}, {}}};
        data.profiles = {{"mine", "Mine", "star", "", {"emptyTrash"}, false}};
        data.protectedFolders = {"/srv/keep"};
        AutomationStore store;
        store.load();
        ASSERT_TRUE(store.save(data));
        Settings settings;
        ASSERT_TRUE(settings.remove(ActionHistoryStore::storageKey));
    }
};

TEST_F(AutomationCommandTest, ListShowsTheStoreWithBuiltInProfilesFirst) {
    const VelmoxRun json = runVelmox({"automation", "list", "--json"});
    ASSERT_EQ(json.exitCode, 0) << json.err.toStdString();
    const QJsonObject object = QJsonDocument::fromJson(json.out).object();
    EXPECT_EQ(object.keys(), (QStringList{"agent", "chains", "customSchedule", "profiles",
                                          "protectedBundleIDs", "protectedFolders", "rules"}));
    QStringList profileIds;
    for (const QJsonValue& profile : object["profiles"].toArray())
        profileIds.append(profile["id"].toString());
    EXPECT_EQ(profileIds, (QStringList{"builtin.work", "builtin.gaming", "builtin.battery",
                                       "builtin.presentation", "mine"}));
    EXPECT_EQ(object["rules"][0]["actionId"], "chain:gone");

    const VelmoxRun text = runVelmox({"automation", "list"});
    EXPECT_TRUE(text.out.contains("run Missing routine")) << text.out.toStdString();
    EXPECT_EQ(runVelmox({"automation", "list", "--yaml"}).exitCode, 2);
}

TEST_F(AutomationCommandTest, DryRunsChangeNothingAndAreRecorded) {
    const VelmoxRun task = runVelmox({"automation", "run", "purgeRAM", "--dry-run", "--json"});
    if (::geteuid() != 0) {
        // Even a dry run of an administrator task needs the password, and never asks for it.
        EXPECT_EQ(task.exitCode, 1);
        EXPECT_EQ(QJsonDocument::fromJson(task.out)["error"],
                  "Needs a saved administrator password (Settings > Access).");
        return;
    }
    ASSERT_EQ(task.exitCode, 0) << task.err.toStdString();
    EXPECT_EQ(QJsonDocument::fromJson(task.out)["message"],
              "Dry run: would purge inactive memory. Nothing was changed.");

    // The DNS step's answer depends on the resolver this machine runs; only its form is fixed.
    const VelmoxRun profile = runVelmox({"automation", "run", "builtin.work", "--dry-run"});
    ASSERT_EQ(profile.exitCode, 0) << profile.err.toStdString();
    const QList<QByteArray> lines = profile.out.split('\n');
    ASSERT_EQ(lines.size(), 3) << profile.out.toStdString();
    EXPECT_EQ(lines[0], "Prevent Sleep: Off: Dry run: would stop keeping the computer awake. "
                        "Nothing was changed.");
    EXPECT_TRUE(lines[1].startsWith("Flush DNS Cache: Dry run: ")) << lines[1].toStdString();
    const QStringList recorded = recordedActions();
    ASSERT_EQ(recorded.size(), 4);
    EXPECT_EQ(recorded[0], "Automation (dry run): Purge Inactive Memory | Dry run: would purge "
                           "inactive memory. Nothing was changed.");
    EXPECT_TRUE(recorded[3].startsWith("Automation (dry run): Work | Prevent Sleep: Off: Dry run: "))
        << recorded[3].toStdString();
}

TEST_F(AutomationCommandTest, DestructiveAndAdministratorRunsNeedConsent) {
    const VelmoxRun refused = runVelmox({"automation", "run", "mine"});
    EXPECT_EQ(refused.exitCode, 1);
    EXPECT_EQ(refused.err, "“Mine” permanently deletes data. Nothing was run: confirm with --yes "
                           "when there is no terminal to ask on.\n");
    const VelmoxRun admin = runVelmox({"automation", "run", "purgeRAM"});
    EXPECT_TRUE(admin.err.startsWith("“Purge Inactive Memory” needs administrator rights."));
    EXPECT_TRUE(recordedActions().isEmpty());

    // On a terminal it asks, and a "no" runs nothing.
    const VelmoxRun asked = runOnTerminal("automation run emptyTrash", "n\n");
    EXPECT_TRUE(asked.out.contains("“Empty Trash” permanently deletes data. Run it? [y/N]"))
        << asked.out.toStdString();
    EXPECT_TRUE(asked.out.contains("Nothing was run."));
    EXPECT_TRUE(recordedActions().isEmpty());

    const VelmoxRun confirmed = runVelmox({"automation", "run", "purgeRAM", "--yes"});
    EXPECT_EQ(confirmed.err.contains("Needs a saved administrator password"), ::geteuid() != 0);
    EXPECT_EQ(recordedActions().size(), 1);
}

TEST_F(AutomationCommandTest, UnknownAndBrokenActionsFailInAWholeSentence) {
    const VelmoxRun unknown = runVelmox({"automation", "run", "defragment"});
    EXPECT_EQ(unknown.exitCode, 1);
    EXPECT_EQ(unknown.err, "There is no task, routine or profile called “defragment”. Run “velmox "
                           "automation list” to see them.\n");
    const VelmoxRun gone = runVelmox({"automation", "run", "chain:gone"});
    EXPECT_EQ(gone.exitCode, 1);
    EXPECT_EQ(gone.err, "The routine for this action no longer exists.\n");
    const VelmoxRun empty = runVelmox({"automation", "run", "chain:empty", "--yes"});
    EXPECT_EQ(empty.err, "This routine has no steps.\n");
    EXPECT_EQ(runVelmox({"automation", "run"}).exitCode, 2);
}

} // namespace
