#pragma once

#include "cleaning/OptimizationTask.h"

namespace velmox {

// One row of a task table, with a fresh id.
inline OptimizationTask taskRow(QString title, QString description, TaskCategory category,
                                QString script, bool requiresSudo, ImpactLevel impact,
                                QStringList pathsToMeasure, bool includeInSmartScan,
                                TaskWork work = TaskWork::shellScript) {
    return {QUuid::createUuid(),
            std::move(title),
            std::move(description),
            category,
            std::move(script),
            requiresSudo,
            impact,
            std::move(pathsToMeasure),
            includeInSmartScan,
            false,
            work,
            work == TaskWork::moveToTrash,
            std::nullopt};
}

// `task`, marked as moving to the Trash by its script.
inline OptimizationTask trashing(OptimizationTask task) {
    task.movesToTrash = true;
    return task;
}

// `task`, marked as deleting for good what `deletion` says.
inline OptimizationTask deleting(OptimizationTask task, PermanentDeletion deletion) {
    task.deletion = std::move(deletion);
    return task;
}

} // namespace velmox
