#include "cleaning/OptimizationRegistry.h"

namespace velmox {

OptimizationRegistry::System OptimizationRegistry::thisSystem() {
#ifdef Q_OS_MACOS
    return System::macOS;
#else
    return System::linuxDesktop;
#endif
}

OptimizationRegistry::OptimizationRegistry(TaskPlaces places, System system)
    : places_(std::move(places)), system_(system) {}

QList<OptimizationTask> OptimizationRegistry::allTasks() const {
    return system_ == System::macOS ? macTable(places_) : linuxTable(places_);
}

std::optional<OptimizationTask> OptimizationRegistry::task(const QString& title) const {
    for (const OptimizationTask& task : allTasks())
        if (task.title == title)
            return task;
    return std::nullopt;
}

} // namespace velmox
