#include "app/pages/AutomationPage.h"

#include "automation/AutomationCatalogue.h"
#include "automation/AutomationEngine.h"

#include <QCheckBox>
#include <QComboBox>
#include <QDialogButtonBox>
#include <QDoubleSpinBox>
#include <QFormLayout>
#include <QHBoxLayout>
#include <QLabel>
#include <QLineEdit>
#include <QListWidget>
#include <QPushButton>
#include <QSpinBox>
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
    threshold_->setRange(0, 100000);
    threshold_->setDecimals(1);
    threshold_->setValue(rule.threshold);
    help_->setWordWrap(true);
    for (const AutomationActionChoice& choice : actionChoices(chains))
        action_->addItem(choice.title, choice.actionId);
    if (!rule.actionId.isEmpty() && action_->findData(rule.actionId) < 0)
        action_->addItem(actionTitle(rule.actionId, chains), rule.actionId);
    action_->setCurrentIndex(qMax(0, action_->findData(rule.actionId)));
    cooldown_->setRange(0, 7 * 24 * 60);
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

AutomationPage::AutomationPage(AutomationEngine& engine, QWidget* parent)
    : QWidget(parent), engine_(engine), rules_(new QListWidget(this)), error_(new QLabel(this)) {
    auto* help = new QLabel(AutomationSafetyTexts::rulesHelp(), this);
    help->setWordWrap(true);
    error_->setWordWrap(true);
    error_->hide();
    auto* add = new QPushButton(QStringLiteral("Add Rule"), this);
    auto* edit = new QPushButton(QStringLiteral("Edit"), this);
    auto* remove = new QPushButton(QStringLiteral("Remove"), this);
    auto* buttons = new QHBoxLayout;
    buttons->addWidget(add);
    buttons->addWidget(edit);
    buttons->addWidget(remove);
    buttons->addStretch(1);
    auto* layout = new QVBoxLayout(this);
    layout->addWidget(help);
    layout->addWidget(rules_, 1);
    layout->addLayout(buttons);
    layout->addWidget(error_);

    connect(add, &QPushButton::clicked, this, [this] { editRule(-1); });
    connect(edit, &QPushButton::clicked, this, [this] { editRule(rules_->currentRow()); });
    connect(rules_, &QListWidget::itemActivated, this, [this] { editRule(rules_->currentRow()); });
    connect(remove, &QPushButton::clicked, this, [this] { removeRule(); });
    connect(&engine_, &AutomationEngine::changed, this, [this] { showRules(); });
    showRules();
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

void AutomationPage::showRules() {
    const int row = rules_->currentRow();
    rules_->clear();
    for (const AutomationRule& rule : engine_.rules())
        rules_->addItem(ruleLine(rule, engine_.chains()));
    rules_->setCurrentRow(qMin(row, rules_->count() - 1));
}

void AutomationPage::editRule(int row) {
    QList<AutomationRule> rules = engine_.rules();
    AutomationRule rule;
    if (row >= 0 && row < rules.size()) {
        rule = rules.at(row);
    } else {
        row = -1;
        rule.id = QUuid::createUuid().toString(QUuid::WithoutBraces).toUpper();
        rule.actionId = automationCatalogue().constFirst().id;
    }
    auto* editor = new AutomationRuleEditor(rule, engine_.chains(), this);
    editor->setAttribute(Qt::WA_DeleteOnClose);
    connect(editor, &QDialog::accepted, this, [this, editor, row] {
        QList<AutomationRule> current = engine_.rules();
        const AutomationRule edited = editor->rule();
        if (row < 0)
            current.append(edited);
        else
            for (AutomationRule& stored : current)
                if (stored.id == edited.id)
                    stored = edited;
        const Status saved = engine_.setRules(current);
        showSaved(saved ? QString() : saved.error());
    });
    editor->open();
}

void AutomationPage::removeRule() {
    const int row = rules_->currentRow();
    QList<AutomationRule> rules = engine_.rules();
    if (row < 0 || row >= rules.size())
        return;
    rules.removeAt(row);
    const Status saved = engine_.setRules(rules);
    showSaved(saved ? QString() : saved.error());
}

void AutomationPage::showSaved(const QString& failure) {
    error_->setText(failure);
    error_->setVisible(!failure.isEmpty());
}

} // namespace velmox
