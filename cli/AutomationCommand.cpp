// velmox automation: the rules store and the automation tasks on the command line.
#include "automation/AutomationCatalogue.h"
#include "automation/AutomationEngine.h"
#include "automation/AutomationNotifier.h"
#include "automation/AutomationStore.h"
#include "automation/SystemTaskPerformer.h"
#include "automation/agent/LinuxMaintenanceAgent.h"
#include "cli/AutomationAgentCommand.h"
#include "platform/PromptElevation.h"
#include "platform/QtKeychainSecretStore.h"
#include "services/ActionHistoryStore.h"
#include "services/Clock.h"
#include "services/KeychainHelper.h"
#include "services/Settings.h"
#include "services/ShellHelper.h"

#include <QEventLoop>
#include <QJsonArray>
#include <QJsonDocument>
#include <QJsonObject>
#include <cstdio>
#include <unistd.h>

namespace velmox {

namespace {

int usage(CliIO& io) {
    io.err << usageLine(QStringLiteral("automation")) << '\n';
    return 2;
}

QString yesNo(bool value) {
    return value ? QStringLiteral("on") : QStringLiteral("off");
}

void printList(const AutomationStoreData& data, QTextStream& out) {
    out << "Rules\n";
    if (data.rules.isEmpty())
        out << "  none\n";
    for (const AutomationRule& rule : data.rules)
        out << "  " << rule.name << (rule.enabled ? "" : " (off)") << ": when "
            << editorLabel(rule.condition).toLower()
            << (isEvent(rule.condition) ? QString() : QStringLiteral(" %1").arg(rule.threshold))
            << ", run " << actionTitle(rule.actionId, data.chains) << " (" << cooldownSummary(rule)
            << ")\n";
    out << "Routines\n";
    if (data.chains.isEmpty())
        out << "  none\n";
    for (const AutomationChain& chain : data.chains)
        out << "  " << chain.name << " (chain:" << chain.id << "): " << chain.steps.join(", ")
            << "; " << summary(chain.plan) << '\n';
    out << "Profiles\n";
    for (const AutomationProfile& profile : builtInProfiles() + data.profiles)
        out << "  " << profile.name << " (" << profile.id << "): " << profile.steps.join(", ")
            << '\n';
    out << "Protected folders: "
        << (data.protectedFolders.isEmpty() ? QStringLiteral("none")
                                            : data.protectedFolders.join(QStringLiteral(", ")))
        << '\n';
    out << "Protected apps: "
        << (data.protectedBundleIDs.isEmpty() ? QStringLiteral("none")
                                              : data.protectedBundleIDs.join(QStringLiteral(", ")))
        << '\n';
    const AutomationCustomSchedule& schedule = data.customSchedule;
    out << "Custom schedule: " << yesNo(schedule.enabled) << ", "
        << actionTitle(schedule.target, data.chains) << ", " << summary(schedule.plan) << '\n';
}

QJsonObject listJson(const AutomationStoreData& data) {
    QJsonObject object = toJson(data);
    QJsonArray profiles;
    for (const AutomationProfile& profile : builtInProfiles() + data.profiles)
        profiles.append(toJson(profile));
    object.insert(QStringLiteral("profiles"), profiles);
    // The agent's own files say what is installed.
    object.insert(QStringLiteral("agent"), agentJson(LinuxMaintenanceAgent::installed()));
    return object;
}

int list(bool json, CliIO& io) {
    AutomationStore store;
    const AutomationStore::Loaded loaded = store.load();
    if (!loaded.problem.isEmpty())
        io.err << loaded.problem << '\n';
    if (json)
        io.out << QJsonDocument(listJson(loaded.data)).toJson(QJsonDocument::Indented);
    else
        printList(loaded.data, io.out);
    return 0;
}

// What `run` was asked to run.
struct Target {
    QString actionId;
    QString title;
    QStringList steps;
    std::optional<AutomationChain> chain;
    std::optional<AutomationProfile> profile;
};

std::optional<Target> findTarget(const QString& action, const AutomationStoreData& data) {
    if (const auto task = findAutomationTask(action))
        return Target{action, task->title, {task->id}, {}, {}};
    if (action.startsWith(chainPrefix)) {
        for (const AutomationChain& chain : data.chains)
            if (chainPrefix + chain.id == action)
                return Target{action, chain.name, chain.steps, chain, {}};
        // Running it reports the missing routine.
        return Target{action, action, {}, {}, {}};
    }
    for (const AutomationProfile& profile : builtInProfiles() + data.profiles)
        if (profile.id == action)
            return Target{action, profile.name, profile.steps, {}, profile};
    return std::nullopt;
}

struct RunOptions {
    QString action;
    bool dryRun = false;
    bool yes = false;
    bool json = false;
};

int run(const RunOptions& options, CliIO& io) {
    Settings settings;
    SystemClock& clock = SystemClock::shared();
    AutomationStore store;
    const AutomationStoreData data = store.load().data;
    const std::optional<Target> target = findTarget(options.action, data);
    if (!target) {
        io.err << "There is no task, routine or profile called “" << options.action
               << "”. Run “velmox automation list” to see them.\n";
        return 1;
    }
    const bool dryRun = options.dryRun || settings.boolValue(AutomationSettingsKeys::dryRun, false);
    const QString caution = runCaution(target->title, target->steps);
    if (!dryRun && !caution.isEmpty() && !options.yes &&
        !(canAskOnTerminal(caution, io) && answeredYes(caution, io)))
        return 1;

    ActionHistoryStore history(settings, clock);
    QObject::connect(&history, &ActionHistoryStore::saveFailed,
                     [&io](const QString& message) { io.err << message << '\n'; });
    QtKeychainSecretStore secrets;
    KeychainHelper keychain(secrets);
    SystemAutomationEnvironment environment(SystemAutomationEnvironment::systemSources(clock));
    DesktopNotifier notifier;
    const std::unique_ptr<PromptElevation> prompt = PromptElevation::forThisSystem();
    ShellHelper shell(keychain, settings, *prompt);
    const std::unique_ptr<AutomationTaskPerformer> performer =
        makeSystemTaskPerformer(keychain, shell);
    AutomationEngine engine({settings, clock, history, *performer, store, environment, notifier,
                             AutomationEngine::rootOrSavedPassword(keychain)});

    std::optional<AutomationRunResult> result;
    QEventLoop loop;
    const auto finished = [&](const AutomationRunResult& done) {
        result = done;
        loop.quit();
    };
    if (target->profile)
        engine.runProfile(*target->profile, finished, options.dryRun);
    else if (target->chain)
        engine.runChainNow(*target->chain, finished, options.dryRun);
    else
        engine.run(target->actionId, QStringLiteral("manual"), target->title, finished,
                   options.dryRun);
    if (!result)
        loop.exec();

    if (!result->success) {
        io.err << result->message() << '\n';
        return 1;
    }
    if (options.json)
        io.out << QJsonDocument(QJsonObject{{QStringLiteral("action"), target->actionId},
                                            {QStringLiteral("title"), target->title},
                                            {QStringLiteral("success"), true},
                                            {QStringLiteral("dryRun"), dryRun},
                                            {QStringLiteral("message"), result->message()},
                                            {QStringLiteral("lines"),
                                             QJsonArray::fromStringList(result->lines)}})
                      .toJson(QJsonDocument::Indented);
    else
        io.out << result->message() << '\n';
    return 0;
}

int runAutomation(const QStringList& args, CliIO& io) {
    const QString verb = args.value(0);
    if (verb == QLatin1String("list") && args.size() <= 2) {
        const bool json = args.size() == 2;
        if (json && args.at(1) != QLatin1String("--json"))
            return usage(io);
        return list(json, io);
    }
    if (verb == QLatin1String("run") && args.size() >= 2) {
        RunOptions options;
        for (const QString& arg : args.mid(1)) {
            if (arg == QLatin1String("--dry-run"))
                options.dryRun = true;
            else if (arg == QLatin1String("--yes"))
                options.yes = true;
            else if (arg == QLatin1String("--json"))
                options.json = true;
            else if (options.action.isEmpty() && !arg.startsWith(QLatin1String("--")))
                options.action = arg;
            else
                return usage(io);
        }
        if (options.action.isEmpty())
            return usage(io);
        return run(options, io);
    }
    if (verb == QLatin1String("agent"))
        return runAutomationAgent(args.mid(1), io);
    return usage(io);
}

} // namespace

VELMOX_CLI_COMMAND(automation,
                   "automation list [--json] | automation run ACTION [--dry-run] [--yes] [--json] "
                   "| " VELMOX_AUTOMATION_AGENT_USAGE,
                   "Lists the automation rules, routines and profiles, or runs a task id, "
                   "\"chain:ID\" or a profile id.",
                   runAutomation);

} // namespace velmox
