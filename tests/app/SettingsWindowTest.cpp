#include "app/SettingsWindow.h"

#include "app/GeneralSettingsPane.h"
#include "app/LaunchAtLogin.h"
#include "app/SettingsWindowPresenter.h"
#include "app/WeeklyAutoClean.h"
#include "tests/app/WindowFixture.h"

#include <QCheckBox>
#include <QComboBox>
#include <QSignalSpy>
#include <gtest/gtest.h>

using namespace velmox;

namespace {

struct SettingsWindowTest : test::WindowFixture {
    SettingsWindowPresenter presenter{services, "/usr/bin/velmox"};

    GeneralSettingsPane& general() {
        presenter.show();
        return *qobject_cast<GeneralSettingsPane*>(presenter.view()->pane("general"));
    }
};

} // namespace

TEST_F(SettingsWindowTest, TheWindowIsKeptButItsContentIsDroppedWhenItCloses) {
    presenter.show();
    QWidget* window = presenter.window();
    ASSERT_NE(window, nullptr);
    EXPECT_EQ(window->windowTitle(), "Velmox Settings");
    EXPECT_TRUE(window->isVisible());

    window->close();
    QCoreApplication::sendPostedEvents(nullptr, QEvent::DeferredDelete);
    EXPECT_EQ(presenter.view(), nullptr);

    presenter.show();
    EXPECT_EQ(presenter.window(), window);
    EXPECT_NE(presenter.view(), nullptr);
}

TEST_F(SettingsWindowTest, OpenSettingsSectionSelectsTheSection) {
    presenter.show();
    EXPECT_EQ(presenter.view()->currentSection(), "general");
    services.notifications().postOpenSettingsSection("access");
    EXPECT_EQ(presenter.view()->currentSection(), "access");
    presenter.show(QStringLiteral("general"));
    EXPECT_EQ(presenter.view()->currentSection(), "general");
    services.notifications().postOpenSettingsSection("no such section");
    EXPECT_EQ(presenter.view()->currentSection(), "general");
}

TEST_F(SettingsWindowTest, TheTrayIconSwitchWritesTheSettingAndPostsToggleMenuBarIcon) {
    QSignalSpy toggled(&services.notifications(), &AppNotifications::toggleMenuBarIcon);
    GeneralSettingsPane& pane = general();
    EXPECT_TRUE(pane.trayIconBox()->isChecked());
    pane.trayIconBox()->setChecked(false);
    EXPECT_FALSE(services.settings().boolValue("showMenuBarIcon", true));
    EXPECT_EQ(toggled.size(), 1);

    // A change made elsewhere shows in the box without posting again.
    EXPECT_TRUE(services.settings().setValue("showMenuBarIcon", true));
    EXPECT_TRUE(pane.trayIconBox()->isChecked());
    EXPECT_EQ(toggled.size(), 1);
}

TEST_F(SettingsWindowTest, LaunchAtLoginAndWeeklyCleanAreSaved) {
    GeneralSettingsPane& pane = general();
    pane.launchAtLoginBox()->setChecked(true);
    EXPECT_TRUE(LaunchAtLogin::isEnabled());
    EXPECT_TRUE(services.settings().boolValue(LaunchAtLogin::kSettingKey, false));
    pane.launchAtLoginBox()->setChecked(false);
    EXPECT_FALSE(LaunchAtLogin::isEnabled());

    pane.autoCleanBox()->setChecked(true);
    EXPECT_TRUE(services.settings().boolValue(WeeklyAutoClean::kEnabledKey, false));
}
