#pragma once

#include "cleaning/OptimizationRegistry.h"

#include <QWidget>

class QPushButton;

namespace velmox {

class ActionHistoryStore;
class AppStatusCenter;
class OptimizationTaskRunner;
class ShellHelper;
class TaskListPanel;

// The System Cleanup page: the cleanup and privacy tasks, and the Smart Scan, which runs every
// task marked for it across the registry and sums up what it freed.
class CleanupPage : public QWidget {
    Q_OBJECT
public:
    static const QList<TaskCategory>& categories();

    CleanupPage(ShellHelper& shell, ActionHistoryStore& history, AppStatusCenter& status,
                const OptimizationRegistry& registry = OptimizationRegistry(),
                QWidget* parent = nullptr);

    TaskListPanel* tasks() const { return panel_; }
    OptimizationTaskRunner& runner() const { return *runner_; }
    bool startSmartScan();

private:
    OptimizationRegistry registry_;
    OptimizationTaskRunner* runner_;
    TaskListPanel* panel_;
    QPushButton* smartScan_;
};

} // namespace velmox
