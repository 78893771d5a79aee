#pragma once

#include "cleaning/OptimizationRegistry.h"

#include <QWidget>

namespace velmox {

class AppNavigationState;
class Clock;
class OptimizationTaskRunner;
class TaskListPanel;

// The Maintenance page: performance, maintenance and application tasks, and the way to the
// Power User page (activity log, automation).
class MaintenancePage : public QWidget {
    Q_OBJECT
public:
    static const QList<TaskCategory>& categories();

    // `runner` is the application's one task runner, shared with every other page.
    // `clock` paces the measuring of the cards and must outlive the page.
    MaintenancePage(OptimizationTaskRunner& runner, AppNavigationState& navigation, Clock& clock,
                    const OptimizationRegistry& registry = OptimizationRegistry(),
                    QWidget* parent = nullptr);

    TaskListPanel* tasks() const { return panel_; }

private:
    TaskListPanel* panel_ = nullptr;
};

} // namespace velmox
