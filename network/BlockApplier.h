#pragma once

#include "network/BlockRule.h"
#include "network/FirewallAddresses.h"
#include "network/HostsBackupManager.h"
#include "services/CommandExecutorError.h"

#include <QString>
#include <functional>

namespace velmox {

// Applies the blocker's list to the system: backs up the hosts file, prepares the new hosts
// text and firewall rules in a private temporary folder, and runs one administrator chain
// that installs both (so the password is used once). Blocking; belongs on a worker thread.
// Holds references only; the caller keeps the backup manager alive while a call runs.
class BlockApplier {
public:
    // Runs one shell line as root (ShellHelper::runPrivileged in the application).
    using PrivilegedRun = std::function<CommandResult(const QString& shellLine)>;

    BlockApplier(HostsBackupManager& backups, PrivilegedRun runPrivileged);

    // With a resolver, domain rules also put the addresses their names resolve to into the
    // firewall.
    void setResolver(HostResolver resolver) { resolver_ = std::move(resolver); }

    // Turns blocking on with `rules`, or off (the managed block and the firewall table
    // removed). Returns the result sentence; a failure leaves the hosts file and the
    // firewall as they were, and says that the switch did not change.
    Result<QString> apply(const QList<BlockRule>& rules, bool blockingOn);

    // Copies a backup's verified contents over the hosts file.
    Result<QString> restore(const HostsBackupRecord& backup,
                            const HostsBackupManager::ConfirmUnsigned& confirmUnsigned);

    // The sentence an apply that succeeded ends with.
    static QString resultMessage(qsizetype names, qsizetype addresses);

    static QString hostsPath();

private:
    Result<QString> install(const QList<BlockRule>& rules, bool blockingOn);

    HostsBackupManager& backups_;
    PrivilegedRun runPrivileged_;
    HostResolver resolver_;
};

} // namespace velmox
