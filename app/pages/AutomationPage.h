#pragma once

#include "automation/AutomationModel.h"

#include <QDialog>
#include <QWidget>

class QCheckBox;
class QComboBox;
class QDoubleSpinBox;
class QLabel;
class QLineEdit;
class QListWidget;
class QSpinBox;

namespace velmox {

class AutomationEngine;

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

// The rules list of the Power Users page's Automation tab.
class AutomationPage : public QWidget {
    Q_OBJECT
public:
    explicit AutomationPage(AutomationEngine& engine, QWidget* parent = nullptr);

    QListWidget* rulesList() const { return rules_; }
    // The line a rule reads as in the list.
    static QString ruleLine(const AutomationRule& rule, const QList<AutomationChain>& chains);

private:
    void showRules();
    void editRule(int row); // -1: a new rule
    void removeRule();
    void showSaved(const QString& failure);

    AutomationEngine& engine_;
    QListWidget* rules_;
    QLabel* error_;
};

} // namespace velmox
