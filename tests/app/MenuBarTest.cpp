#include "app/AppLanguageManager.h"
#include "app/Appearance.h"
#include "app/GeneralSettingsPane.h"
#include "app/MainWindow.h"
#include "app/SoftwareUpdater.h"
#include "tests/app/WindowFixture.h"

#include <QComboBox>
#include <QDir>
#include <QFile>
#include <QMenuBar>
#include <QThread>
#include <gtest/gtest.h>

using namespace velmox;

namespace {

using MenuBarTest = test::WindowFixture;

QMenu* menuNamed(const MainWindow& window, const QString& title) {
    for (QAction* action : window.menuBar()->actions())
        if (action->text().remove(u'&') == title)
            return action->menu();
    return nullptr;
}

QAction* actionNamed(const QMenu* menu, const QString& text) {
    for (QAction* action : menu->actions())
        if (action->text().remove(u'&') == text)
            return action;
    return nullptr;
}

QStringList checked(const QMenu* menu) {
    QStringList names;
    for (QAction* action : menu->actions())
        if (action->isChecked())
            names.append(action->text());
    return names;
}

void writeFile(const QString& path, const QByteArray& bytes, QFile::Permissions permissions = {}) {
    QFile file(path);
    ASSERT_TRUE(file.open(QIODevice::WriteOnly));
    file.write(bytes);
    file.close();
    if (permissions)
        file.setPermissions(permissions);
}

// The smallest file QTranslator accepts: the .qm magic number and no messages.
const QByteArray kEmptyTranslation = QByteArray::fromHex("3cb86418caef9c95cd211cbf60a1bddd");

} // namespace

TEST_F(MenuBarTest, TheAppearanceMenuTheSettingsPaneAndTheSettingStayInStep) {
    MainWindow window(services);
    GeneralSettingsPane pane(services, QStringLiteral("/usr/bin/velmox"));
    QMenu* appearance = menuNamed(window, QStringLiteral("Appearance"));
    ASSERT_NE(appearance, nullptr);
    EXPECT_EQ(checked(appearance), QStringList{QStringLiteral("Dark")});

    actionNamed(appearance, QStringLiteral("Light"))->trigger();
    EXPECT_EQ(services.settings().stringValue(kAppearanceKey), QStringLiteral("light"));
    EXPECT_EQ(pane.appearanceBox()->currentData().toString(), QStringLiteral("light"));
    EXPECT_EQ(checked(appearance), QStringList{QStringLiteral("Light")});

    pane.appearanceBox()->setCurrentIndex(pane.appearanceBox()->findData("dark"));
    EXPECT_EQ(checked(appearance), QStringList{QStringLiteral("Dark")});
    // A value written by hand that is not "light" reads as dark everywhere.
    EXPECT_TRUE(services.settings().setValue(kAppearanceKey, QStringLiteral("Sepia")));
    EXPECT_EQ(checked(appearance), QStringList{QStringLiteral("Dark")});
    EXPECT_EQ(pane.appearanceBox()->currentData().toString(), QStringLiteral("dark"));
}

TEST_F(MenuBarTest, TheLanguageChoiceIsExclusiveStoredAndSaidToApplyAtTheNextStart) {
    MainWindow window(services);
    QMenu* language = menuNamed(window, QStringLiteral("Language"));
    ASSERT_NE(language, nullptr);
    EXPECT_EQ(checked(language), QStringList{QStringLiteral("System Default")});
    ASSERT_NE(actionNamed(language, QStringLiteral("English")), nullptr);
    const QString before = language->actions().constLast()->text();

    actionNamed(language, QStringLiteral("English"))->trigger();
    EXPECT_EQ(services.settings().stringValue(AppLanguageManager::kLanguageKey),
              QStringLiteral("en"));
    EXPECT_EQ(checked(language), QStringList{QStringLiteral("English")});
    EXPECT_TRUE(services.languages().restartNeeded());
    EXPECT_NE(language->actions().constLast()->text(), before);
    EXPECT_TRUE(language->actions().constLast()->text().contains(QStringLiteral("starts again")));

    actionNamed(language, QStringLiteral("System Default"))->trigger();
    EXPECT_EQ(services.settings().stringValue(AppLanguageManager::kLanguageKey), QString());
    EXPECT_FALSE(services.languages().restartNeeded());
}

