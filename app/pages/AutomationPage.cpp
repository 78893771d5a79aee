#include "app/pages/AutomationPage.h"

#include "app/StatusReporter.h"
#include "app/pages/AutomationEditors.h"
#include "automation/AutomationCatalogue.h"
#include "automation/AutomationEngine.h"
#include "services/AppStatusCenter.h"
#include "services/Settings.h"

#include <QCheckBox>
#include <QComboBox>
#include <QDialogButtonBox>
#include <QDoubleSpinBox>
#include <QFormLayout>
#include <QHBoxLayout>
#include <QLabel>
#include <QLineEdit>
#include <QListWidget>
#include <QMessageBox>
#include <QPointer>
#include <QPushButton>
#include <QSpinBox>
#include <QTabWidget>
#include <QTimeEdit>
#include <QUuid>
#include <QVBoxLayout>

namespace velmox {

AutomationRuleEditor::AutomationRuleEditor(const AutomationRule& rule,
                                           const QList<AutomationChain>& chains, QWidget* parent)
    : QDialog(parent), rule_(rule), name_(new QLineEdit(rule.name, this)),
      enabled_(new QCheckBox(QStringLiteral("Enabled"), this)), condition_(new QComboBox(this)),
      threshold_(new QDoubleSpinBox(this)), help_(new QLabel(this)), action_(new QComboBox(this)),
      cooldown_(new QSpinBox(this)), onlyOnAC_(new QCheckBox(onlyOnACToggleLabel(), this)) {
    setWindowTitle(rule.name.isEmpty() ? QStringLiteral("New Rule") : rule.name);
    enabled_->setChecked(rule.enabled);
    for (const AutomationCondition condition : allAutomationConditions())
        condition_->addItem(editorLabel(condition), rawValue(condition));
    condition_->setCurrentIndex(condition_->findData(rawValue(rule.condition)));
    threshold_->setRange(0, maxThreshold(AutomationCondition::diskFreeBelowGB));
    threshold_->setDecimals(1);
    threshold_->setValue(rule.threshold);
    help_->setWordWrap(true);
    for (const AutomationActionChoice& choice : actionChoices(chains))
        action_->addItem(choice.title, choice.actionId);
    if (!rule.actionId.isEmpty() && action_->findData(rule.actionId) < 0)
        action_->addItem(actionTitle(rule.actionId, chains), rule.actionId);
    action_->setCurrentIndex(qMax(0, action_->findData(rule.actionId)));
    cooldown_->setRange(0, AutomationRule::kMaxCooldownMinutes);
    cooldown_->setSuffix(QStringLiteral(" min"));
    cooldown_->setValue(rule.effectiveCooldownMinutes());
    onlyOnAC_->setChecked(rule.onlyOnAC);

    auto* form = new QFormLayout;
    form->addRow(QStringLiteral("Name"), name_);
    form->addRow(QString(), enabled_);
    form->addRow(QStringLiteral("When"), condition_);
    form->addRow(QStringLiteral("Threshold"), threshold_);
    form->addRow(QString(), help_);
    form->addRow(QStringLiteral("Run"), action_);
    form->addRow(QStringLiteral("Cooldown"), cooldown_);
    form->addRow(QString(), onlyOnAC_);
    auto* buttons = new QDialogButtonBox(QDialogButtonBox::Save | QDialogButtonBox::Cancel, this);
    connect(buttons, &QDialogButtonBox::accepted, this, &QDialog::accept);
    connect(buttons, &QDialogButtonBox::rejected, this, &QDialog::reject);
    auto* layout = new QVBoxLayout(this);
    layout->addLayout(form);
    layout->addWidget(buttons);
    connect(condition_, &QComboBox::currentIndexChanged, this, [this] { showCondition(); });
    connect(name_, &QLineEdit::textChanged, this, [buttons](const QString& text) {
        buttons->button(QDialogButtonBox::Save)->setEnabled(!text.trimmed().isEmpty());
    });
    buttons->button(QDialogButtonBox::Save)->setEnabled(!rule.name.trimmed().isEmpty());
    showCondition();
}

void AutomationRuleEditor::showCondition() {
    const auto condition =
        automationConditionFromRaw(condition_->currentData().toString()).value_or(rule_.condition);
    threshold_->setVisible(!isEvent(condition));
    // The unit of each measure.
    switch (condition) {
    case AutomationCondition::diskFreeBelowGB:
        threshold_->setSuffix(QStringLiteral(" GB"));
        break;
    case AutomationCondition::cpuTempAbove:
        threshold_->setSuffix(QStringLiteral(" °C"));
        break;
    default:
        threshold_->setSuffix(QStringLiteral(" %"));
        break;
    }
    if (!isEvent(condition))
        threshold_->setMaximum(maxThreshold(condition));
    help_->setText(helpText(condition));
    help_->setVisible(!help_->text().isEmpty());
}

AutomationRule AutomationRuleEditor::rule() const {
    AutomationRule edited = rule_;
    edited.name = name_->text().trimmed();
    edited.enabled = enabled_->isChecked();
    edited.condition =
        automationConditionFromRaw(condition_->currentData().toString()).value_or(rule_.condition);
    edited.threshold = isEvent(edited.condition) ? 0.0 : threshold_->value();
    edited.actionId = action_->currentData().toString();
    edited.cooldownMinutes = cooldown_->value();
    edited.onlyOnAC = onlyOnAC_->isChecked();
    return edited;
}

CustomScheduleEditor::CustomScheduleEditor(AutomationEngine& engine, QWidget* parent)
    : QWidget(parent), engine_(engine), enabled_(new QCheckBox(customScheduleEnabledLabel(), this)),
      plan_(new AutomationPlanEditor(engine.customSchedule().plan, false, this)),
      target_(new QComboBox(this)), idle_(new QCheckBox(onlyWhenIdleLabel(), this)),
      ac_(new QCheckBox(onlyOnACLabel(), this)),
      runNow_(new QPushButton(QStringLiteral("Run Now"), this)) {
    auto* form = new QFormLayout(this);
    form->addRow(QString(), enabled_);
    form->addRow(QStringLiteral("Runs"), plan_);
    form->addRow(QString(), makePlanNote(this));
    form->addRow(QStringLiteral("Run"), target_);
    form->addRow(QString(), idle_);
    form->addRow(QString(), ac_);
    auto* runRow = new QHBoxLayout;
    runRow->addWidget(runNow_);
    runRow->addStretch(1);
    form->addRow(QString(), runRow);

    for (QCheckBox* box : {enabled_, idle_, ac_})
        connect(box, &QCheckBox::toggled, this, [this] { save(); });
    connect(target_, &QComboBox::currentIndexChanged, this, [this] { save(); });
    connect(plan_->kindPicker(), &QComboBox::currentIndexChanged, this, [this] { save(); });
    connect(plan_->weekdayPicker(), &QComboBox::currentIndexChanged, this, [this] { save(); });
    connect(plan_->timeField(), &QTimeEdit::editingFinished, this, [this] { save(); });
    connect(runNow_, &QPushButton::clicked, this, [this] {
        QPointer<CustomScheduleEditor> self(this);
        const Status started = engine_.runCustomScheduleNow([self](const AutomationRunResult& r) {
            if (self)
                emit self->ranByHand(r);
        });
        if (!started)
            emit saveFailed(started.error());
    });
    connect(&engine_, &AutomationEngine::changed, this, [this] { show(); });
    show();
}

AutomationCustomSchedule CustomScheduleEditor::edited() const {
    AutomationCustomSchedule schedule = engine_.customSchedule();
    schedule.enabled = enabled_->isChecked();
    schedule.plan = plan_->edited(schedule.plan);
    // Switched off, it starts afresh when switched on again.
    if (!schedule.enabled)
        schedule.plan.lastRun.reset();
    schedule.target = target_->currentData().toString();
    schedule.onlyWhenIdle = idle_->isChecked();
    schedule.onlyOnAC = ac_->isChecked();
    return schedule;
}

void CustomScheduleEditor::save() {
    if (showing_)
        return;
    const AutomationCustomSchedule schedule = edited();
    if (schedule == engine_.customSchedule())
        return;
    if (const Status saved = engine_.setCustomSchedule(schedule); !saved)
        emit saveFailed(saved.error());
}

void CustomScheduleEditor::show() {
    showing_ = true;
    const AutomationCustomSchedule& schedule = engine_.customSchedule();
    enabled_->setChecked(schedule.enabled);
    plan_->setPlan(schedule.plan);
    target_->clear();
    for (const AutomationActionChoice& choice : actionChoices(engine_.chains()))
        target_->addItem(choice.title, choice.actionId);
    if (target_->findData(schedule.target) < 0)
        target_->addItem(actionTitle(schedule.target, engine_.chains()), schedule.target);
    target_->setCurrentIndex(target_->findData(schedule.target));
    idle_->setChecked(schedule.onlyWhenIdle);
    ac_->setChecked(schedule.onlyOnAC);
    showing_ = false;
}

namespace {

QListWidget* sectionList(QWidget* parent) {
    auto* list = new QListWidget(parent);
    list->setWordWrap(true);
    list->setAlternatingRowColors(true);
    list->setSpacing(3);
    return list;
}

// A row of buttons under a list; each is made with its text and click handler.
QHBoxLayout* buttonRow(QWidget* parent,
                       std::initializer_list<std::pair<QString, std::function<void()>>> buttons) {
    auto* row = new QHBoxLayout;
    for (const auto& [text, clicked] : buttons) {
        auto* button = new QPushButton(text, parent);
        QObject::connect(button, &QPushButton::clicked, parent, clicked);
        row->addWidget(button);
    }
    row->addStretch(1);
    return row;
}

QWidget* section(QWidget* parent, const QString& help, QListWidget* list, QHBoxLayout* buttons) {
    auto* box = new QWidget(parent);
    auto* layout = new QVBoxLayout(box);
    auto* text = new QLabel(help, box);
    text->setWordWrap(true);
    text->setObjectName(QStringLiteral("pageSubtitle"));
    layout->addWidget(text);
    layout->addWidget(list, 1);
    layout->addLayout(buttons);
    return box;
}

QString newId() {
    return QUuid::createUuid().toString(QUuid::WithoutBraces).toUpper();
}

// `list` with `record` in place of the record of the same id, or added at the end when there
// is none (a new record, or one another process removed while it was edited here).
template <typename T> QList<T> withRecord(QList<T> list, const T& record) {
    const auto stored =
        std::find_if(list.begin(), list.end(), [&](const T& item) { return item.id == record.id; });
    if (stored == list.end())
        list.append(record);
    else
        *stored = record;
    return list;
}

} // namespace

AutomationPage::AutomationPage(AutomationEngine& engine, Settings& settings,
                               AppStatusCenter* status, QWidget* parent)
    : QWidget(parent), engine_(engine), settings_(settings), status_(status),
      banner_(makeDryRunBanner(this)), sections_(new QTabWidget(this)), rules_(sectionList(this)),
      routines_(sectionList(this)), profiles_(sectionList(this)),
      schedule_(new CustomScheduleEditor(engine, this)), reporter_(new StatusReporter(this)) {
    confirm_ = [this](const QString& caution) {
        return QMessageBox::question(this, QStringLiteral("Run?"),
                                     caution + QStringLiteral(" Run it?")) == QMessageBox::Yes;
    };
    sections_->setDocumentMode(true);
    sections_->addTab(makeRules(), QStringLiteral("Rules"));
    sections_->addTab(makeRoutines(), QStringLiteral("Routines"));
    sections_->addTab(makeProfiles(), QStringLiteral("Profiles"));
    auto* scheduleBox = new QWidget(this);
    auto* scheduleLayout = new QVBoxLayout(scheduleBox);
    scheduleLayout->addWidget(schedule_);
    scheduleLayout->addStretch(1);
    sections_->addTab(scheduleBox, QStringLiteral("Custom Schedule"));
    auto* layout = new QVBoxLayout(this);
    layout->setContentsMargins(0, 0, 0, 0);
    layout->addWidget(banner_);
    layout->addWidget(sections_, 1);
    layout->addWidget(reporter_);

    connect(&engine_, &AutomationEngine::changed, this, [this] {
        showRules();
        showRoutines();
        showProfiles();
    });
    connect(schedule_, &CustomScheduleEditor::saveFailed, this,
            [this](const QString& message) { reporter_->show(message, false); });
    connect(schedule_, &CustomScheduleEditor::ranByHand, this,
            [this](const AutomationRunResult& result) {
                reporter_->show(result.message(), result.success);
            });
    connect(&settings_, &Settings::valueChanged, this, [this](const QString& key) {
        if (key == AutomationSettingsKeys::dryRun)
            showDryRun();
    });
    showRules();
    showRoutines();
    showProfiles();
    showDryRun();
}

QWidget* AutomationPage::makeRules() {
    connect(rules_, &QListWidget::itemActivated, this, [this] { editRule(rules_->currentRow()); });
    return section(
        this, AutomationSafetyTexts::rulesHelp(), rules_,
        buttonRow(this, {{QStringLiteral("Add Rule"), [this] { editRule(-1); }},
                         {QStringLiteral("Edit"), [this] { editRule(rules_->currentRow()); }},
                         {QStringLiteral("Remove"), [this] { removeRule(); }}}));
}

QWidget* AutomationPage::makeRoutines() {
    connect(routines_, &QListWidget::itemActivated, this,
            [this] { editRoutine(routines_->currentRow()); });
    return section(
        this,
        QStringLiteral("A routine runs its steps in order and stops at the first step that fails. "
                       "Run it by hand, from a rule, or daily or weekly on its own."),
        routines_,
        buttonRow(this,
                  {{QStringLiteral("Add Routine"), [this] { editRoutine(-1); }},
                   {QStringLiteral("Edit"), [this] { editRoutine(routines_->currentRow()); }},
                   {QStringLiteral("Remove"), [this] { removeRoutine(routines_->currentRow()); }},
                   {QStringLiteral("Run Now"), [this] { runRoutine(routines_->currentRow()); }}}));
}

QWidget* AutomationPage::makeProfiles() {
    connect(profiles_, &QListWidget::itemActivated, this,
            [this] { runProfile(profiles_->currentRow()); });
    return section(
        this,
        QStringLiteral("A profile is a one-click preset of steps. The built-in profiles can't be "
                       "changed or deleted."),
        profiles_,
        buttonRow(this, {{QStringLiteral("Run"), [this] { runProfile(profiles_->currentRow()); }},
                         {QStringLiteral("Add Profile"), [this] { editProfile(-1); }},
                         {QStringLiteral("Edit"), [this] { editProfile(profiles_->currentRow()); }},
                         {QStringLiteral("Remove"),
                          [this] { removeProfile(profiles_->currentRow()); }}}));
}

void AutomationPage::showDryRun() {
    banner_->setVisible(settings_.boolValue(AutomationSettingsKeys::dryRun, false));
}

QString AutomationPage::ruleLine(const AutomationRule& rule, const QList<AutomationChain>& chains) {
    QString when = sentenceFragment(rule.condition);
    if (rule.condition == AutomationCondition::onLaunch)
        when = QStringLiteral("Velmox starts");
    else if (!isEvent(rule.condition))
        when += QStringLiteral(" %1").arg(rule.threshold);
    return QStringLiteral("%1%2: when %3, run %4 (%5)")
        .arg(rule.name, rule.enabled ? QString() : QStringLiteral(" (off)"), when,
             actionTitle(rule.actionId, chains), cooldownSummary(rule));
}

QString AutomationPage::routineLine(const AutomationChain& chain) {
    QStringList titles;
    for (const QString& id : chain.steps) {
        const auto task = findAutomationTask(id);
        titles << (task ? task->title : id);
    }
    return QStringLiteral("%1: %2 (%3)")
        .arg(chain.name, titles.isEmpty() ? noStepsText() : titles.join(QStringLiteral(", ")),
             summary(chain.plan));
}

namespace {

void refill(QListWidget* list, const QStringList& lines) {
    const int row = list->currentRow();
    list->clear();
    list->addItems(lines);
    list->setCurrentRow(qMin(row, list->count() - 1));
}

} // namespace

void AutomationPage::showRules() {
    QStringList lines;
    for (const AutomationRule& rule : engine_.rules())
        lines << ruleLine(rule, engine_.chains());
    refill(rules_, lines);
}

void AutomationPage::showRoutines() {
    QStringList lines;
    for (const AutomationChain& chain : engine_.chains())
        lines << routineLine(chain);
    refill(routines_, lines);
}

void AutomationPage::showProfiles() {
    QStringList lines;
    for (const AutomationProfile& profile : engine_.profiles()) {
        QString line =
            profile.name + (profile.isBuiltIn ? QStringLiteral(" (built in)") : QString());
        if (!profile.blurb.isEmpty())
            line += QStringLiteral("\n") + profile.blurb;
        if (hasDestructiveStep(profile.steps))
            line += QStringLiteral("\n") + destructiveProfileNote();
        lines << line;
    }
    refill(profiles_, lines);
}

void AutomationPage::editRule(int row) {
    const QList<AutomationRule> rules = engine_.rules();
    AutomationRule rule;
    if (row >= 0 && row < rules.size()) {
        rule = rules.at(row);
    } else {
        rule.id = newId();
        rule.actionId = automationCatalogue().constFirst().id;
    }
    auto* editor = new AutomationRuleEditor(rule, engine_.chains(), this);
    editor->setAttribute(Qt::WA_DeleteOnClose);
    connect(editor, &QDialog::accepted, this, [this, editor] {
        showSaved(engine_.setRules(withRecord(engine_.rules(), editor->rule())));
    });
    editor->open();
}

void AutomationPage::removeRule() {
    const int row = rules_->currentRow();
    QList<AutomationRule> rules = engine_.rules();
    if (row < 0 || row >= rules.size())
        return;
    rules.removeAt(row);
    showSaved(engine_.setRules(rules));
}

AutomationRoutineEditor* AutomationPage::editRoutine(int row) {
    const QList<AutomationChain>& chains = engine_.chains();
    const bool isNew = row < 0 || row >= chains.size();
    AutomationChain chain = isNew ? AutomationChain{newId(), {}, {}, {}} : chains.at(row);
    auto* editor = new AutomationRoutineEditor(chain, this);
    editor->setAttribute(Qt::WA_DeleteOnClose);
    connect(editor, &QDialog::accepted, this, [this, editor] {
        showSaved(engine_.setChains(withRecord(engine_.chains(), editor->chain())));
    });
    editor->open();
    return editor;
}

void AutomationPage::removeRoutine(int row) {
    QList<AutomationChain> chains = engine_.chains();
    if (row < 0 || row >= chains.size())
        return;
    chains.removeAt(row);
    showSaved(engine_.setChains(chains));
}

AutomationProfileEditor* AutomationPage::editProfile(int row) {
    const QList<AutomationProfile> profiles = engine_.profiles();
    const bool isNew = row < 0 || row >= profiles.size();
    if (!isNew && profiles.at(row).isBuiltIn) {
        reporter_->show(QStringLiteral("Built-in profiles can't be changed. Add a profile of "
                                       "your own instead."),
                        false);
        return nullptr;
    }
    AutomationProfile profile =
        isNew ? AutomationProfile{QStringLiteral("custom.") + newId(), {}, {}, {}, {}, false}
              : profiles.at(row);
    auto* editor = new AutomationProfileEditor(profile, this);
    editor->setAttribute(Qt::WA_DeleteOnClose);
    connect(editor, &QDialog::accepted, this, [this, editor] {
        showSaved(
            engine_.setCustomProfiles(withRecord(engine_.customProfiles(), editor->profile())));
    });
    editor->open();
    return editor;
}

void AutomationPage::removeProfile(int row) {
    const QList<AutomationProfile> profiles = engine_.profiles();
    if (row < 0 || row >= profiles.size())
        return;
    const QString id = profiles.at(row).id;
    if (profiles.at(row).isBuiltIn) {
        reporter_->show(QStringLiteral("Built-in profiles can't be deleted."), false);
        return;
    }
    QList<AutomationProfile> custom = engine_.customProfiles();
    custom.removeIf([&](const AutomationProfile& p) { return p.id == id; });
    showSaved(engine_.setCustomProfiles(custom));
}

void AutomationPage::startRun(const QString& title, const QStringList& steps,
                              const std::function<void(AutomationEngine::Completion)>& run) {
    const bool dryRun = settings_.boolValue(AutomationSettingsKeys::dryRun, false);
    const QString caution = runCaution(title, steps);
    if (!dryRun && !caution.isEmpty() && !confirm_(caution))
        return;
    reporter_->showWorking(QStringLiteral("Running “%1”…").arg(title));
    if (status_)
        status_->report(QStringLiteral("Running “%1”…").arg(title), true);
    QPointer<AutomationPage> self(this);
    QPointer<AppStatusCenter> status(status_);
    run([self, status, title](const AutomationRunResult& result) {
        const QString shown = result.message();
        if (self)
            self->reporter_->show(shown, result.success);
        if (status)
            status->report(
                (result.success ? QStringLiteral("Success: ") : QStringLiteral("Error: ")) + title +
                    QStringLiteral(": ") + result.lines.value(0),
                false);
    });
}

void AutomationPage::runRoutine(int row) {
    const QList<AutomationChain>& chains = engine_.chains();
    if (row < 0 || row >= chains.size())
        return;
    const AutomationChain chain = chains.at(row);
    startRun(chain.name, chain.steps, [this, chain](AutomationEngine::Completion done) {
        engine_.runChainNow(chain, std::move(done));
    });
}

void AutomationPage::runProfile(int row) {
    const QList<AutomationProfile> profiles = engine_.profiles();
    if (row < 0 || row >= profiles.size())
        return;
    const AutomationProfile profile = profiles.at(row);
    startRun(profile.name, profile.steps, [this, profile](AutomationEngine::Completion done) {
        engine_.runProfile(profile, std::move(done));
    });
}

void AutomationPage::showSaved(const Status& saved) {
    if (saved)
        reporter_->clear();
    else
        reporter_->show(saved.error(), false);
}

} // namespace velmox
