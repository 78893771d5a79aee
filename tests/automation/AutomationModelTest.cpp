#include "automation/AutomationCatalogue.h"
#include "automation/AutomationEnvironment.h"
#include "automation/AutomationProtection.h"
#include "automation/AutomationStore.h"

#include <QDir>
#include <QFile>
#include <QJsonArray>
#include <QJsonDocument>
#include <QTemporaryDir>
#include <gtest/gtest.h>

using namespace velmox;

namespace {

QString tableText(const QList<AutomationTask>& tasks) {
    QString text;
    for (const AutomationTask& task : tasks)
        text += QStringLiteral("%1|%2|%3|%4|%5|%6\n")
                    .arg(task.id, task.title, task.icon, task.needsAdmin ? "yes" : "no",
                         task.isDestructive ? "yes" : "no", task.description);
    return text;
}

TEST(AutomationCatalogue, MacTableReadsAsWritten) {
    EXPECT_EQ(
        tableText(macAutomationCatalogue()),
        "cleanUserCaches|Clean User Caches|trash|no|no|Moves the contents of ~/Library/Caches to "
        "the Trash (recoverable with Put Back). Skips anything on your protected list.\n"
        "emptyTrash|Empty Trash|trash.slash|no|yes|Permanently deletes everything in the Trash. "
        "This cannot be undone.\n"
        "flushDNS|Flush DNS Cache|network|yes|no|Clears the DNS cache. Needs the administrator "
        "password saved in Settings > Access.\n"
        "purgeRAM|Purge Inactive Memory|memorychip|yes|no|Frees inactive memory. Needs the "
        "administrator password saved in Settings > Access.\n"
        "rebuildLaunchServices|Rebuild Launch Services|arrow.triangle.2.circlepath|no|no|Rebuilds "
        "the Launch Services database (fixes wrong or duplicate 'Open With' entries).\n"
        "reindexSpotlight|Reindex Spotlight|magnifyingglass|yes|no|Erases and rebuilds the "
        "Spotlight index of the startup volume; search is incomplete for a while. Needs the saved "
        "administrator password.\n"
        "verifyDisk|Verify Startup Disk|internaldrive|no|no|Read-only check of the startup volume "
        "with diskutil. Can take several minutes.\n"
        "thinSnapshots|Thin Snapshots When Space Is Low|clock.arrow.circlepath|yes|no|When the "
        "startup volume has less than 30 GB free, thins local Time Machine snapshots to win back "
        "space. Does nothing when there is enough room. Needs the administrator password saved in "
        "Settings > Access.\n"
        "preventSleepOn|Prevent Sleep: On|cup.and.saucer|no|no|Keeps the Mac awake (same as the "
        "Prevent Sleep page). Stops when Velmox quits.\n"
        "preventSleepOff|Prevent Sleep: Off|moon.zzz|no|no|Stops keeping the Mac awake.\n");
}

TEST(AutomationCatalogue, LinuxTableKeepsTheIdsAndSaysLinuxThings) {
    const auto& mac = macAutomationCatalogue();
    const auto& linux = linuxAutomationCatalogue();
    ASSERT_EQ(linux.size(), mac.size());
    for (qsizetype i = 0; i < mac.size(); ++i) {
        EXPECT_EQ(linux.at(i).id, mac.at(i).id);
        EXPECT_EQ(linux.at(i).isDestructive, mac.at(i).isDestructive)
            << linux.at(i).id.toStdString();
        for (const char* macWord : {"Library", "Spotlight", "Launch Services", "Mac ", "diskutil",
                                    "Time Machine", "startup"})
            EXPECT_FALSE(linux.at(i).title.contains(macWord) ||
                         linux.at(i).description.contains(macWord) ||
                         linux.at(i).dryRunMessage.contains(macWord))
                << linux.at(i).id.toStdString() << " says " << macWord;
    }
    EXPECT_EQ(linux.at(5).title, "Reindex File Search");
    EXPECT_EQ(linux.at(4).title, "Rebuild Desktop Databases");
    // Reading the root file system's counters needs its block device.
    EXPECT_TRUE(linux.at(6).needsAdmin);
    EXPECT_EQ(needsAdminPasswordMessage(),
              "Needs a saved administrator password (Settings > Access).");
}

AutomationStoreData sampleData() {
    AutomationStoreData data;
    AutomationRule rule;
    rule.id = "3F2504E0-4F89-11D3-9A0C-0305E82C3301";
    rule.name = "Low disk";
    rule.condition = AutomationCondition::diskFreeBelowGB;
    rule.threshold = 12.5;
    rule.actionId = "chain:gone";
    rule.cooldownMinutes = 30;
    rule.onlyOnAC = true;
    rule.lastRun = QDateTime(QDate(2026, 7, 1), QTime(8, 15, 30), Qt::LocalTime);
    data.rules = {rule};
    data.chains = {{"c",
                    "Weekly",
                    {"emptyTrash", "flushDNS"},
                    {AutomationScheduleKind::weekly, 4, 30, 1, std::nullopt}}};
    data.profiles = {{"p", "Mine", "star", "Blurb", {"purgeRAM"}, false}};
    data.protectedFolders = {"/home/u/keep"};
    data.protectedBundleIDs = {"org.example.App"};
    data.customSchedule.enabled = true;
    return data;
}

TEST(AutomationJson, RoundTripsWithTheStoredKeysAndDates) {
    const AutomationStoreData data = sampleData();
    const QJsonObject json = toJson(data);
    EXPECT_EQ(json.keys(), (QStringList{"chains", "customSchedule", "profiles",
                                        "protectedBundleIDs", "protectedFolders", "rules"}));
    const QJsonObject rule = json["rules"].toArray().at(0).toObject();
    EXPECT_EQ(rule.keys(), (QStringList{"actionId", "condition", "cooldownMinutes", "enabled", "id",
                                        "lastRun", "name", "onlyOnAC", "threshold"}));
    EXPECT_EQ(rule["condition"], "diskFreeBelowGB");
    EXPECT_EQ(rule["lastRun"].toString(),
              data.rules.at(0)
                  .lastRun->toOffsetFromUtc(data.rules.at(0).lastRun->offsetFromUtc())
                  .toString(Qt::ISODate));
    EXPECT_EQ(json["chains"].toArray().at(0).toObject()["plan"].toObject().keys(),
              (QStringList{"hour", "kind", "minute", "weekday"}));
    EXPECT_EQ(storeDataFromJson(QJsonDocument::fromJson(QJsonDocument(json).toJson()).object()),
              data);
    // Dates written elsewhere in UTC read as the same moment.
    EXPECT_EQ(dateFromIso("2026-07-01T06:15:30Z"),
              QDateTime(QDate(2026, 7, 1), QTime(6, 15, 30), Qt::UTC));
}

TEST(AutomationJson, DecodesOlderAndForeignFilesTolerantly) {
    const auto data = storeDataFromJson(QJsonDocument::fromJson(R"({
        "rules": [{"id": "a", "condition": "onWake"},
                  {"id": "b", "condition": "whenItRains"},
                  {"condition": "onLaunch"},
                  {"id": "c", "condition": "cpuTempAbove", "threshold": "hot", "lastRun": "soon"}],
        "chains": [{"id": "x", "plan": {"kind": "hourly", "hour": 40}}],
        "profiles": [{"id": "builtin.work", "name": "Work"}, {"id": "mine"}],
        "customSchedule": {"target": "emptyTrash"}
    })")
                                            .object());
    ASSERT_EQ(data.rules.size(), 2);
    EXPECT_EQ(data.rules.at(0).enabled, true);
    EXPECT_FALSE(data.rules.at(0).lastRun);
    EXPECT_EQ(data.rules.at(1).threshold, 0.0);
    EXPECT_FALSE(data.rules.at(1).lastRun);
    EXPECT_EQ(data.chains.at(0).plan.kind, AutomationScheduleKind::off);
    EXPECT_EQ(data.chains.at(0).plan.hour, 23);
    ASSERT_EQ(data.profiles.size(), 1);
    EXPECT_EQ(data.profiles.at(0).id, "mine");
    AutomationCustomSchedule expected;
    expected.target = "emptyTrash";
    EXPECT_EQ(data.customSchedule, expected);
}

