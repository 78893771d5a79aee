// The unprivileged automation tasks on real files: caches to the freedesktop Trash, emptying
// every Trash of the user, and what each task says where its tool is missing.
#include "automation/AutomationEngine.h"
#include "platform/PlatformPaths.h"
#include "platform/Trash.h"
#include "tests/automation/PerformerWorld.h"

#include <gtest/gtest.h>
#include <sys/stat.h>
#include <unistd.h>

using namespace velmox;
using namespace velmox::test;

namespace {

QStringList namesIn(const QString& folder) {
    return QDir(folder).entryList(
        QDir::AllEntries | QDir::Hidden | QDir::System | QDir::NoDotAndDotDot, QDir::Name);
}

TEST(LinuxTaskPerformerTest, CachesGoToTheTrashRestorablyAndProtectedItemsStay) {
    PerformerWorld world;
    const QString caches = PlatformPaths::userCaches();
    for (const char* name :
         {"com.example.App/data", "com.example.App.helper/data", "com.example.Apple/data",
          "keep/inner/data", "name with spaces", ".hidden"})
        writeFile(caches + "/" + name, QByteArray(5000, 'c'));
    // A name the Trash holds already.
    writeFile(caches + "/taken", "old");
    ASSERT_TRUE(Trash::moveToTrash(caches + "/taken"));
    writeFile(caches + "/taken", "new");

    LinuxAutomationTaskPerformer performer(world.privilege.keychain, world.privilege.shell,
                                           world.keepAwake, world.options);
    performer.setProtection({caches + "/keep/inner/", ""}, {"com.example.App", " "});

    const AutomationTaskOutcome dry = performer.perform("cleanUserCaches", true);
    EXPECT_TRUE(dry.success);
    EXPECT_TRUE(dry.message.startsWith("Dry run: would move 4 items ("))
        << dry.message.toStdString();
    EXPECT_TRUE(dry.message.endsWith(") from ~/.cache to the Trash. 3 protected items skipped. "
                                     "Nothing was moved."))
        << dry.message.toStdString();
    EXPECT_EQ(namesIn(caches).size(), 7);

    const AutomationTaskOutcome run = performer.perform("cleanUserCaches", false);
    EXPECT_TRUE(run.success);
    EXPECT_TRUE(run.message.startsWith("Moved 4 items (")) << run.message.toStdString();
    EXPECT_TRUE(shownMessage(run.message)
                    .endsWith(" 4 can be put back from the Activity tab. 3 protected items "
                              "skipped."))
        << run.message.toStdString();
    EXPECT_EQ(namesIn(caches), QStringList({"com.example.App", "com.example.App.helper", "keep"}));

    ActionHistoryEntry entry;
    entry.detail = run.message;
    EXPECT_EQ(ActionHistoryStore::undoItems(entry),
              (QList<ActionHistoryStore::UndoPair>{{".hidden", ".hidden"},
                                                   {"com.example.Apple", "com.example.Apple"},
                                                   {"name with spaces", "name with spaces"},
                                                   {"taken", "taken 2"}}));
    EXPECT_EQ(readFile(Trash::filesFolder() + "/taken 2"), "new");
    EXPECT_TRUE(readFile(Trash::infoFolder() + "/name with spaces.trashinfo")
                    .contains("\nPath=" + QFile::encodeName(caches).toPercentEncoding("/") +
                              "/name%20with%20spaces\n"));

    EXPECT_EQ(performer.perform("cleanUserCaches", false).message,
              "Nothing to clean in ~/.cache. 3 protected items skipped.");
    QDir(caches).removeRecursively();
    EXPECT_EQ(performer.perform("cleanUserCaches", false),
              (AutomationTaskOutcome{true, "Nothing to clean in ~/.cache."}));
}

TEST(LinuxTaskPerformerTest, EmptyTrashEmptiesEveryTrashOfTheUserAndNothingElse) {
    PerformerWorld world;
    QTemporaryDir volumes;
    const QString uid = QString::number(::getuid());
    const QString volume = volumes.path() + "/usb stick";
    const QString shared = volumes.path() + "/shared";
    const QString hostile = volumes.path() + "/hostile";
    for (const QString& trash : {Trash::filesFolder(), volume + "/.Trash-" + uid + "/files",
                                 shared + "/.Trash/" + uid + "/files"})
        writeFile(trash + "/item", QByteArray(8000, 't'));
    writeFile(volume + "/.Trash-" + uid + "/info/item.trashinfo", "[Trash Info]\n");
    writeFile(volume + "/.Trash-" + uid + "/directorysizes", "8000 0 item\n");
    ::chmod(QFile::encodeName(shared + "/.Trash").constData(), 01777);
    // A Trash that is a link elsewhere is nobody's Trash.
    writeFile(volumes.path() + "/elsewhere/files/precious", "keep");
    QDir().mkpath(hostile);
    QFile::link(volumes.path() + "/elsewhere", hostile + "/.Trash-" + uid);
    QByteArray mounts;
    for (const QString& top : {volume, shared, hostile})
        mounts += "40 29 8:3 / " + top.toUtf8().replace(' ', "\\040") + " rw - ext4 /dev/x rw\n";
    world.mountRoot("ext4", "/dev/x", mounts);

    const AutomationTaskOutcome dry = world.perform("emptyTrash", true);
    EXPECT_TRUE(dry.message.startsWith("Dry run: would permanently delete 3 items ("))
        << dry.message.toStdString();
    EXPECT_TRUE(dry.message.endsWith(") from the Trash. Nothing was deleted."))
        << dry.message.toStdString();
    EXPECT_EQ(namesIn(Trash::filesFolder()), QStringList{"item"});

    const AutomationTaskOutcome run = world.perform("emptyTrash");
    EXPECT_TRUE(run.success);
    EXPECT_TRUE(run.message.startsWith("Permanently deleted 3 items ("))
        << run.message.toStdString();
    for (const QString& folder :
         {Trash::filesFolder(), volume + "/.Trash-" + uid + "/files",
          volume + "/.Trash-" + uid + "/info", shared + "/.Trash/" + uid + "/files"})
        EXPECT_TRUE(namesIn(folder).isEmpty()) << folder.toStdString();
    EXPECT_FALSE(QFileInfo::exists(volume + "/.Trash-" + uid + "/directorysizes"));
    EXPECT_EQ(readFile(volumes.path() + "/elsewhere/files/precious"), "keep");
    EXPECT_EQ(world.perform("emptyTrash"),
              (AutomationTaskOutcome{true, "The Trash is already empty."}));
}

// Every task answers in a whole sentence on a system that has none of its tools, and a dry
// run says that it is one even when it stops before any work.
TEST(LinuxTaskPerformerTest, MissingToolsAndUnsupportedSystemsAreExplained) {
    PerformerWorld world;
    QTemporaryDir noTools;
    world.options.toolFolders = {noTools.path()};
    world.options.rootFreeBytes = [] { return std::optional<qint64>(12'000'000'000); };
    world.mountRoot("ext4", "/dev/vda2");

    for (const QString task : {"flushDNS", "reindexSpotlight", "verifyDisk", "thinSnapshots",
                               "rebuildLaunchServices", "noSuchTask"}) {
        const AutomationTaskOutcome outcome = world.perform(task);
        EXPECT_TRUE(outcome.message.front().isUpper() && outcome.message.endsWith('.'))
            << outcome.message.toStdString();
        EXPECT_EQ(world.perform(task, true),
                  (AutomationTaskOutcome{outcome.success, "Dry run: " + outcome.message}));
    }
    EXPECT_EQ(world.perform("verifyDisk"),
              (AutomationTaskOutcome{false, "The tune2fs tool (e2fsprogs) isn't installed, so the "
                                            "startup volume (ext4) can't be checked."}));
    EXPECT_TRUE(world.perform("thinSnapshots")
                    .message.startsWith("No snapshot tool (snapper or Timeshift) is installed"));
    world.mountRoot("overlay", "overlay");
    EXPECT_EQ(world.perform("verifyDisk"),
              (AutomationTaskOutcome{false, "The startup volume's file system (overlay) has no "
                                            "check that is safe while it is mounted."}));
    world.options.rootFreeBytes = [] { return std::optional<qint64>(30'000'000'000); };
    EXPECT_EQ(world.perform("thinSnapshots", true).message,
              "Dry run: Enough free space (30.0 GB). No snapshots were thinned.");
    world.options.rootFreeBytes = [] { return std::optional<qint64>(); };
    EXPECT_EQ(world.perform("thinSnapshots").message,
              "Couldn't read the free space of the startup volume.");
}

TEST(LinuxTaskPerformerTest, DesktopDatabasesOfTheUserAreRebuilt) {
    PerformerWorld world;
    if (!QFileInfo("/usr/bin/update-desktop-database").isExecutable() ||
        !QFileInfo("/usr/bin/update-mime-database").isExecutable())
        GTEST_SKIP() << "desktop-file-utils or shared-mime-info is not installed";
    const QString data = PlatformPaths::appDataParent();
    EXPECT_EQ(world.perform("rebuildLaunchServices").message,
              "You have no desktop entries or MIME types of your own, so there was nothing to "
              "rebuild.");
    writeFile(data + "/applications/viewer.desktop",
              "[Desktop Entry]\nType=Application\nName=Viewer\nExec=/bin/true %f\n"
              "MimeType=application/x-velmox-test;\n");
    writeFile(data + "/mime/packages/velmox-test.xml",
              "<?xml version=\"1.0\"?>\n<mime-info "
              "xmlns=\"http://www.freedesktop.org/standards/shared-mime-info\">\n"
              "<mime-type type=\"application/x-velmox-test\"><glob pattern=\"*.vtest\"/>"
              "</mime-type>\n</mime-info>\n");

    const AutomationTaskOutcome run = world.perform("rebuildLaunchServices");
    EXPECT_TRUE(run.success) << run.message.toStdString();
    EXPECT_TRUE(run.message.startsWith("Desktop and MIME databases rebuilt ("))
        << run.message.toStdString();
    EXPECT_TRUE(readFile(data + "/applications/mimeinfo.cache")
                    .contains("application/x-velmox-test=viewer.desktop"));
    EXPECT_TRUE(readFile(data + "/mime/globs2").contains("application/x-velmox-test:*.vtest"));
}

// Tracker and Baloo are not installed here: scripts in their place record how they are called.
TEST(LinuxTaskPerformerTest, DesktopSearchIsReindexedAsTheUser) {
    PerformerWorld world;
    QTemporaryDir tools;
    world.options.toolFolders = {tools.path()};
    const QString calls = tools.filePath("calls");
    const auto install = [&](const QString& name, const QByteArray& body) {
        writeFile(tools.filePath(name),
                  "#!/bin/sh\necho \"$(id -u) $0 $*\" >> '" + calls.toUtf8() + "'\n" + body);
        QFile(tools.filePath(name)).setPermissions(QFile::ReadOwner | QFile::ExeOwner);
    };
    install("tracker3", "exit 0\n");
    install("balooctl", "exit 0\n");

    EXPECT_EQ(world.perform("reindexSpotlight"),
              (AutomationTaskOutcome{true, "Tracker is reindexing your home folder. Baloo is "
                                           "indexing the files it was missing."}));
    const QString uid = QString::number(::getuid());
    EXPECT_EQ(readFile(calls),
              (uid + " " + tools.filePath("tracker3") + " reset --file " + QDir::homePath() + "\n" +
               uid + " " + tools.filePath("balooctl") + " check\n")
                  .toUtf8());

    install("balooctl", "echo 'Baloo is disabled.' >&2\nexit 1\n");
    EXPECT_EQ(world.perform("reindexSpotlight"),
              (AutomationTaskOutcome{false, "Desktop search reindex failed: balooctl: Baloo is "
                                            "disabled."}));
}

} // namespace
