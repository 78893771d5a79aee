#include "services/Settings.h"

#include <QTemporaryDir>
#include <gtest/gtest.h>

using namespace velmox;

TEST(Settings, MissingTrueDefaultsAreWrittenOnceAndSurviveAReopen) {
    QTemporaryDir dir;
    const QString file = dir.filePath("Velmox.conf");
    {
        Settings settings(file);
        EXPECT_TRUE(settings.setValue("showMenuBarIcon", false));
        EXPECT_EQ(settings.writeMissingTrueDefaults({"showMenuBarIcon", "diskHealthNotify"}),
                  QStringList{"diskHealthNotify"});
    }
    Settings reopened(file);
    EXPECT_FALSE(reopened.boolValue("showMenuBarIcon", true));
    EXPECT_TRUE(reopened.boolValue("diskHealthNotify", false));
    EXPECT_TRUE(reopened.writeMissingTrueDefaults({"showMenuBarIcon"}).isEmpty());
}

TEST(Settings, TheDefaultFileIsUnderTheXdgConfigFolder) {
    Settings settings;
    EXPECT_EQ(settings.filePath(), qEnvironmentVariable("XDG_CONFIG_HOME") + "/Velmox/Velmox.conf");
}