TEST(AutomationStore, MissingAndBadFilesGiveDefaultsAndOnlyASaveReplacesThem) {
    QTemporaryDir home;
    const QString path = home.filePath("deep/Velmox/Automation Rules.json");
    AutomationStore store(path);
    EXPECT_EQ(store.load().data, AutomationStoreData{});
    EXPECT_TRUE(store.load().problem.isEmpty());
    EXPECT_FALSE(QFile::exists(path));
    ASSERT_TRUE(store.save(sampleData()));
    EXPECT_EQ(AutomationStore(path).load().data, sampleData());

    QFile file(path);
    ASSERT_TRUE(file.open(QIODevice::WriteOnly | QIODevice::Truncate));
    file.write("{\"rules\": [");
    file.close();
    const auto loaded = store.load();
    EXPECT_EQ(loaded.data, AutomationStoreData{});
    EXPECT_TRUE(loaded.problem.contains("damaged")) << loaded.problem.toStdString();
    ASSERT_TRUE(file.open(QIODevice::ReadOnly));
    EXPECT_EQ(file.readAll(), "{\"rules\": [");
    file.close();
    AutomationStoreData changed;
    changed.protectedFolders = {"/srv"};
    ASSERT_TRUE(store.save(changed));
    EXPECT_EQ(AutomationStore(path).load().data, changed);
    EXPECT_EQ(QDir(home.filePath("deep/Velmox")).entryList(QDir::Files),
              QStringList{"Automation Rules.json"});
}

