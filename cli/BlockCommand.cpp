// velmox block: the address blocker on the command line.
#include "cli/CliCommand.h"
#include "cli/PrivilegedServices.h"
#include "network/BlockApplier.h"
#include "network/BlockRule.h"
#include "network/FirewallAddresses.h"
#include "network/HostsBackupManager.h"
#include "network/HostsFile.h"
#include "services/Clock.h"
#include "services/Settings.h"

#include <QFile>
#include <QJsonArray>
#include <QJsonDocument>
#include <QJsonObject>

namespace velmox {

namespace {

int usage(CliIO& io) {
    io.err << usageLine(QStringLiteral("block")) << '\n';
    return 2;
}

void printRules(const QList<BlockRule>& rules, bool json, QTextStream& out) {
    if (json) {
        QJsonArray array;
        for (const BlockRule& rule : rules)
            array.append(toJson(rule));
        out << QJsonDocument(array).toJson(QJsonDocument::Indented);
        return;
    }
    if (rules.isEmpty())
        out << "The block list is empty.\n";
    for (const BlockRule& rule : rules) {
        out << rule.value << "  [" << rawValue(rule.kind) << (rule.enabled ? "" : ", disabled")
            << ']';
        if (rule.source != rule.value)
            out << "  from " << rule.source;
        out << '\n';
    }
}

// Adds, removes, enables or disables one rule and prints the list as saved.
int changeList(const QString& verb, const QString& typed, bool json, CliIO& io) {
    Settings settings;
    const auto saved = changeBlockRules(settings, [&](QList<BlockRule>& rules) -> Status {
        if (verb == QLatin1String("add")) {
            const auto rule = parseBlockInput(typed);
            return rule ? addBlockRule(rules, *rule) : Status(failure(rule.error()));
        }
        const qsizetype at = findBlockRule(rules, typed);
        if (at < 0)
            return failure(QStringLiteral("“%1” is not in the block list.").arg(typed));
        if (verb == QLatin1String("remove"))
            rules.removeAt(at);
        else
            rules[at].enabled = verb == QLatin1String("enable");
        return Done{};
    });
    if (!saved) {
        io.err << saved.error() << '\n';
        return 1;
    }
    printRules(*saved, json, io.out);
    return 0;
}

// The system's blocker state changes: apply, off and restore.
struct BlockerWorld : PrivilegedServices {
    HostsBackupManager backups{keychain};
    BlockApplier applier{backups,
                         [this](const QString& line) { return shell.runPrivileged(line, true); }};
};

int applyBlocking(bool on, CliIO& io) {
    BlockerWorld world;
    const QList<BlockRule> rules = loadBlockRules(world.settings);
    if (world.settings.boolValue(QLatin1String(BlockerKeys::kResolveIPs), false))
        world.applier.setResolver(resolveThroughDns);
    const Result<QString> result = world.applier.apply(rules, on);
    world.history.record(on ? QStringLiteral("Blocker: Apply") : QStringLiteral("Blocker: Off"),
                         result ? *result : result.error(), result.has_value());
    if (!result) {
        io.err << result.error() << '\n';
        return 1;
    }
    if (const Status saved = world.settings.setValue(BlockerKeys::kEnabled, on); !saved) {
        io.err << saved.error() << '\n';
        return 1;
    }
    io.out << *result << '\n';
    return 0;
}

int preview(const QString& path, CliIO& io) {
    QFile file(path);
    if (!file.open(QIODevice::ReadOnly)) {
        io.err << "Could not read " << path << ".\n";
        return 1;
    }
    Settings settings;
    io.out.flush();
    const QByteArray text = HostsFile::rewrite(file.readAll(), loadBlockRules(settings), true);
    QFile standardOutput;
    if (!standardOutput.open(stdout, QIODevice::WriteOnly) ||
        standardOutput.write(text) != text.size())
        return 1;
    return 0;
}

int listBackups(bool json, CliIO& io) {
    QtKeychainSecretStore secrets;
    KeychainHelper keychain(secrets);
    const QList<HostsBackupRecord> backups = HostsBackupManager(keychain).list();
    if (json) {
        QJsonArray array;
        for (const HostsBackupRecord& backup : backups)
            array.append(
                QJsonObject{{QStringLiteral("name"), backup.name()},
                            {QStringLiteral("folder"), backup.folder},
                            {QStringLiteral("created"), backup.created.toString(Qt::ISODateWithMs)},
                            {QStringLiteral("signed"), backup.signedBackup}});
        io.out << QJsonDocument(array).toJson(QJsonDocument::Indented);
        return 0;
    }
    if (backups.isEmpty())
        io.out << "No backups yet. One is taken automatically before every save.\n";
    for (const HostsBackupRecord& backup : backups)
        io.out << backup.name() << (backup.signedBackup ? "" : "  (no signature)") << '\n';
    return 0;
}

int restore(const QString& name, bool yes, CliIO& io) {
    BlockerWorld world;
    const auto backup = world.backups.find(name);
    if (!backup) {
        io.err << "There is no hosts backup named “" << name
               << "”; `velmox block backups` lists them.\n";
        return 1;
    }
    const Result<QString> result =
        world.applier.restore(*backup, [yes](const QString&, const QString&) { return yes; });
    world.history.record(QStringLiteral("Blocker: Restore Hosts File"),
                         result ? *result : result.error(), result.has_value());
    (result ? io.out : io.err) << (result ? *result : result.error()) << '\n';
    return result ? 0 : 1;
}

int runBlock(const QStringList& args, CliIO& io) {
    const QString verb = args.value(0);
    QStringList rest = args.mid(1);
    const bool json = rest.removeAll(QStringLiteral("--json")) > 0;
    static const QStringList changes{QStringLiteral("add"), QStringLiteral("remove"),
                                     QStringLiteral("enable"), QStringLiteral("disable")};
    if (verb == QLatin1String("list") && rest.isEmpty()) {
        Settings settings;
        printRules(loadBlockRules(settings), json, io.out);
        return 0;
    }
    if (changes.contains(verb) && rest.size() == 1)
        return changeList(verb, rest.first(), json, io);
    if (json && verb != QLatin1String("backups"))
        return usage(io);
    if ((verb == QLatin1String("apply") || verb == QLatin1String("off")) && rest.isEmpty())
        return applyBlocking(verb == QLatin1String("apply"), io);
    if (verb == QLatin1String("preview") && rest.isEmpty())
        return preview(BlockApplier::hostsPath(), io);
    if (verb == QLatin1String("preview") && rest.size() == 2 &&
        rest.first() == QLatin1String("--hosts"))
        return preview(rest.at(1), io);
    if (verb == QLatin1String("backups") && rest.isEmpty())
        return listBackups(json, io);
    if (verb == QLatin1String("restore") && !rest.isEmpty()) {
        const bool yes = rest.removeAll(QStringLiteral("--yes")) > 0;
        if (rest.size() == 1)
            return restore(rest.first(), yes, io);
    }
    return usage(io);
}

} // namespace

VELMOX_CLI_COMMAND(block,
                   "block list|add VALUE|remove VALUE|enable VALUE|disable VALUE [--json] | "
                   "block apply | block off | block preview [--hosts FILE] | "
                   "block backups [--json] | block restore NAME [--yes]",
                   "Manages the address blocker: its list, the hosts file and the firewall.",
                   runBlock);

} // namespace velmox
