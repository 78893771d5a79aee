#pragma once

#include "cleaning/OptimizationRegistry.h"

#include <QWidget>

class QLabel;
class QPushButton;

namespace velmox {

class AppNavigationState;
class Clock;
class OptimizationTaskRunner;
class Settings;
class TaskListPanel;

// The System Cleanup page: the cleanup and privacy tasks, and the Smart Scan, which previews
// the tasks it offers across the registry, runs those the user ticks and sums up what they did.
class CleanupPage : public QWidget {
    Q_OBJECT
public:
    static const QList<TaskCategory>& categories();

    // `runner` is the application's one task runner, shared with every other page.
    // `navigation` opens the activity log, `settings` keeps the Smart Scan's choices, `clock`
    // paces the measuring of the cards; all three must outlive the page.
    CleanupPage(OptimizationTaskRunner& runner, AppNavigationState& navigation, Settings& settings,
                Clock& clock, const OptimizationRegistry& registry = OptimizationRegistry(),
                QWidget* parent = nullptr);

    TaskListPanel* tasks() const { return panel_; }
    // The line above the tasks that says what can be put back, with its link to the log.
    QLabel* putBackNote() const { return putBackNote_; }
    bool startSmartScan();

private:
    Settings& settings_;
    OptimizationRegistry registry_;
    // Made in the order Tab visits them.
    QLabel* putBackNote_;
    QPushButton* smartScan_;
    TaskListPanel* panel_;
};

} // namespace velmox
