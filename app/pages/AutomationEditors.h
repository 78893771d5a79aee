#pragma once

#include "automation/AutomationModel.h"

#include <QDialog>
#include <QWidget>

class QCheckBox;
class QComboBox;
class QFormLayout;
class QLabel;
class QLineEdit;
class QListWidget;
class QTimeEdit;

namespace velmox {

// The amber banner shown above automation's pages while dry run is on.
QLabel* makeDryRunBanner(QWidget* parent);
// A line in the warning colour, for notes such as the one on deleting steps.
QLabel* makeWarningNote(const QString& text, QWidget* parent);

// "If the computer was asleep at that time, it runs as soon as possible afterwards."
QLabel* makePlanNote(QWidget* parent);

// An ordered list of task ids: a task picker adds to the end, the chosen step moves up or
// down or goes. Shows "No steps yet. Add at least one." while empty and, when a step
// permanently deletes data, the note that says so.
class AutomationStepEditor : public QWidget {
    Q_OBJECT
public:
    explicit AutomationStepEditor(const QStringList& steps, QWidget* parent = nullptr);

    QStringList steps() const { return steps_; }
    QListWidget* stepList() const { return list_; }
    QComboBox* taskPicker() const { return picker_; }
    QLabel* emptyLabel() const { return empty_; }
    QLabel* destructiveLabel() const { return destructive_; }

    void addChosenTask();
    void removeCurrent();
    // Moves the current step by `offset` places (-1 up, +1 down), where there is room.
    void moveCurrent(int offset);

signals:
    void stepsChanged();

private:
    void showSteps(int current);

    QStringList steps_;
    QListWidget* list_;
    QComboBox* picker_;
    QLabel* empty_;
    QLabel* destructive_;
};

// A daily or weekly time, or off.
class AutomationPlanEditor : public QWidget {
    Q_OBJECT
public:
    // `allowOff`: routines may run by hand only; the custom schedule always has a time.
    AutomationPlanEditor(const AutomationSchedulePlan& plan, bool allowOff,
                         QWidget* parent = nullptr);

    // The plan as edited from `before`. Its lastRun stays only while the timing is unchanged:
    // a new time counts from the moment it is saved, so an earlier slot of it is not due.
    AutomationSchedulePlan edited(const AutomationSchedulePlan& before) const;
    // Shows `plan`.
    void setPlan(const AutomationSchedulePlan& plan);
    QComboBox* kindPicker() const { return kind_; }
    QTimeEdit* timeField() const { return time_; }
    QComboBox* weekdayPicker() const { return weekday_; }

private:
    void showKind();

    QComboBox* kind_;
    QTimeEdit* time_;
    QComboBox* weekday_;
};

// The frame of the routine and profile editors: a form that begins with the name, the steps
// editor (the subclass places it), and Save, enabled only with a name and at least one step.
class AutomationStepsDialog : public QDialog {
    Q_OBJECT
public:
    QLineEdit* nameField() const { return name_; }
    AutomationStepEditor* stepEditor() const { return steps_; }
    bool canSave() const;

protected:
    // `newTitle` is the window's title while the record has no name.
    AutomationStepsDialog(const QString& name, const QString& newTitle, const QString& placeholder,
                          const QStringList& steps, QWidget* parent);
    QFormLayout* form() const { return form_; }

private:
    QLineEdit* name_;
    AutomationStepEditor* steps_;
    QFormLayout* form_;
};

// Edits one routine: its name, steps and own plan.
class AutomationRoutineEditor : public AutomationStepsDialog {
    Q_OBJECT
public:
    explicit AutomationRoutineEditor(const AutomationChain& chain, QWidget* parent = nullptr);
    AutomationChain chain() const;

    AutomationPlanEditor* planEditor() const { return plan_; }

private:
    AutomationChain chain_;
    AutomationPlanEditor* plan_;
};

// Edits one of the user's profiles: name, one-line description and steps.
class AutomationProfileEditor : public AutomationStepsDialog {
    Q_OBJECT
public:
    explicit AutomationProfileEditor(const AutomationProfile& profile, QWidget* parent = nullptr);
    AutomationProfile profile() const;

private:
    AutomationProfile profile_;
    QLineEdit* blurb_;
};

} // namespace velmox
