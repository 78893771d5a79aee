#include "cleaning/SmartScan.h"

#include <QPointer>
#include <algorithm>

namespace velmox {

QString SmartScan::Summary::text() const {
    const int total = succeeded + static_cast<int>(failed.size());
    QString text = QStringLiteral("Smart Scan finished: %1 of %2 tasks succeeded, %3 freed.")
                       .arg(succeeded)
                       .arg(total)
                       .arg(formatBytes(bytesFreed));
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
    puttableBack += result.puttableBack;
}

SmartScan::SmartScan(OptimizationTaskRunner& runner, QObject* parent)
    : QObject(parent), runner_(runner) {}

QList<OptimizationTask> SmartScan::marked(const QList<OptimizationTask>& tasks) {
    QList<OptimizationTask> marked;
    for (const OptimizationTask& task : tasks)
        if (task.includeInSmartScan)
            marked.append(task);
    return marked;
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
    const bool endsApps =
        std::any_of(tasks.cbegin(), tasks.cend(), [](const OptimizationTask& task) {
            return task.work == TaskWork::endHungProcesses;
        });
    if (!endsApps) {
        ready({tasks, std::nullopt});
        return;
    }
    preparing_ = true;
    QPointer<SmartScan> self(this);
    runner_.findUnresponsiveApps(
        [self, tasks, ready = std::move(ready)](const Result<OptimizationTaskRunner::Apps>& found) {
            if (!self)
                return;
            self->preparing_ = false;
            ready({tasks, found});
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
