#pragma once

#include "cleaning/OptimizationTask.h"
#include "cleaning/OptimizationTaskRunner.h"
#include "cleaning/TaskMeasurer.h"
#include "cleaning/TaskRunResult.h"

#include <QList>
#include <QObject>

namespace velmox {

class Settings;

// Runs the tasks chosen for the smart scan one after another and sums up what they did. Before
// a scan starts, prepare() measures what each offered task would touch and finds the apps its
// hung-process task would end, so that the user sees both in the preview and chooses; the scan
// then runs the chosen tasks and ends only the apps named.
class SmartScan : public QObject {
    Q_OBJECT
public:
    struct Summary {
        int succeeded = 0;
        QStringList failed; // titles
        qint64 bytesFreed = 0;
        qint64 bytesMovedToTrash = 0;
        int puttableBack = 0;

        // "Smart Scan finished: 12 of 13 tasks succeeded; 1.2 GB freed, 4.1 MB moved to the
        // Trash. ..."
        QString text() const;
        void add(const OptimizationTask& task, const TaskRunResult& result);
        bool operator==(const Summary&) const = default;
    };

    // What a scan is about to do, for the preview.
    struct Plan {
        QList<OptimizationTask> tasks;
        // One per task, in their order.
        QList<TaskMeasurement> measured;
        // What the hung-process task found; absent when the scan has no such task.
        std::optional<Result<OptimizationTaskRunner::Apps>> unresponsive;

        // The apps the user is asked to agree to end.
        OptimizationTaskRunner::AppsToEnd appsToEnd() const;
        // What the task at `index` touches and how much: "Moves 4.1 MB from ~/.cache to the
        // Trash."
        QString touches(qsizetype index) const;
        // The plan with only the tasks whose entry in `chosen` is true.
        Plan only(const QList<bool>& chosen) const;
    };

    // The settings key of the user's choices: task title -> run it in the scan.
    static inline const QString choicesKey = QStringLiteral("smartScanChoices");

    explicit SmartScan(OptimizationTaskRunner& runner, QObject* parent = nullptr);

    // The tasks the preview lists: those the scan runs by default and those it offers unticked.
    static QList<OptimizationTask> offered(const QList<OptimizationTask>& tasks);
    // Whether the user last chose to run `task` in the scan; its default when never asked.
    static bool isChosen(const OptimizationTask& task, const Settings& settings);
    // Keeps the choices by each task's stable key; a failed save says why.
    static Status rememberChoices(const QList<OptimizationTask>& tasks, const QList<bool>& chosen,
                                  Settings& settings);

    // Measures the tasks and looks for what the scan would end, on workers, and hands the plan to
    // `ready` on this object's thread. Does nothing while a scan is being prepared or runs.
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
    TaskMeasurer* measurer_;
    QList<OptimizationTask> tasks_;
    OptimizationTaskRunner::AppsToEnd appsToEnd_;
    bool preparing_ = false;
    qsizetype next_ = -1;
    Summary summary_;
};

} // namespace velmox
