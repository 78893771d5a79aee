#include "network/BlockApplier.h"

#include "network/HostsFile.h"
#include "network/NftRuleset.h"
#include "network/PfAnchor.h"

#include <QFile>
#include <QTemporaryDir>

namespace velmox {

namespace {

// Which firewall and hosts path this system has. Both back ends are plain text and build
// everywhere.
#ifdef Q_OS_MACOS
constexpr bool kPacketFilter = true;
#else
constexpr bool kPacketFilter = false;
#endif

Status writeFile(const QString& path, const QByteArray& bytes) {
    QFile file(path);
    if (!file.open(QIODevice::WriteOnly) || file.write(bytes) != bytes.size() || !file.flush())
        return failure(file.errorString());
    return Done{};
}

QString outputOf(const CommandResult& result) {
    return result ? *result : result.error().description();
}

QString plural(qsizetype count, const char* one, const char* many) {
    return QStringLiteral("%1 %2").arg(count).arg(QLatin1String(count == 1 ? one : many));
}

} // namespace

BlockApplier::BlockApplier(HostsBackupManager& backups, PrivilegedRun runPrivileged)
    : backups_(backups), runPrivileged_(std::move(runPrivileged)) {}

QString BlockApplier::hostsPath() {
    return kPacketFilter ? QStringLiteral("/private/etc/hosts") : QStringLiteral("/etc/hosts");
}

QString BlockApplier::resultMessage(qsizetype names, qsizetype addresses) {
    QStringList parts;
    if (names > 0)
        parts << plural(names, "name", "names") + QStringLiteral(" in the hosts file");
    if (addresses > 0)
        parts << plural(addresses, "address", "addresses") + QStringLiteral(" in the firewall");
    if (parts.isEmpty())
        return QStringLiteral("Nothing is blocked now.");
    return QStringLiteral("Blocking is on: %1.").arg(parts.join(QStringLiteral(", ")));
}

Result<QString> BlockApplier::apply(const QList<BlockRule>& rules, bool blockingOn) {
    const Result<QString> applied = install(rules, blockingOn);
    if (applied)
        return applied;
    return failure(applied.error() + (blockingOn
                                          ? QStringLiteral(" Blocking was not turned on.")
                                          : QStringLiteral(" Blocking was not turned off.")));
}

Result<QString> BlockApplier::install(const QList<BlockRule>& rules, bool blockingOn) {
    QFile hosts(hostsPath());
    if (!hosts.open(QIODevice::ReadOnly))
        return failure(QStringLiteral("Could not read /etc/hosts."));
    const QByteArray current = hosts.readAll();
    if (hosts.error() != QFileDevice::NoError)
        return failure(QStringLiteral("Could not read /etc/hosts."));
    hosts.close();

    const auto backup = backups_.backUp(current);
    if (!backup)
        return failure(backup.error());

    QTemporaryDir folder;
    if (!folder.isValid())
        return failure(QStringLiteral("Could not prepare the hosts file: ") + folder.errorString());
    const BlockChainFiles files{folder.filePath(QStringLiteral("hosts")),
                                folder.filePath(QStringLiteral("rules"))};
    if (const Status written =
            writeFile(files.hosts, HostsFile::rewrite(current, rules, blockingOn));
        !written)
        return failure(QStringLiteral("Could not prepare the hosts file: ") + written.error());

    const FirewallAddresses addresses =
        blockingOn ? firewallAddresses(rules, resolver_) : FirewallAddresses{};
    const QByteArray ruleText =
        kPacketFilter ? PfAnchor::ruleFile(addresses)
                      : NftRuleset::script(addresses.isEmpty() ? nullptr : &addresses);
    const QString chain =
        kPacketFilter ? PfAnchor::applyChain(files) : NftRuleset::applyChain(files);
    if (const Status written = writeFile(files.rules, ruleText); !written)
        return failure(QStringLiteral("Could not prepare the firewall rules: ") + written.error());

    const CommandResult ran = runPrivileged_(chain);
    if (!ran || !ran->contains(QLatin1String(kBlockerOkMarker)))
        return failure(QStringLiteral("Could not apply the blocklist: ") + outputOf(ran));
    if (!blockingOn)
        return QStringLiteral("Nothing is blocked now.");
    return resultMessage(HostsFile::blockedNameCount(rules), addresses.size());
}

Result<QString> BlockApplier::restore(const HostsBackupRecord& backup,
                                      const HostsBackupManager::ConfirmUnsigned& confirmUnsigned) {
    const auto contents = backups_.verifiedContents(backup, confirmUnsigned);
    if (!contents)
        return failure(contents.error());
    QTemporaryDir folder;
    const QString copy = folder.filePath(QStringLiteral("hosts"));
    const Status written =
        folder.isValid() ? writeFile(copy, *contents) : Status(failure(folder.errorString()));
    if (!written)
        return failure(
            QStringLiteral("Could not prepare the backup for restoring: %1").arg(written.error()));
    const QString chain =
        kPacketFilter ? PfAnchor::restoreChain(copy) : NftRuleset::restoreChain(copy);
    const CommandResult ran = runPrivileged_(chain);
    if (!ran || !ran->contains(QLatin1String(kBlockerOkMarker)))
        return failure(QStringLiteral("Could not restore the hosts file: ") + outputOf(ran));
    return QStringLiteral("Restored the hosts file from %1.").arg(backup.name());
}

} // namespace velmox
