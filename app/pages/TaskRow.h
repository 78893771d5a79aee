#pragma once

#include "cleaning/OptimizationTask.h"
#include "cleaning/TaskRunResult.h"

#include <QFrame>
#include <optional>

class QLabel;
class QPushButton;

namespace velmox {

class StatusReporter;

// One maintenance task in a page's list: title, impact badge, the administrator mark,
// description, the measured size of its folders, a Run button and the last result inline.
class TaskRow : public QFrame {
    Q_OBJECT
public:
    explicit TaskRow(const OptimizationTask& task, QWidget* parent = nullptr);

    const OptimizationTask& task() const { return task_; }
    // Absent while measuring.
    void setMeasuredSize(std::optional<qint64> bytes);
    void setRunning(bool running);
    void showResult(const TaskRunResult& result);

    QString sizeText() const;
    QString resultText() const;
    bool isRunEnabled() const;

    static QString impactColor(ImpactLevel level);

signals:
    void runRequested(const OptimizationTask& task);

private:
    OptimizationTask task_;
    QLabel* size_;
    QPushButton* run_;
    StatusReporter* result_;
};

} // namespace velmox
