#include "app/pages/TaskRow.h"

#include "app/StatusReporter.h"

#include <QHBoxLayout>
#include <QLabel>
#include <QPushButton>
#include <QVBoxLayout>

namespace velmox {

namespace {

QLabel* badge(const QString& text, const QString& color, QWidget* parent) {
    auto* label = new QLabel(text, parent);
    label->setStyleSheet(QStringLiteral("QLabel { background: %1; color: white; border-radius: "
                                        "4px; padding: 1px 6px; font-size: 9pt; }")
                             .arg(color));
    return label;
}

} // namespace

QString TaskRow::impactColor(ImpactLevel level) {
    switch (level) {
    case ImpactLevel::safe:
        return QStringLiteral("#2f9e55");
    case ImpactLevel::moderate:
        return QStringLiteral("#c77a12");
    case ImpactLevel::highImpact:
        return QStringLiteral("#c83e3e");
    }
    return {};
}

TaskRow::TaskRow(const OptimizationTask& task, QWidget* parent)
    : QFrame(parent), task_(task), size_(new QLabel(this)),
      run_(new QPushButton(QStringLiteral("Run"), this)), result_(new StatusReporter(this)) {
    setObjectName(QStringLiteral("card"));
    auto* layout = new QVBoxLayout(this);
    layout->setContentsMargins(14, 10, 14, 10);
    layout->setSpacing(4);

    auto* top = new QHBoxLayout;
    top->setSpacing(8);
    auto* title = new QLabel(QStringLiteral("<b>%1</b>").arg(task.title.toHtmlEscaped()), this);
    top->addWidget(title);
    // "Safe" beside "Deletes permanently" would read as a contradiction.
    if (!task.deletesPermanently() || task.impactLevel != ImpactLevel::safe)
        top->addWidget(badge(rawValue(task.impactLevel), impactColor(task.impactLevel), this));
    if (task.requiresSudo) {
        QLabel* admin =
            badge(QStringLiteral("Needs administrator"), QStringLiteral("#5a6270"), this);
        admin->setToolTip(QStringLiteral("Runs as root with the saved administrator password, "
                                         "or after the system's password prompt."));
        top->addWidget(admin);
    }
    if (task.deletesPermanently()) {
        QLabel* deletes =
            badge(QStringLiteral("Deletes permanently"), QStringLiteral("#8a2f2f"), this);
        deletes->setToolTip(QStringLiteral("What this task deletes does not go to the Trash and "
                                           "cannot be put back. It asks first, saying how much."));
        top->addWidget(deletes);
    }
    top->addStretch(1);
    size_->setObjectName(QStringLiteral("pageSubtitle"));
    size_->setVisible(!task.pathsToMeasure.isEmpty());
    size_->setToolTip(task.pathsToMeasure.join(QLatin1Char('\n')));
    top->addWidget(size_);
    run_->setToolTip(task.shellScript.isEmpty() ? task.description : task.shellScript);
    top->addWidget(run_);
    layout->addLayout(top);

    auto* description = new QLabel(task.description, this);
    description->setObjectName(QStringLiteral("pageSubtitle"));
    description->setWordWrap(true);
    layout->addWidget(description);
    layout->addWidget(result_);

    setMeasuredSize(std::nullopt);
    connect(run_, &QPushButton::clicked, this, [this] { emit runRequested(task_); });
}

void TaskRow::setMeasuredSize(std::optional<qint64> bytes) {
    size_->setText(bytes ? formatBytes(*bytes) : QStringLiteral("Measuring..."));
}

void TaskRow::setRunning(bool running) {
    run_->setEnabled(!running);
    run_->setText(running ? QStringLiteral("Running...") : QStringLiteral("Run"));
}

void TaskRow::showResult(const TaskRunResult& result) {
    result_->show(resultLine(task_, result), result.success);
    if (!task_.pathsToMeasure.isEmpty())
        setMeasuredSize(result.bytesAfter);
}

QString TaskRow::sizeText() const {
    return task_.pathsToMeasure.isEmpty() ? QString() : size_->text();
}

QString TaskRow::resultText() const {
    return result_->message();
}

bool TaskRow::isRunEnabled() const {
    return run_->isEnabled();
}

} // namespace velmox
