// The automation pages on a real engine and store: editors, runs from the pages with their
// questions, the safety tab, the tray's quick buttons and the agent's settings pane.
#include "app/pages/AutomationPage.h"

#include "AutomationTestSupport.h"
#include "app/AutomationSettingsPane.h"
#include "app/StatusPopover.h"
#include "app/StatusReporter.h"
#include "app/pages/AutomationEditors.h"
#include "app/pages/AutomationSafetyTab.h"
#include "automation/AutomationEngine.h"
#include "automation/AutomationNotifier.h"
#include "automation/AutomationSchedule.h"
#include "automation/AutomationStore.h"
#include "automation/agent/LinuxMaintenanceAgent.h"
#include "services/ActionHistoryStore.h"
#include "services/AppNavigationState.h"
#include "services/AppStatusCenter.h"
#include "services/Settings.h"
#include "tests/support/ManualClock.h"

#include <QCheckBox>
#include <QComboBox>
#include <QDoubleSpinBox>
#include <QFile>
#include <QLabel>
#include <QLineEdit>
#include <QListWidget>
#include <QPushButton>
#include <QRadioButton>
#include <QTemporaryDir>
#include <QThreadPool>
#include <QTimeEdit>
#include <sys/stat.h>

using namespace velmox;
using namespace velmox::test;

namespace {

AutomationRule memoryRule() {
    AutomationRule rule;
    rule.id = "m";
    rule.name = "Busy";
    rule.condition = AutomationCondition::memoryAbovePercent;
    rule.threshold = 90;
    rule.actionId = "chain:gone";
    rule.onlyOnAC = true;
    return rule;
}

// A real engine on a store and settings in a temporary folder; tasks are recorded.
class PageWorld : public ::testing::Test {
protected:
    QTemporaryDir folder;
    ManualClock clock{QDateTime(QDate(2026, 5, 4), QTime(10, 0))};
    Settings settings{folder.filePath("Velmox.conf")};
    ActionHistoryStore history{settings, clock};
    QString path = folder.filePath("Automation Rules.json");
    AutomationStore store{path};
    RecordingPerformer performer;
    SystemAutomationEnvironment environment{
        {QDBusConnection(QStringLiteral("none")),
         &clock,
         "/",
         QStringLiteral(VELMOX_TEST_DATA "/automation/power/desktop"),
         {},
         {}}};
    DesktopNotifier notifier{QDBusConnection(QStringLiteral("none"))};
    AutomationEngine engine{{settings, clock, history, performer, store, environment, notifier,
                             [] { return Result<bool>(true); }}};
    AppNavigationState navigation;
    AppStatusCenter status{navigation, clock};
    QStringList asked; // the caution sentences the pages asked with
    bool answer = true;

