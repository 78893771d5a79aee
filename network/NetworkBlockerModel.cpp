#include "network/NetworkBlockerModel.h"

#include "network/FirewallAddresses.h"
#include "services/Settings.h"

#include <QPointer>

namespace velmox {

NetworkBlockerModel::NetworkBlockerModel(Settings& settings, KeychainHelper& keychain,
                                         BlockApplier::PrivilegedRun run, QObject* parent)
    : QObject(parent), settings_(settings), keychain_(keychain), run_(std::move(run)),
      rules_(loadBlockRules(settings)) {
    worker_.setMaxThreadCount(1);
    connect(&settings_, &Settings::valueChanged, this, [this](const QString& key) {
        if (key == QLatin1String(BlockerKeys::kRules)) {
            rules_ = loadBlockRules(settings_);
            emit rulesChanged();
        }
    });
}

NetworkBlockerModel::~NetworkBlockerModel() {
    worker_.waitForDone();
}

bool NetworkBlockerModel::blockingEnabled() const {
    return settings_.boolValue(QLatin1String(BlockerKeys::kEnabled), false);
}

bool NetworkBlockerModel::resolveIPs() const {
    return settings_.boolValue(QLatin1String(BlockerKeys::kResolveIPs), false);
}

Status NetworkBlockerModel::change(const std::function<Status(QList<BlockRule>&)>& edit) {
    const auto saved = changeBlockRules(settings_, edit);
    if (!saved)
        return failure(saved.error());
    rules_ = *saved;
    emit rulesChanged();
    return Done{};
}

Status NetworkBlockerModel::add(const QString& typed) {
    const auto rule = parseBlockInput(typed);
    if (!rule)
        return failure(rule.error());
    return change([&](QList<BlockRule>& rules) { return addBlockRule(rules, *rule); });
}

Status NetworkBlockerModel::remove(qsizetype row) {
    if (row < 0 || row >= rules_.size())
        return Done{};
    const QString value = rules_.at(row).value;
    return change([&](QList<BlockRule>& rules) {
        rules.removeIf([&](const BlockRule& rule) { return rule.value == value; });
        return Status(Done{});
    });
}

Status NetworkBlockerModel::setRuleEnabled(qsizetype row, bool enabled) {
    if (row < 0 || row >= rules_.size())
        return Done{};
    const QString value = rules_.at(row).value;
    return change([&](QList<BlockRule>& rules) {
        for (BlockRule& rule : rules)
            if (rule.value == value)
                rule.enabled = enabled;
        return Status(Done{});
    });
}

Status NetworkBlockerModel::setResolveIPs(bool on) {
    return settings_.setValue(QLatin1String(BlockerKeys::kResolveIPs), on);
}

void NetworkBlockerModel::setStatus(const QString& message, bool error, bool pending) {
    status_ = message;
    statusIsError_ = error;
    pending_ = pending;
    emit statusChanged();
}

void NetworkBlockerModel::run(const QString& action, const QString& pendingText, Job job,
                              std::optional<bool> switchTo) {
    if (pending_)
        return;
    setStatus(pendingText, false, true);
    KeychainHelper* keychain = &keychain_;
    QPointer<NetworkBlockerModel> model(this);
    worker_.start([model, keychain, job = std::move(job), runner = run_, action, switchTo] {
        HostsBackupManager backups(*keychain);
        BlockApplier applier(backups, runner);
        const Result<QString> result = job(applier);
        const QList<HostsBackupRecord> list = backups.list();
        QMetaObject::invokeMethod(
            model,
            [model, result, list, action, switchTo] {
                if (!model)
                    return;
                model->backups_ = list;
                emit model->backupsChanged();
                Result<QString> outcome = result;
                if (outcome && switchTo) {
                    const Status saved =
                        model->settings_.setValue(QLatin1String(BlockerKeys::kEnabled), *switchTo);
                    if (!saved)
                        outcome = failure(saved.error());
                }
                model->setStatus(outcome ? *outcome : outcome.error(), !outcome, false);
                emit model->finished(action, model->status_, outcome.has_value());
            },
            Qt::QueuedConnection);
    });
}

void NetworkBlockerModel::apply(bool blockingOn) {
    const QList<BlockRule> rules = rules_;
    const bool resolve = blockingOn && resolveIPs();
    run(
        blockingOn ? QStringLiteral("Blocker: Apply") : QStringLiteral("Blocker: Off"),
        QStringLiteral("Applying blocking rules..."),
        [rules, blockingOn, resolve](BlockApplier& applier) {
            if (resolve)
                applier.setResolver(resolveThroughDns);
            return applier.apply(rules, blockingOn);
        },
        blockingOn);
}

void NetworkBlockerModel::restore(const HostsBackupRecord& backup, bool vouched) {
    run(
        QStringLiteral("Blocker: Restore Hosts File"),
        QStringLiteral("Restoring the hosts file..."),
        [backup, vouched](BlockApplier& applier) {
            return applier.restore(backup,
                                   [vouched](const QString&, const QString&) { return vouched; });
        },
        std::nullopt);
}

void NetworkBlockerModel::refreshBackups() {
    KeychainHelper* keychain = &keychain_;
    QPointer<NetworkBlockerModel> model(this);
    worker_.start([model, keychain] {
        const QList<HostsBackupRecord> list = HostsBackupManager(*keychain).list();
        QMetaObject::invokeMethod(
            model,
            [model, list] {
                if (!model)
                    return;
                model->backups_ = list;
                emit model->backupsChanged();
            },
            Qt::QueuedConnection);
    });
}

} // namespace velmox
