#pragma once

#include "network/BlockApplier.h"
#include "network/BlockRule.h"
#include "network/HostsBackupManager.h"

#include <QObject>
#include <QThreadPool>
#include <memory>

namespace velmox {

class KeychainHelper;
class Settings;

// The model of the blocker's page: the saved list and switches, the status of the last
// apply, and the hosts backups. Main thread only. Applying, restoring and reading the
// backups run on a worker of the model's own (one at a time) and report back here; the
// destructor waits for a run still going. `settings`, `keychain` and whatever `run` uses
// must outlive the model.
class NetworkBlockerModel : public QObject {
    Q_OBJECT
public:
    NetworkBlockerModel(Settings& settings, KeychainHelper& keychain,
                        BlockApplier::PrivilegedRun run, QObject* parent = nullptr);
    ~NetworkBlockerModel() override;

    QList<BlockRule> rules() const { return rules_; }
    bool blockingEnabled() const;
    bool resolveIPs() const;
    QString statusMessage() const { return status_; }
    bool statusIsError() const { return statusIsError_; }
    bool pending() const { return pending_; }
    QList<HostsBackupRecord> backups() const { return backups_; }

    // List changes are saved at once; a refusal says why and changes nothing.
    Status add(const QString& typed);
    Status remove(qsizetype row);
    Status setRuleEnabled(qsizetype row, bool enabled);
    Status setResolveIPs(bool on);

    // Applies the list with blocking on or off. The switch changes only when the apply
    // succeeded; ignored while another run is pending.
    void apply(bool blockingOn);
    // Restores a backup. `vouched`: the user answered yes to restoring a backup without a
    // signature (the page asks before calling).
    void restore(const HostsBackupRecord& backup, bool vouched);
    void refreshBackups();

signals:
    void rulesChanged();
    void statusChanged();
    void backupsChanged();
    // One apply or restore ended; the page reports it and the log records it.
    void finished(const QString& action, const QString& message, bool success);

private:
    using Job = std::function<Result<QString>(BlockApplier&)>;
    // Runs `job` on the worker; when it succeeds and `switchTo` is set, saves the switch.
    void run(const QString& action, const QString& pendingText, Job job,
             std::optional<bool> switchTo);
    void setStatus(const QString& message, bool error, bool pending);
    Status change(const std::function<Status(QList<BlockRule>&)>& edit);

    Settings& settings_;
    KeychainHelper& keychain_;
    BlockApplier::PrivilegedRun run_;
    QList<BlockRule> rules_;
    QList<HostsBackupRecord> backups_;
    QString status_;
    bool statusIsError_ = false;
    bool pending_ = false;
    QThreadPool worker_; // last: destroyed, and so waited for, first
};

} // namespace velmox
