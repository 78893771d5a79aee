#pragma once

#include "cleaning/OptimizationTask.h"
#include "cleaning/TaskPlaces.h"

#include <QList>
#include <optional>

namespace velmox {

// The fixed catalogue of one-click maintenance tasks that the cleaning pages, the smart scan,
// the command palette and automation draw on. There is one table per system; the one of the
// system Velmox runs on is the default.
class OptimizationRegistry {
public:
    enum class System { macOS, linuxDesktop };
    static System thisSystem();

    explicit OptimizationRegistry(TaskPlaces places = TaskPlaces::current(),
                                  System system = thisSystem());

    // Built afresh on every call, each task with a new id.
    QList<OptimizationTask> allTasks() const;
    // The first task with this title.
    std::optional<OptimizationTask> task(const QString& title) const;
    // A short name of the task that never changes ("user-caches"), for scripts and the command
    // line; the same on every system where the job is the same. Empty for a title of no table.
    static QString key(const OptimizationTask& task);

    const TaskPlaces& places() const { return places_; }

    static QList<OptimizationTask> macTable(const TaskPlaces& places);
    static QList<OptimizationTask> linuxTable(const TaskPlaces& places);

private:
    TaskPlaces places_;
    System system_;
};

} // namespace velmox
