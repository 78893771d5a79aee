#include "app/pages/AutomationPage.h"

#include "AutomationTestSupport.h"
#include "automation/AutomationEngine.h"
#include "automation/AutomationNotifier.h"
#include "automation/AutomationStore.h"
#include "services/ActionHistoryStore.h"
#include "services/Settings.h"
#include "tests/support/ManualClock.h"

#include <QComboBox>
#include <QDoubleSpinBox>
#include <QLabel>
#include <QListWidget>
#include <QPushButton>
#include <QTemporaryDir>

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

TEST(AutomationRuleEditor, ThresholdAndHelpFollowTheConditionAndAMissingRoutineIsKept) {
    AutomationRuleEditor editor(memoryRule(), {{"c", "Evening", {"emptyTrash"}, {}}});
    EXPECT_FALSE(editor.thresholdField()->isHidden());
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

TEST(AutomationPage, ListsTheRulesAndRemovesTheChosenOne) {
    QTemporaryDir folder;
    ManualClock clock;
    Settings settings(folder.filePath("Velmox.conf"));
    ActionHistoryStore history(settings, clock);
    const QString path = folder.filePath("Automation Rules.json");
    AutomationStore store(path);
    RecordingPerformer performer;
    SystemAutomationEnvironment environment(
        {QDBusConnection(QStringLiteral("none")),
         &clock,
         "/",
         QStringLiteral(VELMOX_TEST_DATA "/automation/power/desktop"),
         {},
         {}});
    DesktopNotifier notifier(QDBusConnection(QStringLiteral("none")));
    AutomationEngine engine({settings, clock, history, performer, store, environment, notifier,
                             [] { return Result<bool>(true); }});
    AutomationRule wake;
    wake.id = "w";
    wake.name = "Morning";
    wake.condition = AutomationCondition::onWake;
    wake.actionId = "flushDNS";
    wake.enabled = false;
    ASSERT_TRUE(engine.setRules({memoryRule(), wake}));

    AutomationPage page(engine);
    ASSERT_EQ(page.rulesList()->count(), 2);
    EXPECT_EQ(page.rulesList()->item(0)->text(),
              "Busy: when memory pressure is above 90, run Missing routine (60 min between runs, "
              "only on AC power)");
    EXPECT_EQ(page.rulesList()->item(1)->text(),
              "Morning (off): when the computer wakes from sleep, run Flush DNS Cache (60 min "
              "between runs)");

    page.rulesList()->setCurrentRow(0);
    for (QPushButton* button : page.findChildren<QPushButton*>())
        if (button->text() == "Remove")
            button->click();
    ASSERT_EQ(page.rulesList()->count(), 1);
    EXPECT_EQ(AutomationStore(path).load().data.rules, QList<AutomationRule>{wake});
}

} // namespace
