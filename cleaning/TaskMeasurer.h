#pragma once

#include "cleaning/OptimizationTask.h"

#include <QList>
#include <QObject>
#include <QThreadPool>
#include <atomic>
#include <functional>
#include <memory>
#include <optional>

namespace velmox {

// What a task's folders hold before it runs.
struct TaskMeasurement {
    // Allocated bytes of pathsToMeasure.
    qint64 bytes = 0;
    // The items a deleting task would delete (entries of its item folders); absent when the task
    // deletes nothing for good or cannot know which items go.
    std::optional<qint64> items;

    // Reads the disk: never on the main thread. Stops early, with what it has, once `cancel` is
    // set.
    static TaskMeasurement of(const OptimizationTask& task,
                              const std::atomic<bool>* cancel = nullptr);
    bool operator==(const TaskMeasurement&) const = default;
};

// "This permanently deletes 12 items (1.1 MB) from the Trash. This cannot be undone."
QString deletionSentence(const OptimizationTask& task, const TaskMeasurement& measured);

// Measures tasks on a worker thread of its own, one request after another, and hands the
// results to `done` on the thread this object lives on. Destroying it cancels the request under
// way and drops the queued ones; nothing runs after it is gone.
class TaskMeasurer : public QObject {
    Q_OBJECT
public:
    using Done = std::function<void(const QList<TaskMeasurement>&)>;

    explicit TaskMeasurer(QObject* parent = nullptr);
    ~TaskMeasurer() override;

    // One measurement per task, in their order.
    void measure(const QList<OptimizationTask>& tasks, Done done);

private:
    QThreadPool pool_;
    std::shared_ptr<std::atomic<bool>> cancel_ = std::make_shared<std::atomic<bool>>(false);
};

} // namespace velmox
