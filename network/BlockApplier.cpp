#include "network/BlockApplier.h"

#include "network/HostsFile.h"
#include "network/NftRuleset.h"
#include "network/PfAnchor.h"

#include <QFile>
#include <QTemporaryDir>

namespace velmox {

namespace {

Status writeFile(const QString& path, const QByteArray& bytes) {
    QFile file(path);
    if (!file.open(QIODevice::WriteOnly) || file.write(bytes) != bytes.size() || !file.flush())
        return failure(file.errorString());
    // Root reads these files; the mode must let it whatever the umask.
    file.setPermissions(QFile::ReadOwner | QFile::WriteOwner | QFile::ReadGroup | QFile::ReadOther);
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
#ifdef Q_OS_MACOS
    return QStringLiteral("/private/etc/hosts");
#else
    return QStringLiteral("/etc/hosts");
#endif
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
    // Root must be able to reach the files from inside the folder.
    QFile::setPermissions(folder.path(), QFile::ReadOwner | QFile::WriteOwner | QFile::ExeOwner |
                                             QFile::ExeGroup | QFile::ExeOther);
    const BlockChainFiles files{folder.filePath(QStringLiteral("hosts")),
                                folder.filePath(QStringLiteral("rules"))};
    if (const Status written =
            writeFile(files.hosts, HostsFile::rewrite(current, rules, blockingOn));
        !written)
        return failure(QStringLiteral("Could not prepare the hosts file: ") + written.error());

    const FirewallAddresses addresses =
        blockingOn ? firewallAddresses(rules, resolver_) : FirewallAddresses{};
#ifdef Q_OS_MACOS
    const QByteArray ruleText = PfAnchor::ruleFile(addresses);
    const QString chain = PfAnchor::applyChain(files);
#else
    const QByteArray ruleText = NftRuleset::script(addresses.isEmpty() ? nullptr : &addresses);
    const QString chain = NftRuleset::applyChain(files);
#endif
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
    QFile::setPermissions(folder.path(), QFile::ReadOwner | QFile::WriteOwner | QFile::ExeOwner |
                                             QFile::ExeGroup | QFile::ExeOther);
    const Status written =
        folder.isValid() ? writeFile(copy, *contents) : Status(failure(folder.errorString()));
    if (!written)
        return failure(
            QStringLiteral("Could not prepare the backup for restoring: %1").arg(written.error()));
#ifdef Q_OS_MACOS
    const QString chain = PfAnchor::restoreChain(copy);
#else
    const QString chain = NftRuleset::restoreChain(copy);
#endif
    const CommandResult ran = runPrivileged_(chain);
    if (!ran || !ran->contains(QLatin1String(kBlockerOkMarker)))
        return failure(QStringLiteral("Could not restore the hosts file: ") + outputOf(ran));
    return QStringLiteral("Restored the hosts file from %1.").arg(backup.name());
}

} // namespace velmox
