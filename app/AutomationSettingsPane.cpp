#include "app/AutomationSettingsPane.h"

#include "app/SettingsPaneParts.h"
#include "app/StatusReporter.h"
#include "automation/agent/LinuxMaintenanceAgent.h"

#include <QButtonGroup>
#include <QCheckBox>
#include <QCoreApplication>
#include <QGroupBox>
#include <QHBoxLayout>
#include <QLabel>
#include <QPointer>
#include <QPushButton>
#include <QRadioButton>
#include <QThreadPool>
#include <QVBoxLayout>

namespace velmox {

namespace {

AutomationSettingsPane::AgentState readAgentState() {
    AutomationSettingsPane::AgentState state;
    state.installed = LinuxMaintenanceAgent::installed();
    if (state.installed)
        state.timerState = LinuxMaintenanceAgent::timerState();
    return state;
}

} // namespace

AutomationSettingsPane::AutomationSettingsPane(QThreadPool& pool, QWidget* parent)
    : QWidget(parent), pool_(pool),
      enable_(new QCheckBox(QStringLiteral("Enable Automated Maintenance"))),
      caches_(new QCheckBox(QStringLiteral("Move User Caches (~/.cache) to the Trash"))),
      trash_(new QCheckBox(
          QStringLiteral("Permanently remove items older than 30 days from the Trash"))),
      purge_(new QCheckBox(
          QStringLiteral("Purge Inactive Memory (RAM) - only if passwordless sudo is set up"))),
      daily_(new QRadioButton(QStringLiteral("Daily"))),
      weekly_(new QRadioButton(QStringLiteral("Weekly"))),
      update_(new QPushButton(QStringLiteral("Update Automation Settings"))),
      state_(makeSettingsNote()), reporter_(new StatusReporter) {
    auto* layout = new QVBoxLayout(this);
    layout->setContentsMargins(24, 20, 24, 20);
    auto* group = new QGroupBox(QStringLiteral("Automated Maintenance"));
    auto* groupLayout = new QVBoxLayout(group);
    groupLayout->setSpacing(10);
    auto* about = new QLabel(
        QStringLiteral("Schedule recurring cleanup tasks to run automatically in the background."));
    about->setWordWrap(true);
    groupLayout->addWidget(about);
    groupLayout->addWidget(enable_);
    for (QCheckBox* task : {caches_, trash_, purge_})
        groupLayout->addWidget(task);
    auto* interval = new QHBoxLayout;
    auto* intervals = new QButtonGroup(this);
    intervals->addButton(daily_);
    intervals->addButton(weekly_);
    daily_->setChecked(true);
    interval->addWidget(new QLabel(QStringLiteral("Runs:")));
    interval->addWidget(daily_);
    interval->addWidget(weekly_);
    interval->addStretch(1);
    interval->addWidget(update_);
    groupLayout->addLayout(interval);
    groupLayout->addWidget(
        makeSettingsNote(QStringLiteral("The agent runs even when Velmox is closed. It does not "
                                        "read the protected folders and apps of automation.")));
    groupLayout->addWidget(state_);
    groupLayout->addWidget(reporter_);
    layout->addWidget(group);
    layout->addStretch(1);

    connect(enable_, &QCheckBox::clicked, this, [this](bool on) { on ? install() : remove(); });
    connect(update_, &QPushButton::clicked, this, &AutomationSettingsPane::install);
    for (QAbstractButton* button :
         std::initializer_list<QAbstractButton*>{caches_, trash_, purge_, daily_, weekly_})
        connect(button, &QAbstractButton::toggled, this,
                [this] { update_->setEnabled(!busy_ && installed_ && *installed_ != chosen()); });
    refresh();
}

MaintenanceAgentSettings AutomationSettingsPane::chosen() const {
    return {caches_->isChecked(), trash_->isChecked(), purge_->isChecked(),
            weekly_->isChecked() ? AgentInterval::weekly : AgentInterval::daily};
}

void AutomationSettingsPane::setBusy(bool busy) {
    busy_ = busy;
    enable_->setEnabled(!busy);
    update_->setEnabled(!busy && installed_ && *installed_ != chosen());
    if (busy)
        reporter_->showWorking(QStringLiteral("Working on the background agent…"));
}

void AutomationSettingsPane::runAgentWork(Work kind) {
    setBusy(true);
    const MaintenanceAgentSettings settings = chosen();
    // The work holds no pointer to the pane: a pane closed meanwhile drops the answer.
    pool_.start([pane = QPointer<AutomationSettingsPane>(this), kind, settings] {
        Status done = Done{};
        if (kind == Work::install)
            done = LinuxMaintenanceAgent::install(settings);
        else if (kind == Work::remove)
            done = LinuxMaintenanceAgent::remove();
        const AgentState state = readAgentState();
        QMetaObject::invokeMethod(QCoreApplication::instance(), [pane, kind, done, state] {
            if (pane)
                pane->showOutcome(kind, done, state);
        });
    });
}

void AutomationSettingsPane::install() {
    if (!busy_)
        runAgentWork(Work::install);
}

void AutomationSettingsPane::remove() {
    if (!busy_)
        runAgentWork(Work::remove);
}

void AutomationSettingsPane::refresh() {
    runAgentWork(Work::refresh);
}

void AutomationSettingsPane::showOutcome(Work kind, const Status& done, const AgentState& state) {
    showState(state);
    if (kind == Work::refresh) {
        reporter_->clear();
    } else if (!done) {
        reporter_->show(done.error(), false);
        notifier_.notify(MaintenanceAgentTexts::notificationTitle(),
                         kind == Work::install ? MaintenanceAgentTexts::installFailed()
                                               : done.error());
    } else {
        const QString body = kind == Work::install ? MaintenanceAgentTexts::installed()
                                                   : MaintenanceAgentTexts::removed();
        reporter_->show(body + QLatin1Char('.'), true);
        notifier_.notify(MaintenanceAgentTexts::notificationTitle(), body);
    }
    emit finished();
}

void AutomationSettingsPane::showState(const AgentState& state) {
    setBusy(false);
    installed_ = state.installed;
    {
        const QSignalBlocker block(enable_);
        enable_->setChecked(state.installed.has_value());
    }
    if (state.installed) {
        caches_->setChecked(state.installed->caches);
        trash_->setChecked(state.installed->trash);
        purge_->setChecked(state.installed->purge);
        (state.installed->interval == AgentInterval::weekly ? weekly_ : daily_)->setChecked(true);
        state_->setText(MaintenanceAgentTexts::runs(state.installed->interval) + QLatin1Char(' ') +
                        state.timerState);
    } else {
        state_->setText(QStringLiteral("The background agent is not installed."));
    }
    update_->setEnabled(false);
}

} // namespace velmox
