#pragma once

#include "cleaning/OptimizationTask.h"
#include "cleaning/OptimizationTaskRunner.h"
#include "cleaning/TaskRunResult.h"

#include <QList>
#include <QObject>

namespace velmox {

// Runs the tasks marked for the smart scan one after another and sums up what they did. Before
// a scan starts, prepare() finds the apps its hung-process task would end, so that the user is
// asked about them by name; the scan then ends only those of them.
class SmartScan : public QObject {
    Q_OBJECT
public:
    struct Summary {
        int succeeded = 0;
        QStringList failed; // titles
        qint64 bytesFreed = 0;
        int puttableBack = 0;

        // "Smart Scan finished: 12 of 13 tasks succeeded, 1.2 GB freed. ..."
        QString text() const;
        void add(const OptimizationTask& task, const TaskRunResult& result);
        bool operator==(const Summary&) const = default;
    };

    // What a scan is about to do, for the confirmation.
    struct Plan {
        QList<OptimizationTask> tasks;
        // What the hung-process task found; absent when the scan has no such task.
        std::optional<Result<OptimizationTaskRunner::Apps>> unresponsive;

        // The apps the user is asked to agree to end.
        OptimizationTaskRunner::AppsToEnd appsToEnd() const;
    };

    explicit SmartScan(OptimizationTaskRunner& runner, QObject* parent = nullptr);

    static QList<OptimizationTask> marked(const QList<OptimizationTask>& tasks);

    // Looks, on a worker, for what the scan would end, and hands the plan to `ready` on this
    // object's thread. Does nothing while a scan is being prepared or runs.
    void prepare(const QList<OptimizationTask>& tasks, std::function<void(const Plan&)> ready);
    // Runs the plan; does nothing while a scan is running.
    void start(const Plan& plan);
    bool isRunning() const { return preparing_ || next_ >= 0; }

signals:
    // Before each task: its position from 0 and the number of tasks.
    void taskStarted(const QString& title, int index, int count);
    void taskFinished(const QString& title, const TaskRunResult& result);
    void finished(const SmartScan::Summary& summary);

private:
    void runNext();

    OptimizationTaskRunner& runner_;
    QList<OptimizationTask> tasks_;
    OptimizationTaskRunner::AppsToEnd appsToEnd_;
    bool preparing_ = false;
    qsizetype next_ = -1;
    Summary summary_;
};

} // namespace velmox
