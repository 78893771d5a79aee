#pragma once

#include "automation/AutomationEngine.h"
#include "automation/AutomationModel.h"

#include <QDialog>
#include <QWidget>
#include <functional>

class QCheckBox;
class QComboBox;
class QDoubleSpinBox;
class QLabel;
class QLineEdit;
class QListWidget;
class QPushButton;
class QSpinBox;
class QTabWidget;

namespace velmox {

class AppStatusCenter;
class AutomationPlanEditor;
class AutomationProfileEditor;
class AutomationRoutineEditor;
class Settings;
class StatusReporter;

// Edits one rule: its name, condition with threshold and help text, action, cooldown and the
// mains-power switch.
class AutomationRuleEditor : public QDialog {
    Q_OBJECT
public:
    AutomationRuleEditor(const AutomationRule& rule, const QList<AutomationChain>& chains,
                         QWidget* parent = nullptr);
    AutomationRule rule() const;

    QComboBox* conditionPicker() const { return condition_; }
    QDoubleSpinBox* thresholdField() const { return threshold_; }
    QLabel* helpLabel() const { return help_; }
    QComboBox* actionPicker() const { return action_; }

private:
    void showCondition();

    AutomationRule rule_;
    QLineEdit* name_;
    QCheckBox* enabled_;
    QComboBox* condition_;
    QDoubleSpinBox* threshold_;
    QLabel* help_;
    QComboBox* action_;
    QSpinBox* cooldown_;
    QCheckBox* onlyOnAC_;
};

// The custom schedule: on or off, its time, what it runs and when it may run. Every change is
// saved at once; "Run Now" runs its target by hand.
class CustomScheduleEditor : public QWidget {
    Q_OBJECT
public:
    explicit CustomScheduleEditor(AutomationEngine& engine, QWidget* parent = nullptr);

    QCheckBox* enabledSwitch() const { return enabled_; }
    AutomationPlanEditor* planEditor() const { return plan_; }
    QComboBox* targetPicker() const { return target_; }
    QCheckBox* idleSwitch() const { return idle_; }
    QCheckBox* acSwitch() const { return ac_; }
    QPushButton* runNowButton() const { return runNow_; }
    // The schedule as the fields show it.
    AutomationCustomSchedule edited() const;

signals:
    // Saving failed (a whole sentence), or a run by hand ended.
    void saveFailed(const QString& message);
    void ranByHand(const AutomationRunResult& result);

private:
    void show();
    void save();

    AutomationEngine& engine_;
    QCheckBox* enabled_;
    AutomationPlanEditor* plan_;
    QComboBox* target_;
    QCheckBox* idle_;
    QCheckBox* ac_;
    QPushButton* runNow_;
    bool showing_ = false;
};

// The Power User page's Automation tab: rules, routines, profiles and the custom schedule,
// each in a section of its own, with the dry-run banner above them while dry run is on.
// Routines and profiles run from here ask first when a step deletes data for good or needs
// administrator rights; results go to the inline status text and, when given, the status
// line.
class AutomationPage : public QWidget {
    Q_OBJECT
public:
    // Asked with the caution sentence before a run that calls for it; true runs it.
    using Confirm = std::function<bool(const QString& caution)>;

    AutomationPage(AutomationEngine& engine, Settings& settings, AppStatusCenter* status = nullptr,
                   QWidget* parent = nullptr);

    QTabWidget* sections() const { return sections_; }
    QListWidget* rulesList() const { return rules_; }
    QListWidget* routinesList() const { return routines_; }
    QListWidget* profilesList() const { return profiles_; }
    QLabel* dryRunBanner() const { return banner_; }
    StatusReporter* reporter() const { return reporter_; }
    void setConfirmHandler(Confirm confirm) { confirm_ = std::move(confirm); }

    // The line a rule reads as in the list.
    static QString ruleLine(const AutomationRule& rule, const QList<AutomationChain>& chains);
    // The line a routine reads as in the list: name, steps and plan.
    static QString routineLine(const AutomationChain& chain);

    // Runs the routine or profile of the chosen row (after asking, where that is needed).
    void runRoutine(int row);
    void runProfile(int row);
    // Opens the editor of the chosen row; -1 makes a new one. The editor is returned so that
    // a caller can fill it in; the page stores what it saves.
    AutomationRoutineEditor* editRoutine(int row);
    AutomationProfileEditor* editProfile(int row);
    void removeRoutine(int row);
    void removeProfile(int row);

    // The custom schedule section.
    CustomScheduleEditor* scheduleEditor() const { return schedule_; }

private:
    QWidget* makeRules();
    QWidget* makeRoutines();
    QWidget* makeProfiles();
    void showRules();
    void showRoutines();
    void showProfiles();
    void editRule(int row); // -1: a new rule
    void removeRule();
    void showSaved(const Status& saved);
    void startRun(const QString& title, const QStringList& steps,
                  const std::function<void(AutomationEngine::Completion)>& run);
    void showDryRun();

    AutomationEngine& engine_;
    Settings& settings_;
    AppStatusCenter* status_;
    Confirm confirm_;
    QLabel* banner_;
    QTabWidget* sections_;
    QListWidget* rules_;
    QListWidget* routines_;
    QListWidget* profiles_;
    CustomScheduleEditor* schedule_;
    StatusReporter* reporter_;
};

} // namespace velmox
