#include "app/pages/TaskListPanel.h"

#include "app/TaskStatusOverlay.h"
#include "app/pages/SmartScanPreview.h"
#include "app/pages/TaskRow.h"
#include "cleaning/OptimizationTaskRunner.h"
#include "services/Clock.h"

#include <QLabel>
#include <QMessageBox>
#include <QPointer>
#include <QPushButton>
#include <QScrollArea>
#include <QVBoxLayout>

namespace velmox {

namespace {

bool askWithDialog(QWidget* parent, const QString& question, const QString& informative,
                   const QString& action) {
    QMessageBox box(QMessageBox::Warning, question, question, QMessageBox::Cancel, parent);
    box.setInformativeText(informative);
    QPushButton* confirm = box.addButton(action, QMessageBox::AcceptRole);
    box.setDefaultButton(QMessageBox::Cancel);
    box.exec();
    return box.clickedButton() == static_cast<QAbstractButton*>(confirm);
}

QString cautions(const OptimizationTask& task) {
    QStringList parts;
    if (task.impactLevel == ImpactLevel::highImpact)
        parts << QStringLiteral("It is a High Impact task.");
    if (task.requiresSudo)
        parts << QStringLiteral("It runs as root, with the saved administrator password or "
                                "after the system's password prompt.");
    return parts.join(QLatin1Char(' '));
}

} // namespace

TaskListPanel::TaskListPanel(const QList<OptimizationTask>& tasks,
                             const QList<TaskCategory>& categories, OptimizationTaskRunner& runner,
                             Clock& clock, QWidget* parent)
    : QWidget(parent), runner_(runner), smartScan_(new SmartScan(runner, this)),
      measurer_(new TaskMeasurer(this)), clock_(clock) {
    auto* outer = new QVBoxLayout(this);
    outer->setContentsMargins(0, 0, 0, 0);
    auto* scroll = new QScrollArea(this);
    scroll->setWidgetResizable(true);
    scroll->setFrameShape(QFrame::NoFrame);
    auto* content = new QWidget(scroll);
    auto* layout = new QVBoxLayout(content);
    layout->setContentsMargins(0, 0, 8, 0);
    layout->setSpacing(8);
    for (const TaskCategory category : categories) {
        bool headed = false;
        for (const OptimizationTask& task : tasks) {
            if (task.category != category)
                continue;
            if (!headed) {
                auto* header =
                    new QLabel(QStringLiteral("<b>%1</b>").arg(rawValue(category)), content);
                header->setContentsMargins(0, 10, 0, 2);
                layout->addWidget(header);
                headed = true;
            }
            auto* row = new TaskRow(task, content);
            connect(row, &TaskRow::runRequested, this,
                    [this](const OptimizationTask& requested) { runTask(requested); });
            layout->addWidget(row);
            rows_.append(row);
        }
    }
    layout->addStretch(1);
    scroll->setWidget(content);
    outer->addWidget(scroll);
    overlay_ = new TaskStatusOverlay(this);

    connect(
        smartScan_, &SmartScan::taskStarted, this,
        [this](const QString& title, int index, int count) {
            overlay_->showProgress(
                QStringLiteral("Smart Scan: %1 (%2 of %3)...").arg(title).arg(index + 1).arg(count),
                double(index) / count);
        });
    // Runs started anywhere (the other page, the weekly clean) show in these rows too.
    connect(&runner_, &OptimizationTaskRunner::taskStarted, this, [this](const QString& title) {
        if (TaskRow* started = row(title))
            started->setRunning(true);
    });
    connect(&runner_, &OptimizationTaskRunner::taskFinished, this, &TaskListPanel::showResult);
    // Any run may change what any card measures (the Trash grows when caches go there).
    connect(&runner_, &OptimizationTaskRunner::taskFinished, this, [this] {
        if (isVisible())
            measureSizes();
    });
    connect(smartScan_, &SmartScan::finished, this, [this](const SmartScan::Summary& summary) {
        overlay_->showFinished(summary.text(), summary.failed.isEmpty());
        emit smartScanFinished(summary);
    });
}

TaskListPanel::~TaskListPanel() = default;

void TaskListPanel::showEvent(QShowEvent* event) {
    QWidget::showEvent(event);
    measureSizes();
    // The job belongs to the panel and stops with it.
    remeasure_ = clock_.schedule(
        kRemeasureInterval, [this] { measureSizes(); }, true, std::chrono::seconds(5));
}

void TaskListPanel::hideEvent(QHideEvent* event) {
    remeasure_.reset();
    QWidget::hideEvent(event);
}

TaskRow* TaskListPanel::row(const QString& title) const {
    for (TaskRow* row : rows_)
        if (row->task().title == title)
            return row;
    return nullptr;
}

bool TaskListPanel::isBusy() const {
    return smartScan_->isRunning() || runner_.runningCount() > 0;
}

bool TaskListPanel::ask(const QString& question, const QString& informative,
                        const QString& action) {
    if (confirm_)
        return confirm_(question, informative);
    return askWithDialog(this, question, informative, action);
}

bool TaskListPanel::runTask(const OptimizationTask& task) {
    const QString question = QStringLiteral("Run “%1”?").arg(task.title);
    const QString informative = task.description + QStringLiteral("\n\n") + cautions(task);
    if (task.work == TaskWork::endHungProcesses) {
        overlay_->showProgress(QStringLiteral("Looking for apps that no longer answer..."));
        QPointer<TaskListPanel> self(this);
        runner_.findUnresponsiveApps(
            [self, task, question, informative](const Result<OptimizationTaskRunner::Apps>& found) {
                if (!self)
                    return;
                self->overlay_->dismiss();
                if (self->ask(question, UnresponsiveAppKiller::toEndSentence(found) +
                                            QStringLiteral("\n\n") + informative))
                    self->startTask(task, UnresponsiveAppKiller::pids(found));
            });
        return true;
    }
    if (task.deletesPermanently()) {
        // Says what goes and how much, measured now, off this thread.
        overlay_->showProgress(QStringLiteral("Measuring what %1 deletes...").arg(task.title));
        QPointer<TaskListPanel> self(this);
        measurer_->measure({task}, [self, task, question](const QList<TaskMeasurement>& measured) {
            if (!self)
                return;
            self->overlay_->dismiss();
            QString details = deletionSentence(task, measured.value(0));
            if (const QString more = cautions(task); !more.isEmpty())
                details += QStringLiteral("\n\n") + more;
            if (self->ask(question, details, QStringLiteral("Delete Permanently")))
                self->startTask(task, std::nullopt);
        });
        return true;
    }
    if (task.needsConfirmation() && !ask(question, informative))
        return false;
    startTask(task, std::nullopt);
    return true;
}

void TaskListPanel::startTask(const OptimizationTask& task,
                              OptimizationTaskRunner::AppsToEnd appsToEnd) {
    overlay_->showProgress(QStringLiteral("Running %1...").arg(task.title));
    QPointer<TaskListPanel> self(this);
    runner_.run(
        task,
        [self, task](const TaskRunResult& result) {
            if (self)
                self->overlay_->showFinished(resultLine(task, result), result.success);
        },
        std::move(appsToEnd));
}

bool TaskListPanel::runSmartScan(const QList<OptimizationTask>& offered, Settings& settings) {
    if (offered.isEmpty() || smartScan_->isRunning())
        return false;
    // Measuring and finding the apps it would end take a few seconds.
    overlay_->showProgress(QStringLiteral("Smart Scan: measuring what it will touch..."));
    QPointer<TaskListPanel> self(this);
    smartScan_->prepare(offered, [self, &settings](const SmartScan::Plan& plan) {
        if (self)
            self->previewSmartScan(plan, settings);
    });
    return true;
}

void TaskListPanel::previewSmartScan(const SmartScan::Plan& plan, Settings& settings) {
    overlay_->dismiss();
    QList<bool> chosen;
    for (const OptimizationTask& task : plan.tasks)
        chosen.append(SmartScan::isChosen(task, settings));
    std::optional<QList<bool>> answer;
    if (preview_) {
        answer = preview_(plan, chosen);
    } else {
        SmartScanPreview preview(plan, chosen, this);
        if (preview.exec() == QDialog::Accepted)
            answer = preview.chosen();
    }
    if (!answer)
        return;
    if (const Status saved = SmartScan::rememberChoices(plan.tasks, *answer, settings); !saved)
        QMessageBox::warning(this, QStringLiteral("Smart Scan"),
                             saved.error() + QStringLiteral(" Smart Scan runs with these choices "
                                                            "this time only."));
    smartScan_->start(plan.only(*answer));
}

void TaskListPanel::showResult(const QString& title, const TaskRunResult& result) {
    if (TaskRow* finished = row(title)) {
        finished->setRunning(false);
        finished->showResult(result);
    }
}

void TaskListPanel::measureSizes() {
    if (measuringSizes_) {
        measureAgain_ = true;
        return;
    }
    QList<OptimizationTask> measured;
    for (const TaskRow* row : rows_)
        if (!row->task().pathsToMeasure.isEmpty())
            measured.append(row->task());
    if (measured.isEmpty())
        return;
    measuringSizes_ = true;
    QPointer<TaskListPanel> self(this);
    measurer_->measure(measured, [self, measured](const QList<TaskMeasurement>& sizes) {
        if (!self)
            return;
        for (qsizetype i = 0; i < measured.size() && i < sizes.size(); ++i)
            if (TaskRow* row = self->row(measured.at(i).title))
                row->setMeasuredSize(sizes.at(i).bytes);
        self->measuringSizes_ = false;
        emit self->sizesMeasured();
        if (std::exchange(self->measureAgain_, false))
            self->measureSizes();
    });
}

} // namespace velmox