// A file edited by hand: numbers out of range come back in range, so no list shows them and no
// rule compares with them.
TEST(AutomationStore, RuleNumbersOutOfRangeComeBackInRange) {
    QTemporaryDir home;
    const QString path = home.filePath("Automation Rules.json");
    QFile file(path);
    ASSERT_TRUE(file.open(QIODevice::WriteOnly));
    file.write(R"({"rules": [
        {"id": "a", "condition": "diskFreeBelowGB", "threshold": -5, "cooldownMinutes": -30},
        {"id": "b", "condition": "memoryAbovePercent", "threshold": 250, "cooldownMinutes": 1e12},
        {"id": "c", "condition": "cpuTempAbove", "threshold": 1e300, "cooldownMinutes": 90.5},
        {"id": "d", "condition": "onWake", "threshold": 40}]})");
    file.close();
    const QList<AutomationRule> rules = AutomationStore(path).load().data.rules;
    ASSERT_EQ(rules.size(), 4);
    QList<double> thresholds;
    QStringList cooldowns;
    for (const AutomationRule& rule : rules) {
        thresholds << rule.threshold;
        cooldowns << cooldownSummary(rule);
    }
    EXPECT_EQ(thresholds, (QList<double>{0, 100, 150, 0}));
    EXPECT_EQ(cooldowns, (QStringList{"0 min between runs", "10080 min between runs",
                                      "90 min between runs", "60 min between runs"}));
}

TEST(AutomationStore, SavesKeepWhatAnotherProcessChangedMeanwhile) {
    QTemporaryDir home;
    const QString path = home.filePath("Automation Rules.json");
    ASSERT_TRUE(AutomationStore(path).save(sampleData()));
    AutomationStore window(path);
    AutomationStore other(path);
    AutomationStoreData mine = window.load().data;
    AutomationStoreData theirs = other.load().data;

    AutomationRule added;
    added.id = "new";
    added.name = "From the command line";
    theirs.rules.append(added);
    theirs.protectedBundleIDs.append("org.other.App");
    theirs.agent = QJsonObject{{"installed", true}};
    theirs.chains.clear();
    ASSERT_TRUE(other.save(theirs));

    mine.rules[0].lastRun = QDateTime(QDate(2026, 7, 2), QTime(9, 0), Qt::LocalTime);
    mine.protectedFolders.clear();
    mine.customSchedule.target = "flushDNS";
    const auto saved = window.save(mine);
    ASSERT_TRUE(saved);
    EXPECT_EQ(*saved, AutomationStore(path).load().data);
    ASSERT_EQ(saved->rules.size(), 2);
    EXPECT_EQ(saved->rules.at(0).lastRun, mine.rules.at(0).lastRun);
    EXPECT_EQ(saved->rules.at(1).id, "new");
    EXPECT_TRUE(saved->chains.isEmpty());
    EXPECT_TRUE(saved->protectedFolders.isEmpty());
    EXPECT_EQ(saved->protectedBundleIDs, (QStringList{"org.example.App", "org.other.App"}));
    EXPECT_EQ(saved->customSchedule.target, "flushDNS");
    EXPECT_EQ(saved->agent, (QJsonObject{{"installed", true}}));
}

TEST(AutomationPower, PowerSupplyTreesOfLaptopsAndDesktops) {
    const QString root = QStringLiteral(VELMOX_TEST_DATA "/automation/power/");
    EXPECT_EQ(powerFromSysfs(root + "laptop-on-battery"), (PowerState{true, 37, false}));
    // A wireless mouse's battery is neither the computer's charge nor its power source.
    EXPECT_EQ(powerFromSysfs(root + "laptop-charging"), (PowerState{true, 64, true}));
    EXPECT_EQ(powerFromSysfs(root + "desktop"), (PowerState{false, 0, true}));
    EXPECT_EQ(powerFromSysfs(root + "absent"), (PowerState{false, 0, true}));
}

} // namespace

namespace {

TEST(AutomationProtection, FoldersAreKeptWithWhatIsInsideAndAboveThem) {
    const AutomationProtection protection({"/home/u/.cache/keep/", "/srv/a b"},
                                          {"org.example.App"});
    for (const char* path : {"/home/u/.cache/keep", "/home/u/.cache/keep/x/y", "/home/u/.cache",
                             "/home/u/", "/", "/srv/a b/c"})
        EXPECT_TRUE(protection.protectsPath(path)) << path;
    for (const char* path : {"/home/u/.cache/keeper", "/home/u/.cache/kee", "/srv/a", "/srv/a bc"})
        EXPECT_FALSE(protection.protectsPath(path)) << path;

    EXPECT_TRUE(protection.protectsCacheName("org.example.App"));
    EXPECT_TRUE(protection.protectsCacheName("org.example.App.helper"));
    EXPECT_FALSE(protection.protectsCacheName("org.example.Apple"));
    EXPECT_FALSE(protection.protectsCacheName("org.example"));
    EXPECT_TRUE(protection.protectsCacheItem("/home/u/.cache/", "keep"));
    EXPECT_FALSE(protection.protectsCacheItem("/home/u/.cache", "thumbnails"));
    // Names are bytes: one that is not UTF-8 is compared as it is.
    EXPECT_FALSE(protection.protectsCacheItem("/home/u/.cache", "caf\xe9"));
}

} // namespace