    AutomationStoreData stored() { return AutomationStore(path).load().data; }
    void askHere(AutomationPage& page) {
        page.setConfirmHandler([this](const QString& caution) {
            asked << caution;
            return answer;
        });
    }
};

TEST(AutomationRuleEditor, ThresholdAndHelpFollowTheConditionAndAMissingRoutineIsKept) {
    AutomationRuleEditor editor(memoryRule(), {{"c", "Evening", {"emptyTrash"}, {}}});
    EXPECT_FALSE(editor.thresholdField()->isHidden());
    EXPECT_EQ(editor.thresholdField()->suffix(), " %");
    EXPECT_EQ(editor.helpLabel()->text(), helpText(AutomationCondition::memoryAbovePercent));
    EXPECT_EQ(editor.actionPicker()->currentText(), "Missing routine");
    EXPECT_EQ(editor.actionPicker()->findText("Routine: Evening"), 10);
    EXPECT_EQ(editor.rule(), memoryRule());

    editor.conditionPicker()->setCurrentIndex(4);
    EXPECT_EQ(editor.conditionPicker()->currentText(), "The computer wakes from sleep");
    EXPECT_TRUE(editor.thresholdField()->isHidden());
    EXPECT_TRUE(editor.helpLabel()->isHidden());
    const AutomationRule edited = editor.rule();
    EXPECT_EQ(edited.condition, AutomationCondition::onWake);
    EXPECT_EQ(edited.threshold, 0.0);
}

TEST_F(PageWorld, RulesAreListedAndRemoved) {
    AutomationRule wake;
    wake.id = "w";
    wake.name = "Morning";
    wake.condition = AutomationCondition::onWake;
    wake.actionId = "flushDNS";
    wake.enabled = false;
    ASSERT_TRUE(engine.setRules({memoryRule(), wake}));

    AutomationPage page(engine, settings);
    ASSERT_EQ(page.rulesList()->count(), 2);
    EXPECT_EQ(page.rulesList()->item(0)->text(),
              "Busy: when memory pressure is above 90, run Missing routine (60 min between runs, "
              "only on AC power)");
    EXPECT_EQ(page.rulesList()->item(1)->text(),
              "Morning (off): when the computer wakes from sleep, run Flush DNS Cache (60 min "
              "between runs)");

    page.rulesList()->setCurrentRow(0);
    for (QPushButton* button : page.rulesList()->parentWidget()->findChildren<QPushButton*>())
        if (button->text() == "Remove")
            button->click();
    EXPECT_EQ(stored().rules, QList<AutomationRule>{wake});
}

// A routine made in its editor: steps in order, Save only with a name and a step, the note
// for a deleting step, and a run from the page that asks first.
TEST_F(PageWorld, RoutineIsEditedSavedAndRunAfterAsking) {
    AutomationPage page(engine, settings);
    askHere(page);
    AutomationRoutineEditor* editor = page.editRoutine(-1);
    AutomationStepEditor* steps = editor->stepEditor();
    EXPECT_FALSE(steps->emptyLabel()->isHidden());
    editor->nameField()->setText("Evening");
    EXPECT_FALSE(editor->canSave());
    for (const char* id : {"emptyTrash", "cleanUserCaches", "flushDNS"}) {
        steps->taskPicker()->setCurrentIndex(steps->taskPicker()->findData(QString(id)));
        steps->addChosenTask();
    }
    steps->stepList()->setCurrentRow(1);
    steps->moveCurrent(-1);
    steps->moveCurrent(-1); // already first: stays
    steps->stepList()->setCurrentRow(2);
    steps->removeCurrent();
    EXPECT_EQ(steps->steps(), (QStringList{"cleanUserCaches", "emptyTrash"}));
    EXPECT_TRUE(steps->emptyLabel()->isHidden());
    EXPECT_FALSE(steps->destructiveLabel()->isHidden());
    EXPECT_TRUE(editor->canSave());
    editor->accept();

    ASSERT_EQ(stored().chains.size(), 1);
    const AutomationChain chain = stored().chains.first();
    EXPECT_EQ(chain.name, "Evening");
    EXPECT_EQ(chain.plan.kind, AutomationScheduleKind::off);
    EXPECT_EQ(page.routinesList()->item(0)->text(),
              "Evening: Clean User Caches, Empty Trash (Off)");

    answer = false;
    page.runRoutine(0);
    EXPECT_EQ(asked, QStringList{"“Evening” permanently deletes data."});
    answer = true;
    page.runRoutine(0);
    ASSERT_TRUE(waitUntil([&] { return page.reporter()->message().contains("Empty Trash: "); }));
    EXPECT_EQ(performer.taskIds(), (QStringList{"cleanUserCaches", "emptyTrash"}));
    EXPECT_TRUE(page.reporter()->isSuccess());

    // Dry run asks nothing: nothing is deleted.
    ASSERT_TRUE(settings.setValue(AutomationSettingsKeys::dryRun, true));
    EXPECT_FALSE(page.dryRunBanner()->isHidden());
    page.runRoutine(0);
    ASSERT_TRUE(waitUntil([&] { return performer.calls().size() == 4; }));
    EXPECT_EQ(asked.size(), 2);
    EXPECT_TRUE(performer.calls().last().dryRun);
}

// Moving a plan to a later time must not make the earlier run look overdue: the new time
// counts from the save.
TEST_F(PageWorld, ANewTimeOfAPlanIsNotDueAtOnce) {
    AutomationChain chain{"c", "Night", {"flushDNS"}, {AutomationScheduleKind::daily, 3, 0, 2, {}}};
    ASSERT_TRUE(engine.setChains({chain}));
    clock.advance(std::chrono::hours(25)); // the 03:00 slot has run since
    chain = engine.chains().first();
    chain.plan.lastRun = clock.now().addSecs(-7 * 3600);
    ASSERT_TRUE(engine.setChains({chain}));

    AutomationRoutineEditor editor(engine.chains().first());
    editor.planEditor()->timeField()->setTime(QTime(9, 0));
    ASSERT_TRUE(engine.setChains({editor.chain()}));
    EXPECT_FALSE(isDue(engine.chains().first().plan, clock.now()));
    clock.advance(std::chrono::hours(23));
    EXPECT_TRUE(isDue(engine.chains().first().plan, clock.now()));

    AutomationRoutineEditor unchanged(engine.chains().first());
    EXPECT_EQ(unchanged.chain(), engine.chains().first());
}

TEST_F(PageWorld, BuiltInProfilesComeFirstAndStay) {
    ASSERT_TRUE(engine.setCustomProfiles(
        {{"custom.1", "Tidy", "list.bullet", "Weekend tidy", {"emptyTrash"}, false}}));
    AutomationPage page(engine, settings);
    askHere(page);
    QListWidget* list = page.profilesList();
    ASSERT_EQ(list->count(), 5);
    EXPECT_TRUE(list->item(0)->text().startsWith("Work (built in)\n"));
    EXPECT_EQ(list->item(4)->text(),
              "Tidy\nWeekend tidy\nIncludes a step that permanently deletes data.");
    EXPECT_FALSE(list->item(1)->text().contains("permanently"));

    EXPECT_EQ(page.editProfile(0), nullptr);
    page.removeProfile(0);
    EXPECT_FALSE(page.reporter()->isSuccess());
    EXPECT_EQ(list->count(), 5);

    page.runProfile(1); // Gaming: purges memory and flushes DNS, both as administrator
    EXPECT_EQ(asked, QStringList{"“Gaming” needs administrator rights."});
    page.removeProfile(4);
    EXPECT_TRUE(stored().profiles.isEmpty());
}

TEST_F(PageWorld, CustomScheduleIsSavedAsEditedAndRunsByHand) {
    ASSERT_TRUE(engine.setChains({{"c", "Night", {"flushDNS"}, {}}}));
    CustomScheduleEditor editor(engine);
    editor.targetPicker()->setCurrentIndex(editor.targetPicker()->findData("chain:c"));
    editor.planEditor()->kindPicker()->setCurrentIndex(
        editor.planEditor()->kindPicker()->findData("weekly"));
    editor.idleSwitch()->setChecked(true);
    editor.enabledSwitch()->setChecked(true);

    const AutomationCustomSchedule saved = stored().customSchedule;
    EXPECT_TRUE(saved.enabled);
    EXPECT_EQ(saved.target, "chain:c");
    EXPECT_EQ(saved.plan.kind, AutomationScheduleKind::weekly);
    EXPECT_TRUE(saved.onlyWhenIdle);
    EXPECT_EQ(saved.plan.lastRun, clock.now());               // counts from now
    EXPECT_EQ(editor.planEditor()->kindPicker()->count(), 2); // never off

    int ran = 0;
    QStringList refused;
    QObject::connect(&editor, &CustomScheduleEditor::ranByHand, [&] { ++ran; });
    QObject::connect(&editor, &CustomScheduleEditor::saveFailed,
                     [&](const QString& message) { refused << message; });
    performer.hold("flushDNS");
    editor.runNowButton()->click();
    editor.runNowButton()->click();
    EXPECT_EQ(refused, QStringList{"The custom schedule is already running."});
    performer.release();
    ASSERT_TRUE(waitUntil([&] { return ran == 1; }));
}

TEST_F(PageWorld, SafetyTabWritesSwitchesAndProtectedLists) {
    AutomationSafetyTab tab(engine, settings, notifier);
    AutomationPage page(engine, settings);
    EXPECT_TRUE(tab.dryRunBanner()->isHidden());
    EXPECT_TRUE(tab.failureSwitch()->isChecked()); // warnings are on until turned off
    tab.dryRunSwitch()->click();
    EXPECT_TRUE(settings.boolValue(AutomationSettingsKeys::dryRun, false));
    EXPECT_FALSE(tab.dryRunBanner()->isHidden());
    EXPECT_FALSE(page.dryRunBanner()->isHidden());
    tab.failureSwitch()->click();
    EXPECT_FALSE(settings.boolValue(AutomationSettingsKeys::notifyFailure, true));

    tab.setFolderChooser([] { return QStringList{"/home/me/Projects/", "/home/me/Projects"}; });
    tab.addFolders();
    EXPECT_EQ(stored().protectedFolders, QStringList{"/home/me/Projects"});

    const auto writeEntry = [&](const QString& name, const QByteArray& text) {
        QFile file(folder.filePath(name));
        EXPECT_TRUE(file.open(QIODevice::WriteOnly));
        file.write(text);
        return file.fileName();
    };
    const QString app = writeEntry("org.example.Editor.desktop",
                                   "[Desktop Entry]\nName=Editor\nType = Application\n"
                                   "[Desktop Action new]\nType=Link\n");
    const QString link =
        writeEntry("example-link.desktop", "[Desktop Entry]\nType=Link\nURL=https://x\n");
    tab.setAppChooser([&] { return app; });
    tab.addApp();
    tab.addApp();
    EXPECT_EQ(stored().protectedBundleIDs, QStringList{"org.example.Editor"});
    // A pipe given an entry's name is refused at once rather than waited on.
    const QString pipe = folder.filePath("org.example.Pipe.desktop");
    ASSERT_EQ(::mkfifo(QFile::encodeName(pipe).constData(), 0600), 0);
    for (const QString& notAnApp : {link, pipe}) {
        tab.setAppChooser([&] { return notAnApp; });
        tab.addApp();
        EXPECT_EQ(tab.reporter()->message(), "Couldn't read an app ID from that app.");
    }

    tab.appsList()->setCurrentRow(0);
    tab.removeApp();
    tab.foldersList()->setCurrentRow(0);
    tab.removeFolder();
    EXPECT_TRUE(stored().protectedBundleIDs.isEmpty());
    EXPECT_TRUE(stored().protectedFolders.isEmpty());
}

TEST(AutomationSafetyTabNotifications, TestNotificationSaysWhetherAServerTookIt) {
    PrivateBus bus;
    ASSERT_FALSE(bus.address().isEmpty());
    QTemporaryDir folder;
    ManualClock clock;
    Settings settings(folder.filePath("Velmox.conf"));
    ActionHistoryStore history(settings, clock);
    AutomationStore store(folder.filePath("Automation Rules.json"));
    RecordingPerformer performer;
    SystemAutomationEnvironment environment(
        {QDBusConnection(QStringLiteral("none")), &clock, "/", folder.path(), {}, {}});
    DesktopNotifier notifier(bus.connect(QStringLiteral("tab")));
    AutomationEngine engine({settings, clock, history, performer, store, environment, notifier,
                             [] { return Result<bool>(true); }});
    AutomationSafetyTab tab(engine, settings, notifier);
    QStringList answered;
    QObject::connect(&tab, &AutomationSafetyTab::testNotificationAnswered,
                     [&](const QString& message) { answered << message; });

    tab.sendTestNotification();
    ASSERT_TRUE(waitUntil([&] { return answered.size() == 1; }));
    EXPECT_TRUE(answered.first().startsWith("Notifications are off for Velmox."));

    StandInServices services(bus);
    tab.sendTestNotification();
    ASSERT_TRUE(waitUntil([&] { return answered.size() == 2; }));
    EXPECT_EQ(answered.last(), "Notifications are allowed.");
    EXPECT_EQ(services.notifications.shown(),
              (QList<ShownNotification>{{"Velmox", "Power Users notifications are working."}}));
}

// The tray's quick buttons: a deleting or administrator task is asked about first (not in dry
// run); the end reaches the status line and the activity log.
TEST_F(PageWorld, QuickActionsAskThenReportToTheStatusLine) {
    StatusPopover popover(status);
    popover.setAutomation(&engine);
    popover.buildContent();
    EXPECT_EQ(popover.findChildren<QWidget*>("quickAction").size(), 3);
    popover.setConfirmHandler([this](const QString& caution) {
        asked << caution;
        return answer;
    });

    answer = false;
    popover.runQuickAction(QuickAction::emptyTrash);
    EXPECT_EQ(asked, QStringList{"“Empty Trash” permanently deletes data."});
    EXPECT_FALSE(status.message());

    answer = true;
    popover.runQuickAction(QuickAction::flushDNS);
    EXPECT_EQ(asked.last(), "“Flush DNS Cache” needs administrator rights.");
    EXPECT_TRUE(status.isActive());
    ASSERT_TRUE(waitUntil([&] { return !status.isActive(); }));
    EXPECT_EQ(status.message(), "Success: Done: flushDNS");
    EXPECT_EQ(history.entries().first().action, "Automation: Flush DNS Cache");

    ASSERT_TRUE(settings.setValue(AutomationSettingsKeys::dryRun, true));
    popover.runQuickAction(QuickAction::purgeRAM);
    EXPECT_EQ(asked.size(), 2);
    ASSERT_TRUE(waitUntil([&] { return performer.calls().size() == 2; }));
    EXPECT_TRUE(performer.calls().last().dryRun);
}

// The agent's pane in the test's home, which has no user service manager: the files are
// written, the failure is said in a sentence and the state is read back from the files.
TEST(AutomationSettingsPaneTest, InstallsUpdatesAndRemovesOffTheMainThread) {
    QThreadPool pool;
    AutomationSettingsPane pane(pool);
    int finished = 0;
    QObject::connect(&pane, &AutomationSettingsPane::finished, [&] { ++finished; });
    ASSERT_TRUE(waitUntil([&] { return finished == 1; }));
    EXPECT_EQ(pane.stateLabel()->text(), "The background agent is not installed.");

    pane.trashSwitch()->setChecked(true);
    pane.enableSwitch()->click();
    EXPECT_TRUE(pane.isBusy());
    ASSERT_TRUE(waitUntil([&] { return finished == 2; }));
    EXPECT_TRUE(pane.reporter()->message().startsWith("The background agent was written to "))
        << pane.reporter()->message().toStdString();
    EXPECT_FALSE(pane.reporter()->isSuccess());
    EXPECT_TRUE(pane.enableSwitch()->isChecked());
    EXPECT_TRUE(pane.stateLabel()->text().startsWith("Installed: runs daily. "));

    pane.weeklyButton()->setChecked(true);
    EXPECT_TRUE(pane.updateButton()->isEnabled());
    pane.updateButton()->click();
    ASSERT_TRUE(waitUntil([&] { return finished == 3; }));
    EXPECT_EQ(LinuxMaintenanceAgent::installed(),
              (MaintenanceAgentSettings{false, true, false, AgentInterval::weekly}));
    EXPECT_FALSE(pane.updateButton()->isEnabled());

    pane.enableSwitch()->click();
    ASSERT_TRUE(waitUntil([&] { return finished == 4; }));
    EXPECT_EQ(pane.reporter()->message(), "Background agent removed.");
    EXPECT_EQ(LinuxMaintenanceAgent::installed(), std::nullopt);
}

} // namespace
