#include "app/StartupMigration.h"

#include "platform/PlatformPaths.h"
#include "services/Settings.h"
#include "tests/support/TestFiles.h"

#include <QSettings>
#include <QTemporaryDir>
#include <gtest/gtest.h>

using namespace velmox;
using namespace velmox::test;

namespace {

struct StartupMigrationTest : ::testing::Test {
    QTemporaryDir root;
    QString parent = root.path();
    QString velmox = parent + "/Velmox";
};

} // namespace

TEST_F(StartupMigrationTest, LegacyFoldersMergeInOrderWithoutReplacingAnything) {
    writeFile(velmox + "/Catalogs/home.catalog", "current");
    writeFile(parent + "/Warrantis/Catalogs/home.catalog", "older");
    writeFile(parent + "/Warrantis/Catalogs/volume.catalog", "volume");
    writeFile(parent + "/Warrantis/Automation Rules.json", "rules");
    writeFile(parent + "/BriskTide/Automation Rules.json", "even older rules");
    writeFile(parent + "/Tideworks/.hidden", "hidden");
    writeFile(parent + "/Unrelated/keep", "keep");

    StartupMigration::migrateFolders(parent);

    EXPECT_EQ(readFile(velmox + "/Catalogs/home.catalog"), "current");
    EXPECT_EQ(readFile(velmox + "/Catalogs/volume.catalog"), "volume");
    EXPECT_EQ(readFile(velmox + "/Automation Rules.json"), "rules");
    EXPECT_EQ(readFile(velmox + "/.hidden"), "hidden");
    // What could not move stays where it was, and so does its folder.
    EXPECT_EQ(readFile(parent + "/Warrantis/Catalogs/home.catalog"), "older");
    EXPECT_EQ(readFile(parent + "/BriskTide/Automation Rules.json"), "even older rules");
    EXPECT_FALSE(QFileInfo::exists(parent + "/Tideworks"));
    EXPECT_TRUE(QFileInfo::exists(parent + "/Unrelated/keep"));
}

TEST_F(StartupMigrationTest, ALegacyNameThatIsAFileOrALinkIsLeftAlone) {
    writeFile(parent + "/Warrantis", "a file, not a folder");
    writeFile(parent + "/elsewhere/data", "data");
    ASSERT_TRUE(QFile::link(parent + "/elsewhere", parent + "/BriskTide"));

    StartupMigration::migrateFolders(parent);

    EXPECT_EQ(readFile(parent + "/Warrantis"), "a file, not a folder");
    EXPECT_TRUE(QFileInfo::exists(parent + "/elsewhere/data"));
    EXPECT_FALSE(QFileInfo::exists(velmox + "/data"));
}

TEST_F(StartupMigrationTest, LegacyDefaultsAreCopiedOnceAndNeverReplaceCurrentValues) {
    const QString legacyFile = parent + "/legacy.conf";
    {
        QSettings legacy(legacyFile, QSettings::IniFormat);
        legacy.setValue("appAppearance", "light");
        legacy.setValue("autoCleanEnabled", true);
        legacy.setValue("showMenuBarIcon", true);
    }
    Settings settings(parent + "/Velmox.conf");
    EXPECT_TRUE(settings.setValue("showMenuBarIcon", false));

    StartupMigration::migrateDefaults(settings, legacyFile);
    EXPECT_EQ(settings.stringValue("appAppearance"), "light");
    EXPECT_TRUE(settings.boolValue("autoCleanEnabled", false));
    EXPECT_FALSE(settings.boolValue("showMenuBarIcon", true));
    EXPECT_TRUE(settings.boolValue(StartupMigration::kDoneKey, false));

    // Once done, later changes of the old domain are not read again.
    EXPECT_TRUE(settings.setValue("appAppearance", "dark"));
    StartupMigration::migrateDefaults(settings, legacyFile);
    EXPECT_EQ(settings.stringValue("appAppearance"), "dark");
}

TEST_F(StartupMigrationTest, NothingMigratesAsRootAndAMissingLegacyDomainStillCountsAsDone) {
    Settings settings(parent + "/Velmox.conf");
    EXPECT_FALSE(StartupMigration::run(settings, true));
    EXPECT_FALSE(settings.contains(StartupMigration::kDoneKey));

    // The real places of this (temporary) home: no legacy file exists there.
    EXPECT_TRUE(StartupMigration::run(settings, false));
    EXPECT_TRUE(settings.boolValue(StartupMigration::kDoneKey, false));
    EXPECT_EQ(QFileInfo(StartupMigration::legacyDefaultsFile()).absolutePath(),
              QFileInfo(QFileInfo(PlatformPaths::settingsFile()).absolutePath()).absolutePath());
}
