#pragma once

#include "cleaning/OptimizationTask.h"
#include "cleaning/SmartScan.h"
#include "cleaning/TaskMeasurer.h"

#include <QList>
#include <QWidget>
#include <chrono>
#include <functional>
#include <memory>

namespace velmox {

class Clock;
class OptimizationTaskRunner;
class ScheduledJob;
class Settings;
class TaskRow;
class TaskStatusOverlay;

// The tasks of some categories, grouped under their category, each a TaskRow. Sizes are
// measured on the panel's own worker when it is shown, every 30 seconds while it stays shown
// and after every run of any task, wherever it was started; a run shows its progress in an overlay
// and its result in the row. High Impact and root tasks are confirmed first; a task that
// deletes for good is measured first and the question says what goes and how much; where a
// run would end apps that no longer answer, the question names them.
class TaskListPanel : public QWidget {
    Q_OBJECT
public:
    // (question, informative text) -> true to go ahead.
    using ConfirmHandler = std::function<bool(const QString&, const QString&)>;
    // (plan, ticks as last chosen) -> the ticks to run with, or nothing to cancel.
    using PreviewHandler =
        std::function<std::optional<QList<bool>>(const SmartScan::Plan&, const QList<bool>&)>;

    // `clock` paces the measuring and must outlive the panel.
    TaskListPanel(const QList<OptimizationTask>& tasks, const QList<TaskCategory>& categories,
                  OptimizationTaskRunner& runner, Clock& clock, QWidget* parent = nullptr);
    ~TaskListPanel() override;

    static constexpr std::chrono::seconds kRemeasureInterval{30};

    // Tests replace the dialog.
    void setConfirmHandler(ConfirmHandler handler) { confirm_ = std::move(handler); }
    void setPreviewHandler(PreviewHandler handler) { preview_ = std::move(handler); }

    const QList<TaskRow*>& rows() const { return rows_; }
    TaskRow* row(const QString& title) const;
    TaskStatusOverlay* overlay() const { return overlay_; }

    // Asks first where the task needs it; false when the user declined. A task that ends apps
    // or deletes for good looks for the apps or measures first, and asks once they are known
    // (true then means it is looking).
    bool runTask(const OptimizationTask& task);
    // Measures `offered` (the Smart Scan's tasks of the whole registry), shows the preview with
    // the ticks last chosen in `settings`, keeps the user's new choice there and runs the ticked
    // tasks one after another; false when a scan is already under way or nothing is offered.
    // `settings` must outlive the panel.
    bool runSmartScan(const QList<OptimizationTask>& offered, Settings& settings);
    // Measures again now, or as soon as the measuring under way ends.
    void measureSizes();
    bool isBusy() const;

signals:
    void smartScanFinished(const SmartScan::Summary& summary);
    void sizesMeasured();

protected:
    void showEvent(QShowEvent* event) override;
    void hideEvent(QHideEvent* event) override;

private:
    bool ask(const QString& question, const QString& informative,
             const QString& action = QStringLiteral("Run"));
    void previewSmartScan(const SmartScan::Plan& plan, Settings& settings);
    void startTask(const OptimizationTask& task, OptimizationTaskRunner::AppsToEnd appsToEnd);
    void showResult(const QString& title, const TaskRunResult& result);

    OptimizationTaskRunner& runner_;
    QList<TaskRow*> rows_;
    TaskStatusOverlay* overlay_;
    SmartScan* smartScan_;
    TaskMeasurer* measurer_;
    Clock& clock_;
    std::unique_ptr<ScheduledJob> remeasure_;
    bool measuringSizes_ = false;
    bool measureAgain_ = false;
    ConfirmHandler confirm_;
    PreviewHandler preview_;
};

} // namespace velmox
