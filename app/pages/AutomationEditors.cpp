#include "app/pages/AutomationEditors.h"

#include "automation/AutomationCatalogue.h"

#include <QComboBox>
#include <QDialogButtonBox>
#include <QFormLayout>
#include <QHBoxLayout>
#include <QLabel>
#include <QLineEdit>
#include <QListWidget>
#include <QLocale>
#include <QPushButton>
#include <QTimeEdit>
#include <QVBoxLayout>

namespace velmox {

namespace {

QString taskTitle(const QString& id) {
    const auto task = findAutomationTask(id);
    return task ? task->title : id;
}

} // namespace

QLabel* makeDryRunBanner(QWidget* parent) {
    auto* banner = new QLabel(AutomationSafetyTexts::dryRunBanner(), parent);
    banner->setObjectName(QStringLiteral("dryRunBanner"));
    banner->setWordWrap(true);
    // Amber on either appearance: a tint of the window behind it.
    banner->setStyleSheet(QStringLiteral(
        "QLabel#dryRunBanner { background: rgba(230, 160, 40, 0.18); border: 1px solid "
        "rgba(230, 160, 40, 0.7); border-radius: 6px; padding: 6px 10px; }"));
    return banner;
}

QLabel* makePlanNote(QWidget* parent) {
    auto* note = new QLabel(QStringLiteral("If the computer was asleep at that time, it runs as "
                                           "soon as possible afterwards."),
                            parent);
    note->setObjectName(QStringLiteral("pageSubtitle"));
    note->setWordWrap(true);
    return note;
}

QLabel* makeWarningNote(const QString& text, QWidget* parent) {
    auto* note = new QLabel(text, parent);
    note->setWordWrap(true);
    note->setStyleSheet(QStringLiteral("color: rgb(214, 120, 40);"));
    return note;
}

AutomationStepEditor::AutomationStepEditor(const QStringList& steps, QWidget* parent)
    : QWidget(parent), steps_(steps), list_(new QListWidget(this)), picker_(new QComboBox(this)),
      empty_(new QLabel(noStepsText(), this)),
      destructive_(makeWarningNote(destructiveProfileNote(), this)) {
    for (const AutomationTask& task : automationCatalogue())
        picker_->addItem(task.title, task.id);
    auto* add = new QPushButton(QStringLiteral("Add Step"), this);
    auto* up = new QPushButton(QStringLiteral("Move Up"), this);
    auto* down = new QPushButton(QStringLiteral("Move Down"), this);
    auto* remove = new QPushButton(QStringLiteral("Remove Step"), this);
    empty_->setObjectName(QStringLiteral("pageSubtitle"));
    list_->setMinimumHeight(110);

    auto* adding = new QHBoxLayout;
    adding->addWidget(picker_, 1);
    adding->addWidget(add);
    auto* moving = new QHBoxLayout;
    moving->addWidget(up);
    moving->addWidget(down);
    moving->addWidget(remove);
    moving->addStretch(1);
    auto* layout = new QVBoxLayout(this);
    layout->setContentsMargins(0, 0, 0, 0);
    layout->addWidget(list_, 1);
    layout->addWidget(empty_);
    layout->addLayout(moving);
    layout->addLayout(adding);
    layout->addWidget(destructive_);

    connect(add, &QPushButton::clicked, this, &AutomationStepEditor::addChosenTask);
    connect(remove, &QPushButton::clicked, this, &AutomationStepEditor::removeCurrent);
    connect(up, &QPushButton::clicked, this, [this] { moveCurrent(-1); });
    connect(down, &QPushButton::clicked, this, [this] { moveCurrent(1); });
    showSteps(0);
}

void AutomationStepEditor::addChosenTask() {
    steps_.append(picker_->currentData().toString());
    showSteps(int(steps_.size()) - 1);
}

void AutomationStepEditor::removeCurrent() {
    const int row = list_->currentRow();
    if (row < 0 || row >= steps_.size())
        return;
    steps_.removeAt(row);
    showSteps(qMin(row, int(steps_.size()) - 1));
}

void AutomationStepEditor::moveCurrent(int offset) {
    const int row = list_->currentRow();
    const int to = row + offset;
    if (row < 0 || to < 0 || to >= steps_.size())
        return;
    steps_.move(row, to);
    showSteps(to);
}

void AutomationStepEditor::showSteps(int current) {
    list_->clear();
    for (qsizetype i = 0; i < steps_.size(); ++i)
        list_->addItem(QStringLiteral("%1. %2").arg(i + 1).arg(taskTitle(steps_.at(i))));
    list_->setCurrentRow(current);
    empty_->setVisible(steps_.isEmpty());
    destructive_->setVisible(hasDestructiveStep(steps_));
    emit stepsChanged();
}

AutomationPlanEditor::AutomationPlanEditor(const AutomationSchedulePlan& plan, bool allowOff,
                                           QWidget* parent)
    : QWidget(parent), kind_(new QComboBox(this)), time_(new QTimeEdit(this)),
      weekday_(new QComboBox(this)) {
    if (allowOff)
        kind_->addItem(QStringLiteral("Only by hand or from a rule"),
                       rawValue(AutomationScheduleKind::off));
    kind_->addItem(QStringLiteral("Daily"), rawValue(AutomationScheduleKind::daily));
    kind_->addItem(QStringLiteral("Weekly"), rawValue(AutomationScheduleKind::weekly));
    // Plans run to the minute.
    time_->setDisplayFormat(
        QLocale().timeFormat(QLocale::ShortFormat).remove(QStringLiteral(":ss")));
    // The plan counts 1 = Sunday ... 7 = Saturday; QLocale counts 7 = Sunday.
    const QLocale locale;
    for (int weekday = 1; weekday <= 7; ++weekday)
        weekday_->addItem(locale.dayName(weekday == 1 ? 7 : weekday - 1), weekday);
    setPlan(plan);

    auto* layout = new QHBoxLayout(this);
    layout->setContentsMargins(0, 0, 0, 0);
    layout->addWidget(kind_);
    layout->addWidget(weekday_);
    layout->addWidget(time_);
    layout->addStretch(1);
    connect(kind_, &QComboBox::currentIndexChanged, this, [this] { showKind(); });
    showKind();
}

void AutomationPlanEditor::setPlan(const AutomationSchedulePlan& plan) {
    kind_->setCurrentIndex(qMax(0, kind_->findData(rawValue(plan.kind))));
    time_->setTime(QTime(plan.hour, plan.minute));
    weekday_->setCurrentIndex(qBound(0, plan.weekday - 1, 6));
}

void AutomationPlanEditor::showKind() {
    const auto kind = automationScheduleKindFromRaw(kind_->currentData().toString())
                          .value_or(AutomationScheduleKind::off);
    time_->setVisible(kind != AutomationScheduleKind::off);
    weekday_->setVisible(kind == AutomationScheduleKind::weekly);
}

AutomationSchedulePlan AutomationPlanEditor::edited(const AutomationSchedulePlan& before) const {
    AutomationSchedulePlan plan = before;
    plan.kind = automationScheduleKindFromRaw(kind_->currentData().toString())
                    .value_or(AutomationScheduleKind::off);
    plan.hour = time_->time().hour();
    plan.minute = time_->time().minute();
    plan.weekday = weekday_->currentData().toInt();
    if (plan.kind == AutomationScheduleKind::off || plan.kind != before.kind ||
        plan.hour != before.hour || plan.minute != before.minute ||
        (plan.kind == AutomationScheduleKind::weekly && plan.weekday != before.weekday))
        plan.lastRun.reset();
    return plan;
}

AutomationStepsDialog::AutomationStepsDialog(const QString& name, const QString& newTitle,
                                             const QString& placeholder, const QStringList& steps,
                                             QWidget* parent)
    : QDialog(parent), name_(new QLineEdit(name, this)),
      steps_(new AutomationStepEditor(steps, this)), form_(new QFormLayout) {
    setWindowTitle(name.isEmpty() ? newTitle : name);
    name_->setPlaceholderText(placeholder);
    form_->addRow(QStringLiteral("Name"), name_);
    auto* buttons = new QDialogButtonBox(QDialogButtonBox::Save | QDialogButtonBox::Cancel, this);
    connect(buttons, &QDialogButtonBox::accepted, this, &QDialog::accept);
    connect(buttons, &QDialogButtonBox::rejected, this, &QDialog::reject);
    auto* layout = new QVBoxLayout(this);
    layout->addLayout(form_);
    layout->addWidget(buttons);
    const auto update = [this, buttons] {
        buttons->button(QDialogButtonBox::Save)->setEnabled(canSave());
    };
    connect(name_, &QLineEdit::textChanged, this, update);
    connect(steps_, &AutomationStepEditor::stepsChanged, this, update);
    update();
}

bool AutomationStepsDialog::canSave() const {
    return !name_->text().trimmed().isEmpty() && !steps_->steps().isEmpty();
}

AutomationRoutineEditor::AutomationRoutineEditor(const AutomationChain& chain, QWidget* parent)
    : AutomationStepsDialog(chain.name, QStringLiteral("New Routine"),
                            QStringLiteral("Routine name"), chain.steps, parent),
      chain_(chain), plan_(new AutomationPlanEditor(chain.plan, true, this)) {
    form()->addRow(QStringLiteral("Steps"), stepEditor());
    form()->addRow(QStringLiteral("Runs"), plan_);
    form()->addRow(QString(), makePlanNote(this));
}

AutomationChain AutomationRoutineEditor::chain() const {
    AutomationChain edited = chain_;
    edited.name = nameField()->text().trimmed();
    edited.steps = stepEditor()->steps();
    edited.plan = plan_->edited(chain_.plan);
    return edited;
}

AutomationProfileEditor::AutomationProfileEditor(const AutomationProfile& profile, QWidget* parent)
    : AutomationStepsDialog(profile.name, QStringLiteral("New Profile"),
                            QStringLiteral("Profile name"), profile.steps, parent),
      profile_(profile), blurb_(new QLineEdit(profile.blurb, this)) {
    blurb_->setPlaceholderText(QStringLiteral("What it is for, in one line"));
    form()->addRow(QStringLiteral("Description"), blurb_);
    form()->addRow(QStringLiteral("Steps"), stepEditor());
}

AutomationProfile AutomationProfileEditor::profile() const {
    AutomationProfile edited = profile_;
    edited.name = nameField()->text().trimmed();
    edited.blurb = blurb_->text().trimmed();
    edited.steps = stepEditor()->steps();
    edited.isBuiltIn = false;
    if (edited.icon.isEmpty())
        edited.icon = QStringLiteral("list.bullet");
    return edited;
}

} // namespace velmox