TEST_F(MenuBarTest, BundledTranslationsAreListedByNameAndLoadedAtStart) {
    const QString translations = folder.filePath(QStringLiteral("i18n"));
    ASSERT_TRUE(QDir().mkpath(translations));
    writeFile(translations + "/velmox_fr.qm", kEmptyTranslation);
    writeFile(translations + "/velmox_de.qm", kEmptyTranslation);
    writeFile(translations + "/velmox_pt_BR.qm", "not a translation");
    writeFile(translations + "/qtbase_de.qm", kEmptyTranslation); // not Velmox's own

    AppLanguageManager manager(services.settings(), translations);
    QStringList names;
    for (const InterfaceLanguage& language : manager.languages())
        names.append(language.name);
    EXPECT_EQ(names, (QStringList{"English", "Deutsch", "Français", "Português"}));

    manager.choose(QStringLiteral("de"));
    AppLanguageManager atNextStart(services.settings(), translations);
    EXPECT_TRUE(atNextStart.install().has_value());
    EXPECT_EQ(atNextStart.installed(), QStringLiteral("de"));

    // A damaged or vanished translation leaves Velmox in English with a sentence that says so.
    manager.choose(QStringLiteral("pt_BR"));
    AppLanguageManager damaged(services.settings(), translations);
    const Status loaded = damaged.install();
    ASSERT_FALSE(loaded.has_value());
    EXPECT_TRUE(loaded.error().contains(QStringLiteral("English"))) << loaded.error().toStdString();
    EXPECT_EQ(damaged.installed(), QStringLiteral("en"));

    manager.choose(QStringLiteral("it"));
    AppLanguageManager missing(services.settings(), translations);
    EXPECT_FALSE(missing.install().has_value());
    EXPECT_EQ(missing.installed(), QStringLiteral("en"));
}

TEST(SoftwareUpdaterTest, OpensTheFirstInstalledUpdaterOnItsUpdatesView) {
    QTemporaryDir first;
    QTemporaryDir second;
    const QString record = first.filePath(QStringLiteral("arguments"));
    // Not executable: not an updater that can be run.
    writeFile(first.filePath(QStringLiteral("gnome-software")), "#!/bin/sh\n");
    writeFile(second.filePath(QStringLiteral("plasma-discover")),
              QStringLiteral("#!/bin/sh\nprintf '%s\\n' \"$@\" > '%1.tmp' && mv '%1.tmp' '%1'\n")
                  .arg(record)
                  .toUtf8(),
              QFile::ReadOwner | QFile::WriteOwner | QFile::ExeOwner);

    const auto found = SoftwareUpdater::find({first.path(), second.path()});
    ASSERT_TRUE(found.has_value());
    EXPECT_EQ(found->program, second.filePath(QStringLiteral("plasma-discover")));

    ASSERT_TRUE(SoftwareUpdater::open({first.path(), second.path()}).has_value());
    for (int i = 0; i < 200 && !QFile::exists(record); ++i)
        QThread::msleep(20);
    QFile arguments(record);
    ASSERT_TRUE(arguments.open(QIODevice::ReadOnly)) << "the updater was not started";
    EXPECT_EQ(arguments.readAll(), QByteArray("--mode\nUpdate\n"));

    QTemporaryDir empty;
    const Status none = SoftwareUpdater::open({empty.path()});
    ASSERT_FALSE(none.has_value());
    EXPECT_EQ(none.error(), SoftwareUpdater::noUpdaterMessage());
}
