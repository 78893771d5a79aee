#pragma once

#include "automation/AutomationNotifier.h"
#include "automation/agent/MaintenanceAgentSettings.h"

#include <QWidget>
#include <optional>

class QCheckBox;
class QLabel;
class QPushButton;
class QRadioButton;
class QThreadPool;

namespace velmox {

class StatusReporter;

// Settings > Automation: "Automated Maintenance", the background agent that runs its tasks
// daily or weekly while Velmox need not run. Installing, updating, removing and reading the
// agent's state run on `pool` (systemctl may take a while); an answer that comes back after
// the pane has gone is dropped.
class AutomationSettingsPane : public QWidget {
    Q_OBJECT
public:
    // The agent as read back from its files and the service manager.
    struct AgentState {
        std::optional<MaintenanceAgentSettings> installed;
        QString timerState; // one sentence; empty when not installed
    };

    // `pool` must outlive the pane and be waited for before what the pane's work uses goes.
    explicit AutomationSettingsPane(QThreadPool& pool, QWidget* parent = nullptr);

    QCheckBox* enableSwitch() const { return enable_; }
    QCheckBox* cachesSwitch() const { return caches_; }
    QCheckBox* trashSwitch() const { return trash_; }
    QCheckBox* purgeSwitch() const { return purge_; }
    QRadioButton* weeklyButton() const { return weekly_; }
    QPushButton* updateButton() const { return update_; }
    QLabel* stateLabel() const { return state_; }
    StatusReporter* reporter() const { return reporter_; }
    bool isBusy() const { return busy_; }

    // The settings as the switches show them.
    MaintenanceAgentSettings chosen() const;
    void install();
    void remove();
    void refresh();

signals:
    // A piece of work has ended and the pane shows its outcome.
    void finished();

private:
    enum class Work { refresh, install, remove };
    // Does `kind` on the pool, reads the agent's state there too, and shows both; installs
    // and removals also end in a notification.
    void runAgentWork(Work kind);
    void showOutcome(Work kind, const Status& done, const AgentState& state);
    void showState(const AgentState& state);
    void setBusy(bool busy);

    QThreadPool& pool_;
    DesktopNotifier notifier_;
    QCheckBox* enable_;
    QCheckBox* caches_;
    QCheckBox* trash_;
    QCheckBox* purge_;
    QRadioButton* daily_;
    QRadioButton* weekly_;
    QPushButton* update_;
    QLabel* state_;
    StatusReporter* reporter_;
    std::optional<MaintenanceAgentSettings> installed_;
    bool busy_ = false;
};

} // namespace velmox
