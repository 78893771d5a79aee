#pragma once

#include "cleaning/OptimizationRegistry.h"

#include <QWidget>

class QPushButton;

namespace velmox {

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
    // `settings` keeps the Smart Scan's choices, `clock` paces the measuring of the cards; both
    // must outlive the page.
    CleanupPage(OptimizationTaskRunner& runner, Settings& settings, Clock& clock,
                const OptimizationRegistry& registry = OptimizationRegistry(),
                QWidget* parent = nullptr);

    TaskListPanel* tasks() const { return panel_; }
    bool startSmartScan();

private:
    Settings& settings_;
    OptimizationRegistry registry_;
    TaskListPanel* panel_;
    QPushButton* smartScan_;
};

} // namespace velmox
