#pragma once

#include <QJsonObject>
#include <QList>
#include <QString>
#include <QStringList>
#include <QUuid>
#include <optional>

namespace velmox {

enum class TaskCategory {
    systemCleanup,
    privacySecurity,
    performanceSuite,
    network,
    maintenance,
    appManagement,
};

enum class ImpactLevel { safe, moderate, highImpact };

// What carries a task out: its shell script, or the application itself.
enum class TaskWork {
    shellScript,
    // Every item directly inside the folders of pathsToMeasure goes to the Trash, one by one.
    moveToTrash,
    // The apps whose windows no longer answer the desktop's ping are ended.
    endHungProcesses,
};

const QList<TaskCategory>& allTaskCategories();
QString rawValue(TaskCategory category);
QString rawValue(ImpactLevel level);
QString rawValue(TaskWork work);
std::optional<TaskCategory> taskCategoryFromRaw(const QString& raw);
std::optional<ImpactLevel> impactLevelFromRaw(const QString& raw);

// One one-click maintenance task of the registry.
struct OptimizationTask {
    QUuid id;
    QString title;
    QString description;
    TaskCategory category = TaskCategory::systemCleanup;
    // Run by /bin/zsh -c, or as root by /bin/sh -c; empty when the application does the work.
    QString shellScript;
    bool requiresSudo = false;
    ImpactLevel impactLevel = ImpactLevel::safe;
    // The folders whose space the task works on; empty for tasks that free no disk space.
    QStringList pathsToMeasure;
    bool includeInSmartScan = false;
    TaskWork work = TaskWork::shellScript;

    // High Impact and root tasks are confirmed by the user before they run.
    bool needsConfirmation() const {
        return requiresSudo || impactLevel == ImpactLevel::highImpact;
    }

    bool operator==(const OptimizationTask&) const = default;
};

// The fields under their own names, enumerations as their raw values.
QJsonObject toJson(const OptimizationTask& task);

} // namespace velmox
