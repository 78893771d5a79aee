// velmox palette: the palette's ranking, its entries run, and its window, from the command line.
#include "automation/AutomationEngine.h"
#include "automation/AutomationNotifier.h"
#include "automation/AutomationStore.h"
#include "automation/SystemTaskPerformer.h"
#include "cleaning/OptimizationRegistry.h"
#include "cleaning/OptimizationTaskRunner.h"
#include "cleaning/TaskMeasurer.h"
#include "cleaning/UnresponsiveAppKiller.h"
#include "cli/CliCommand.h"
#include "cli/PrivilegedServices.h"
#include "palette/PaletteAutomation.h"
#include "palette/PaletteCatalog.h"
#include "palette/PaletteMatcher.h"
#include "services/Clock.h"
#include "services/Settings.h"

#include <QCoreApplication>
#include <QDBusConnection>
#include <QDBusConnectionInterface>
#include <QDBusMessage>
#include <QDeadlineTimer>
#include <QEventLoop>
#include <QJsonArray>
#include <QJsonDocument>
#include <QJsonObject>
#include <QProcess>
#include <QThread>
#include <cstdio>
#include <unistd.h>

namespace velmox {

namespace {

struct PaletteArguments {
    QStringList words;
    bool json = false;
    int limit = -1; // every match
    QString run;
    bool yes = false;
    bool window = false;
    QStringList add; // name and shell line
};

std::optional<PaletteArguments> parseArguments(const QStringList& args) {
    PaletteArguments parsed;
    for (qsizetype i = 0; i < args.size(); ++i) {
        const QString& arg = args.at(i);
        if (arg == QLatin1String("--json")) {
            parsed.json = true;
        } else if (arg == QLatin1String("--limit")) {
            bool ok = false;
            parsed.limit = i + 1 < args.size() ? args.at(++i).toInt(&ok) : 0;
            if (!ok || parsed.limit < 1)
                return std::nullopt;
        } else if (arg == QLatin1String("--run") && i + 1 < args.size()) {
            parsed.run = args.at(++i);
        } else if (arg == QLatin1String("--yes")) {
            parsed.yes = true;
        } else if (arg == QLatin1String("--window")) {
            parsed.window = true;
        } else if (arg == QLatin1String("--add-command") && i + 2 < args.size()) {
            parsed.add = args.mid(i + 1, 2);
            i += 2;
        } else if (arg.startsWith(QLatin1String("--"))) {
            return std::nullopt;
        } else {
            parsed.words.append(arg);
        }
    }
    // One thing at a time: a ranking, a run, the window or a new command.
    const int modes = int(!parsed.run.isEmpty()) + int(parsed.window) + int(!parsed.add.isEmpty());
    if (modes > 1 || (modes == 1 && (!parsed.words.isEmpty() || parsed.limit > 0)) ||
        (parsed.yes && parsed.run.isEmpty()))
        return std::nullopt;
    return parsed;
}

// Every entry, with the user's routines, profiles and commands as their files hold them now.
QList<PaletteEntry> allEntries(CliIO& io) {
    PaletteSources sources = builtInPaletteSources(OptimizationRegistry());
    AutomationStore automation;
    const AutomationStore::Loaded loaded = automation.load();
    if (!loaded.problem.isEmpty())
        io.err << loaded.problem << '\n';
    sources.chains = loaded.data.chains;
    sources.profiles += loaded.data.profiles;
    const PaletteCommandStore::Loaded commands = PaletteCommandStore().load();
    if (!commands.problem.isEmpty())
        io.err << commands.problem << '\n';
    sources.commands = commands.commands;
    return paletteEntries(sources);
}

int rank(const PaletteArguments& arguments, CliIO& io) {
    const PaletteIndex index(allEntries(io));
    const QList<PaletteEntry>& entries = index.entries();
    const QString query = arguments.words.join(u' ');
    QList<PaletteMatch> matches = index.rank(query);
    if (arguments.limit > 0 && matches.size() > arguments.limit)
        matches.resize(arguments.limit);

    if (arguments.json) {
        QJsonArray array;
        for (const PaletteMatch& match : matches) {
            const PaletteEntry& entry = entries[match.index];
            array.append(QJsonObject{{QStringLiteral("id"), entry.id},
                                     {QStringLiteral("title"), entry.title},
                                     {QStringLiteral("section"), rawValue(entry.section)},
                                     {QStringLiteral("score"), match.score}});
        }
        io.out << QJsonDocument(array).toJson(QJsonDocument::Indented);
        return 0;
    }
    if (matches.isEmpty()) {
        io.out << "Nothing matches “" << query
               << "”. Try another word, for example a page, a tab or a command.\n";
        return 0;
    }
    for (const PaletteMatch& match : matches) {
        const PaletteEntry& entry = entries[match.index];
        io.out << QString::number(match.score).rightJustified(4) << "  " << entry.title << "  ("
               << entry.id << ")\n";
    }
    return 0;
}

// The palette's question on the terminal, a blank line before what is asked.
bool confirmed(const QString& question, CliIO& io) {
    const QString gap = QStringLiteral("\n\n");
    return canAskOnTerminal(question, io, gap) && answeredYes(question, io, gap);
}


int finish(bool success, const QString& message, CliIO& io) {
    (success ? io.out : io.err) << message << '\n';
    return success ? 0 : 1;
}

std::optional<OptimizationTask> maintenanceTask(const QString& key) {
    for (const OptimizationTask& task : OptimizationRegistry().allTasks())
        if (OptimizationRegistry::key(task) == key)
            return task;
    return std::nullopt;
}

// Asks the entry's question, with what the task would delete or end found first, and runs it.
int runMaintenanceTask(const PaletteEntry& entry, const OptimizationTask& task, bool yes,
                       CliIO& io) {
    QString findings;
    OptimizationTaskRunner::AppsToEnd appsToEnd;
    if (task.work == TaskWork::endHungProcesses) {
        const std::unique_ptr<WindowPinger> pinger = WindowPinger::forThisSession();
        const Result<QList<UnresponsiveAppKiller::App>> found =
            UnresponsiveAppKiller(*pinger).find();
        findings = UnresponsiveAppKiller::toEndSentence(found);
        if (!found || found->isEmpty())
            return finish(found.has_value(), findings, io);
        appsToEnd = UnresponsiveAppKiller::pids(found);
    } else if (task.deletesPermanently()) {
        findings = deletionSentence(task, TaskMeasurement::of(task));
    }
    const QString question = questionWithFindings(entry.question, findings);
    if (!question.isEmpty() && !yes && !confirmed(question, io))
        return 1;

    PrivilegedServices services;
    QObject::connect(&services.history, &ActionHistoryStore::saveFailed,
                     [&io](const QString& message) { io.err << message << '\n'; });
    OptimizationTaskRunner runner(services.shell, services.history);
    const TaskRunResult result = runner.runBlocking(task, appsToEnd);
    return finish(result.success, task.title + QStringLiteral(": ") + resultLine(task, result), io);
}

int runAutomation(const PaletteEntry& entry, PrivilegedServices& services, CliIO& io) {
    AutomationStore store;
    SystemAutomationEnvironment environment(
        SystemAutomationEnvironment::systemSources(SystemClock::shared()));
    DesktopNotifier notifier;
    const std::unique_ptr<AutomationTaskPerformer> performer =
        makeSystemTaskPerformer(services.keychain, services.shell);
    AutomationEngine engine({services.settings, SystemClock::shared(), services.history, *performer,
                             store, environment, notifier,
                             AutomationEngine::rootOrSavedPassword(services.keychain)});
    std::optional<AutomationRunResult> result;
    QEventLoop loop;
    if (!runAutomationEntry(engine, entry, [&](const AutomationRunResult& done) {
            result = done;
            loop.quit();
        }))
        return finish(false, QStringLiteral("There is no profile “%1”.").arg(entry.title), io);
    if (!result)
        loop.exec();
    return finish(result->success, shownMessage(result->message()), io);
}

int runCustomCommand(const QString& id, PrivilegedServices& services, CliIO& io) {
    const std::optional<PaletteCommand> command = PaletteCommandStore().find(id);
    if (!command)
        return finish(false, QStringLiteral("That custom command no longer exists."), io);
    const PaletteCommandOutcome outcome = PaletteCommandStore::run(services.keychain, *command);
    services.history.record(QStringLiteral("Custom command: ") + command->name, outcome.message,
                            outcome.success);
    return finish(outcome.success, outcome.message, io);
}

// The running Velmox's single-instance object (app/SingleInstance.h).
const QString kAppService = QStringLiteral("com.quarnet.velmox");

QDBusMessage callOnce(QDBusConnection& bus, const QString& method, const QVariantList& arguments) {
    QDBusMessage call =
        QDBusMessage::createMethodCall(kAppService, QStringLiteral("/com/quarnet/velmox"),
                                       QStringLiteral("com.quarnet.velmox.Application"), method);
    call.setArguments(arguments);
    return bus.call(call, QDBus::Block, 3000);
}

// Calls `method` of the running Velmox, starting Velmox first when none answers.
Result<QDBusMessage> callRunningVelmox(const QString& method, const QVariantList& arguments) {
    QDBusConnection bus = QDBusConnection::sessionBus();
    if (!bus.isConnected())
        return failure(QStringLiteral("Reaching the Velmox window needs a desktop session bus, "
                                      "and none could be reached."));
    if (bus.interface()->isServiceRegistered(kAppService)) {
        QDBusMessage reply = callOnce(bus, method, arguments);
        if (reply.type() == QDBusMessage::ReplyMessage)
            return reply;
        return failure(
            QStringLiteral("The running Velmox did not answer (%1).").arg(reply.errorMessage()));
    }
    if (!QProcess::startDetached(QCoreApplication::applicationFilePath(), {}))
        return failure(QStringLiteral("Velmox could not be started."));
    // The new Velmox takes its name on the bus once it has started.
    QDeadlineTimer deadline(std::chrono::seconds(20));
    while (!deadline.hasExpired()) {
        if (bus.interface()->isServiceRegistered(kAppService)) {
            if (QDBusMessage reply = callOnce(bus, method, arguments);
                reply.type() == QDBusMessage::ReplyMessage)
                return reply;
        }
        QThread::msleep(100);
    }
    return failure(QStringLiteral("Velmox was started but did not answer within 20 seconds."));
}

int openWindow(CliIO& io) {
    const Result<QDBusMessage> reply = callRunningVelmox(QStringLiteral("ShowPalette"), {});
    return reply ? 0 : finish(false, reply.error(), io);
}

// A page, tab or setting entry opens in the running Velmox, which comes forward at it.
int openInWindow(const PaletteEntry& entry, CliIO& io) {
    const Result<QDBusMessage> reply = callRunningVelmox(QStringLiteral("OpenEntry"), {entry.id});
    if (!reply)
        return finish(false, reply.error(), io);
    if (!reply->arguments().value(0).toBool())
        return finish(false,
                      QStringLiteral("The running Velmox has no entry “%1”; it may be an older "
                                     "version: quit it and try again.")
                          .arg(entry.id),
                      io);
    return 0;
}

int run(const PaletteArguments& arguments, CliIO& io) {
    const QList<PaletteEntry> entries = allEntries(io);
    const auto found = std::find_if(entries.begin(), entries.end(), [&](const PaletteEntry& each) {
        return each.id == arguments.run;
    });
    if (found == entries.end()) {
        io.err << "There is no palette entry “" << arguments.run
               << "”. Run “velmox palette” to list them with their ids.\n";
        return 1;
    }
    const PaletteEntry& entry = *found;
    if (entry.id == kNewCommandId) {
        io.err << "Add a custom command with “velmox palette --add-command NAME COMMAND”.\n";
        return 1;
    }
    if (!entry.destination.isEmpty())
        return openInWindow(entry, io);
    if (paletteKind(entry.id) == QLatin1String("task")) {
        const std::optional<OptimizationTask> task = maintenanceTask(paletteKey(entry.id));
        if (!task)
            return finish(false, QStringLiteral("There is no task called “%1”.").arg(entry.title),
                          io);
        return runMaintenanceTask(entry, *task, arguments.yes, io);
    }
    if (!entry.question.isEmpty() && !arguments.yes && !confirmed(entry.question, io))
        return 1;

    PrivilegedServices services;
    QObject::connect(&services.history, &ActionHistoryStore::saveFailed,
                     [&io](const QString& message) { io.err << message << '\n'; });
    if (paletteKind(entry.id) == QLatin1String("command"))
        return runCustomCommand(paletteKey(entry.id), services, io);
    return runAutomation(entry, services, io);
}

int addCommand(const QStringList& nameAndLine, CliIO& io) {
    QtKeychainSecretStore secrets;
    KeychainHelper keychain(secrets);
    const Result<PaletteCommand> added =
        PaletteCommandStore().add(keychain, nameAndLine.at(0), nameAndLine.at(1));
    if (!added)
        return finish(false, added.error(), io);
    io.out << "Saved “" << added->name << "” as command:" << added->id << ".\n";
    return 0;
}

int runPalette(const QStringList& args, CliIO& io) {
    const std::optional<PaletteArguments> parsed = parseArguments(args);
    if (!parsed) {
        io.err << usageLine(QStringLiteral("palette")) << '\n';
        return 2;
    }
    if (!parsed->run.isEmpty())
        return run(*parsed, io);
    if (parsed->window)
        return openWindow(io);
    if (!parsed->add.isEmpty())
        return addCommand(parsed->add, io);
    return rank(*parsed, io);
}

} // namespace

VELMOX_CLI_COMMAND(palette,
                   "palette [QUERY...] [--json] [--limit N] | palette --run ENTRY-ID [--yes] | "
                   "palette --window | palette --add-command NAME COMMAND",
                   "Ranks the palette's entries for a query as the palette does, runs one by its "
                   "id (a page, tab or setting opens in the running Velmox), opens the palette of "
                   "the running Velmox, or saves a custom command.",
                   runPalette);

} // namespace velmox
