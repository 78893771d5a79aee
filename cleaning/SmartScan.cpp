#include "cleaning/SmartScan.h"

#include "cleaning/OptimizationRegistry.h"
#include "platform/PlatformPaths.h"
#include "services/Settings.h"

#include <QPointer>
#include <algorithm>

namespace velmox {

namespace {

// The folders as the user knows them: "~/.cache/mozilla/firefox".
QString shownPaths(const QStringList& paths) {
    const QString home = PlatformPaths::home() + QLatin1Char('/');
    QStringList shown;
    for (const QString& path : paths)
        shown << (path.startsWith(home) ? QStringLiteral("~/") + path.mid(home.size()) : path);
    return shown.join(QStringLiteral(" and "));
}

} // namespace

QString SmartScan::Summary::text() const {
    const int total = succeeded + static_cast<int>(failed.size());
    QString text = QStringLiteral("Smart Scan finished: %1 of %2 tasks succeeded; %3 freed")
                       .arg(succeeded)
                       .arg(total)
                       .arg(formatBytes(bytesFreed));
    if (bytesMovedToTrash > 0)
        text += QStringLiteral(", %1 moved to the Trash").arg(formatBytes(bytesMovedToTrash));
    text += QLatin1Char('.');
    if (!failed.isEmpty())
        text += QStringLiteral(" Failed: %1.").arg(failed.join(QStringLiteral(", ")));
    if (puttableBack > 0)
        text += QStringLiteral(" %1 can be put back from the Activity tab.").arg(puttableBack);
    return text;
}

void SmartScan::Summary::add(const OptimizationTask& task, const TaskRunResult& result) {
    if (result.success)
        ++succeeded;
    else
        failed.append(task.title);
    bytesFreed += result.bytesFreed();
    bytesMovedToTrash += result.bytesMovedToTrash();
    puttableBack += result.puttableBack;
}

SmartScan::SmartScan(OptimizationTaskRunner& runner, QObject* parent)
    : QObject(parent), runner_(runner), measurer_(new TaskMeasurer(this)) {}

QList<OptimizationTask> SmartScan::offered(const QList<OptimizationTask>& tasks) {
    QList<OptimizationTask> offered;
    for (const OptimizationTask& task : tasks)
        if (task.includeInSmartScan || task.offeredInSmartScan)
            offered.append(task);
    return offered;
}

bool SmartScan::isChosen(const OptimizationTask& task, const Settings& settings) {
    return settings.value(choicesKey)
        .toMap()
        .value(OptimizationRegistry::key(task), task.includeInSmartScan)
        .toBool();
}

Status SmartScan::rememberChoices(const QList<OptimizationTask>& tasks, const QList<bool>& chosen,
                                  Settings& settings) {
    return settings.update(choicesKey, [&](const QVariant& stored) {
        QVariantMap choices = stored.toMap();
        for (qsizetype i = 0; i < tasks.size() && i < chosen.size(); ++i)
            choices.insert(OptimizationRegistry::key(tasks.at(i)), chosen.at(i));
        return QVariant(choices);
    });
}

QString SmartScan::Plan::touches(qsizetype index) const {
    const OptimizationTask& task = tasks.at(index);
    const TaskMeasurement measuredHere = measured.value(index);
    QString text;
    if (task.deletesPermanently())
        text = deletionSentence(task, measuredHere);
    else if (task.work == TaskWork::moveToTrash)
        text = QStringLiteral("Moves %1 from %2 to the Trash.")
                   .arg(formatBytes(measuredHere.bytes), shownPaths(task.pathsToMeasure));
    else if (task.work == TaskWork::endHungProcesses && unresponsive)
        text = UnresponsiveAppKiller::toEndSentence(*unresponsive);
    else if (!task.pathsToMeasure.isEmpty())
        text = task.description +
               QStringLiteral(" Its folders hold %1 now (%2).")
                   .arg(formatBytes(measuredHere.bytes), shownPaths(task.pathsToMeasure));
    else
        text = task.description;
    if (task.requiresSudo)
        text += QStringLiteral(" Runs as root.");
    return text;
}

SmartScan::Plan SmartScan::Plan::only(const QList<bool>& chosen) const {
    Plan plan;
    plan.unresponsive = unresponsive;
    for (qsizetype i = 0; i < tasks.size(); ++i)
        if (chosen.value(i)) {
            plan.tasks.append(tasks.at(i));
            plan.measured.append(measured.value(i));
        }
    return plan;
}

OptimizationTaskRunner::AppsToEnd SmartScan::Plan::appsToEnd() const {
    if (!unresponsive)
        return std::nullopt;
    return UnresponsiveAppKiller::pids(*unresponsive);
}

void SmartScan::prepare(const QList<OptimizationTask>& tasks,
                        std::function<void(const Plan&)> ready) {
    if (isRunning())
        return;
    preparing_ = true;
    QPointer<SmartScan> self(this);
    measurer_->measure(
        tasks, [self, tasks, ready = std::move(ready)](const QList<TaskMeasurement>& measured) {
            if (!self)
                return;
            const bool endsApps =
                std::any_of(tasks.cbegin(), tasks.cend(), [](const OptimizationTask& task) {
                    return task.work == TaskWork::endHungProcesses;
                });
            if (!endsApps) {
                self->preparing_ = false;
                ready({tasks, measured, std::nullopt});
                return;
            }
            self->runner_.findUnresponsiveApps(
                [self, tasks, measured, ready](const Result<OptimizationTaskRunner::Apps>& found) {
                    if (!self)
                        return;
                    self->preparing_ = false;
                    ready({tasks, measured, found});
                });
        });
}

void SmartScan::start(const Plan& plan) {
    if (isRunning())
        return;
    tasks_ = plan.tasks;
    appsToEnd_ = plan.appsToEnd();
    summary_ = {};
    next_ = 0;
    runNext();
}

void SmartScan::runNext() {
    if (next_ >= tasks_.size()) {
        next_ = -1;
        emit finished(summary_);
        return;
    }
    const OptimizationTask task = tasks_.at(next_);
    emit taskStarted(task.title, static_cast<int>(next_), static_cast<int>(tasks_.size()));
    QPointer<SmartScan> self(this);
    runner_.run(
        task,
        [self, task](const TaskRunResult& result) {
            if (!self)
                return;
            self->summary_.add(task, result);
            emit self->taskFinished(task.title, result);
            ++self->next_;
            self->runNext();
        },
        appsToEnd_);
}

} // namespace velmox
