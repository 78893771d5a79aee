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

// What a task deletes for good. Such a task asks first in the window and needs --yes on the
// command line, saying what goes and how much of it there is.
struct PermanentDeletion {
    // What goes where only part of the task's folders does ("system logs older than 7 days");
    // empty when every item inside itemFolders goes.
    QString what;
    // Where it goes from, finishing "This permanently deletes 12 items (1.1 MB) ...": "from the
    // Trash". May be empty.
    QString from;
    // The folders whose entries are the items that go, counted before asking.
    QStringList itemFolders;

    bool operator==(const PermanentDeletion&) const = default;
};

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
    // Listed, unticked, in the Smart Scan's preview although the scan leaves it out by default.
    bool offeredInSmartScan = false;
    TaskWork work = TaskWork::shellScript;
    // What the task takes from its folders goes to the Trash on the same disk, so it frees no
    // space until the Trash is emptied.
    bool movesToTrash = false;
    // Set for tasks that delete for good: nothing they delete can be put back or restored.
    std::optional<PermanentDeletion> deletion;

    bool deletesPermanently() const { return deletion.has_value(); }
    // High Impact, root and deleting tasks are confirmed by the user before they run.
    bool needsConfirmation() const {
        return requiresSudo || impactLevel == ImpactLevel::highImpact || deletesPermanently();
    }

    bool operator==(const OptimizationTask&) const = default;
};

// The fields under their own names, enumerations as their raw values.
QJsonObject toJson(const OptimizationTask& task);

} // namespace velmox
