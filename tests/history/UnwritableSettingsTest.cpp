#include "services/Settings.h"
#include "tests/history/HistoryTestSupport.h"

#include <QTemporaryDir>
#include <gtest/gtest.h>

using namespace velmox;
using namespace velmox::test;

namespace {

constexpr QFileDevice::Permissions readOnly =
    QFileDevice::ReadOwner | QFileDevice::ExeOwner | QFileDevice::ReadUser | QFileDevice::ExeUser;
constexpr QFileDevice::Permissions writable =
    readOnly | QFileDevice::WriteOwner | QFileDevice::WriteUser;

// Runs as an ordinary account, so that permissions really refuse.
class UnwritableSettingsTest : public ::testing::Test {
protected:
    void allowWrites(const QString& path, bool allowed) {
        ASSERT_TRUE(QFile::setPermissions(path, allowed ? writable : readOnly));
    }
    QString notWritten() const {
        return "The settings file “" + settings.filePath() +
               "” could not be written; check that its folder exists and that you may write to "
               "it.";
    }

    QTemporaryDir folder;
    Settings settings{folder.filePath("Velmox.conf")};
};

} // namespace

TEST_F(UnwritableSettingsTest, AWriteThatFailsSaysSoAndChangesNothing) {
    ASSERT_TRUE(settings.setValue("appearance", "dark"));
    // A folder that takes no new files, then a file that cannot be replaced.
    for (const QString& path : {folder.path(), settings.filePath()}) {
        allowWrites(path, false);
        for (const Status& refused :
             {settings.setValue("appearance", "light"), settings.remove("appearance"),
              settings.setValue("language", "de")}) {
            ASSERT_FALSE(refused);
            EXPECT_EQ(refused.error(), notWritten());
        }
        EXPECT_EQ(settings.stringValue("appearance"), "dark");
        EXPECT_FALSE(settings.contains("language"));
        EXPECT_TRUE(settings.writeMissingTrueDefaults({"showMenuBarIcon"}).isEmpty());

        allowWrites(path, true);
        EXPECT_TRUE(settings.setValue("language", path));
        EXPECT_TRUE(settings.remove("language"));
    }
    EXPECT_EQ(readFile(settings.filePath()), "[General]\nappearance=dark\n");
}
