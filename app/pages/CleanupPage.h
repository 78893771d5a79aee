#pragma once

#include "cleaning/OptimizationRegistry.h"

#include <QWidget>

class QPushButton;

namespace velmox {

class OptimizationTaskRunner;
class TaskListPanel;

// The System Cleanup page: the cleanup and privacy tasks, and the Smart Scan, which runs every
// task marked for it across the registry and sums up what it freed.
class CleanupPage : public QWidget {
    Q_OBJECT
public:
    static const QList<TaskCategory>& categories();

    // `runner` is the application's one task runner, shared with every other page.
    explicit CleanupPage(OptimizationTaskRunner& runner,
                         const OptimizationRegistry& registry = OptimizationRegistry(),
                         QWidget* parent = nullptr);

    TaskListPanel* tasks() const { return panel_; }
    bool startSmartScan();

private:
    OptimizationRegistry registry_;
    TaskListPanel* panel_;
    QPushButton* smartScan_;
};

} // namespace velmox
