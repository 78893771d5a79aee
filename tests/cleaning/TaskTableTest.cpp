#include "cleaning/OptimizationRegistry.h"

#include <QJsonArray>
#include <gtest/gtest.h>

using namespace velmox;

namespace {

TaskPlaces macPlaces() {
    TaskPlaces places;
    places.home = QStringLiteral("/Users/ann");
    places.user = QStringLiteral("ann");
    return places;
}

QList<OptimizationTask> macTasks() {
    return OptimizationRegistry(macPlaces(), OptimizationRegistry::System::macOS).allTasks();
}

// Only the scripts built from the home folder and the user name: the others are fixed text.
TEST(MacTaskTable, ScriptsAndMeasuredFoldersHaveHomeAndUserFilledIn) {
    const QList<OptimizationTask> tasks = macTasks();
    ASSERT_EQ(tasks.size(), 20);
    EXPECT_EQ(tasks[5].shellScript,
              "/usr/bin/atsutil databases -remove; /usr/bin/sudo -u \"ann\" /usr/bin/atsutil "
              "databases -removeUser; /usr/bin/atsutil server -shutdown; /usr/bin/atsutil server "
              "-ping");
    EXPECT_EQ(tasks[6].shellScript,
              "/usr/bin/find /Library/Caches -mindepth 1 -maxdepth 1 ! -name 'com.apple.*' -exec "
              "/bin/mv -n {} \"/Users/ann/.Trash/\" \\; 2>/dev/null; /usr/sbin/chown -R \"ann\" "
              "\"/Users/ann/.Trash\" 2>/dev/null; true");
    EXPECT_EQ(tasks[8].shellScript,
              "/usr/bin/find /Library/Logs \"/Users/ann/Library/Logs\" -type f \\( -name '*.log' "
              "-o -name '*.log.*' -o -name '*.asl' \\) -mtime +7 -delete 2>/dev/null; true");
    EXPECT_EQ(tasks[10].shellScript, "/usr/bin/find \"/Users/ann/.Trash\" -mindepth 1 -maxdepth "
                                     "1 -exec /bin/rm -rf {} + 2>/dev/null; true");
    EXPECT_TRUE(tasks[19].shellScript.endsWith(
        "then /bin/mv \"$p\" \"/Users/ann/.Trash/\" 2>/dev/null || echo \"Could not move $p "
        "(protected by System Integrity Protection).\"; fi; done; /usr/sbin/chown -R \"ann\" "
        "\"/Users/ann/.Trash\" 2>/dev/null; true"))
        << tasks[19].shellScript.toStdString();

    EXPECT_EQ(tasks[7].pathsToMeasure, QStringList{"/Users/ann/Library/Caches"});
    EXPECT_EQ(tasks[8].pathsToMeasure, (QStringList{"/Library/Logs", "/Users/ann/Library/Logs"}));
    EXPECT_EQ(tasks[10].pathsToMeasure, QStringList{"/Users/ann/.Trash"});
    EXPECT_EQ(tasks[7].work, TaskWork::moveToTrash);
    EXPECT_EQ(tasks[13].work, TaskWork::endHungProcesses);
}

TEST(LinuxTaskTable, KeepsTheMacOrderTitlesAndCategoriesLeavingOutMacOnlyRows) {
    TaskPlaces places = macPlaces();
    const QList<OptimizationTask> linuxTasks =
        OptimizationRegistry(places, OptimizationRegistry::System::linuxDesktop).allTasks();
    const QList<OptimizationTask> mac = macTasks();
    QStringList macTitles;
    for (const OptimizationTask& task : mac)
        macTitles << task.title;
    qsizetype lastPosition = -1;
    for (const OptimizationTask& task : linuxTasks) {
        SCOPED_TRACE(task.title.toStdString());
        const qsizetype position = macTitles.indexOf(task.title);
        if (position >= 0) {
            EXPECT_GT(position, lastPosition) << "out of the Mac order";
            EXPECT_EQ(task.category, mac[position].category);
            lastPosition = position;
        }
        EXPECT_FALSE(task.description.contains("macOS"));
        EXPECT_FALSE(task.shellScript.contains("/Library/"));
        EXPECT_TRUE(task.work != TaskWork::shellScript || !task.shellScript.isEmpty());
        // Whatever a script deletes is asked about first, whatever the task's impact level.
        const bool scriptDeletes =
            task.shellScript.contains("/bin/rm ") || task.shellScript.contains(" -delete") ||
            task.shellScript.contains(" clean") || task.shellScript.contains("--vacuum");
        EXPECT_EQ(task.deletesPermanently(), scriptDeletes);
    }
    QStringList linuxTitles;
    for (const OptimizationTask& task : linuxTasks)
        linuxTitles << task.title;
    for (const char* left :
         {"Time Machine Snapshot Slimmer", "Safari Privacy Cleaner", "Apple Intelligence Cleanup"})
        EXPECT_FALSE(linuxTitles.contains(left)) << left;
    EXPECT_TRUE(linuxTitles.contains("File Search Re-indexing"));
    EXPECT_EQ(linuxTasks.size(), 17);
}

TEST(LinuxTaskTable, QuotesPlacesWhateverTheirCharacters) {
    TaskPlaces places = macPlaces();
    places.userCaches = "/home/o'brien/$HOME `x`/.cache";
    places.systemRoot = "/tmp/it's here";
    const OptimizationRegistry registry(places, OptimizationRegistry::System::linuxDesktop);
    EXPECT_TRUE(registry.task("Log File Scrubber")
                    ->shellScript.contains("/usr/bin/find '/tmp/it'\\''s here/var/log' -type f"));
    EXPECT_TRUE(registry.task("Speech & Dictation Cache Cleaner")
                    ->shellScript.startsWith(
                        "/bin/rm -rf '/home/o'\\''brien/$HOME `x`/.cache/speech-dispatcher'"));
}

TEST(TaskJson, UsesTheFieldNamesAndRawValues) {
    const OptimizationTask task = macTasks().at(8);
    const QJsonObject json = toJson(task);
    EXPECT_EQ(json.keys(), (QStringList{"category", "deletesPermanently", "description", "id",
                                        "impactLevel", "includeInSmartScan", "pathsToMeasure",
                                        "requiresSudo", "shellScript", "title", "work"}));
    EXPECT_EQ(json["category"].toString(), "System Cleanup");
    EXPECT_EQ(json["impactLevel"].toString(), "High Impact");
    EXPECT_EQ(json["pathsToMeasure"].toArray().size(), 2);
    EXPECT_EQ(QUuid::fromString(json["id"].toString()), task.id);
}

} // namespace
