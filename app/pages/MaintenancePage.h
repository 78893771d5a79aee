#pragma once

#include "cleaning/OptimizationRegistry.h"

#include <QWidget>

namespace velmox {

class ActionHistoryStore;
class AppNavigationState;
class AppStatusCenter;
class OptimizationTaskRunner;
class ShellHelper;
class TaskListPanel;

// The Maintenance page: performance, maintenance and application tasks, and the way to the
// Power User page (activity log, automation).
class MaintenancePage : public QWidget {
    Q_OBJECT
public:
    static const QList<TaskCategory>& categories();

    MaintenancePage(ShellHelper& shell, ActionHistoryStore& history, AppStatusCenter& status,
                    AppNavigationState& navigation,
                    const OptimizationRegistry& registry = OptimizationRegistry(),
                    QWidget* parent = nullptr);

    TaskListPanel* tasks() const { return panel_; }
    OptimizationTaskRunner& runner() const { return *runner_; }

private:
    OptimizationTaskRunner* runner_;
    TaskListPanel* panel_;
};

} // namespace velmox
