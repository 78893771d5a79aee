#pragma once

#include "cleaning/OptimizationTask.h"
#include "cleaning/TaskRunResult.h"

#include <QList>
#include <QObject>

namespace velmox {

class OptimizationTaskRunner;

// Runs the tasks marked for the smart scan one after another and sums up what they did.
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

    explicit SmartScan(OptimizationTaskRunner& runner, QObject* parent = nullptr);

    static QList<OptimizationTask> marked(const QList<OptimizationTask>& tasks);

    // Does nothing while a scan is running.
    void start(const QList<OptimizationTask>& tasks);
    bool isRunning() const { return next_ >= 0; }

signals:
    // Before each task: its position from 0 and the number of tasks.
    void taskStarted(const QString& title, int index, int count);
    void taskFinished(const QString& title, const TaskRunResult& result);
    void finished(const SmartScan::Summary& summary);

private:
    void runNext();

    OptimizationTaskRunner& runner_;
    QList<OptimizationTask> tasks_;
    qsizetype next_ = -1;
    Summary summary_;
};

} // namespace velmox
