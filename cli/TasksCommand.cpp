// velmox tasks: the maintenance tasks on the command line.
#include "cleaning/OptimizationRegistry.h"
#include "cleaning/OptimizationTaskRunner.h"
#include "cleaning/TaskMeasurer.h"
#include "cli/CliCommand.h"
#include "platform/PromptElevation.h"
#include "platform/QtKeychainSecretStore.h"
#include "services/ActionHistoryStore.h"
#include "services/Clock.h"
#include "services/KeychainHelper.h"
#include "services/Settings.h"
#include "services/ShellHelper.h"

#include <QJsonArray>
#include <QJsonDocument>
#include <QJsonObject>
#include <cstdio>
#include <unistd.h>

namespace velmox {

namespace {

int usage(CliIO& io) {
    io.err << usageLine(QStringLiteral("tasks")) << '\n';
    return 2;
}

void printList(const QList<OptimizationTask>& tasks, QTextStream& out) {
    for (const TaskCategory category : allTaskCategories()) {
        bool headed = false;
        for (const OptimizationTask& task : tasks) {
            if (task.category != category)
                continue;
            if (!headed)
                out << rawValue(category) << '\n';
            headed = true;
            out << "  " << task.title << " (" << OptimizationRegistry::key(task) << ")  ["
                << rawValue(task.impactLevel) << (task.requiresSudo ? ", needs administrator" : "")
                << (task.deletesPermanently() ? ", deletes permanently" : "")
                << (task.includeInSmartScan ? ", Smart Scan" : "") << "]\n    " << task.description
                << '\n';
        }
    }
}

// "“RAM Purge” is High Impact and needs administrator rights."
QString cautionSentence(const OptimizationTask& task) {
    QStringList reasons;
    if (task.impactLevel == ImpactLevel::highImpact)
        reasons << QStringLiteral("is High Impact");
    if (task.requiresSudo)
        reasons << QStringLiteral("needs administrator rights");
    return QStringLiteral("“%1” %2.").arg(task.title, reasons.join(QStringLiteral(" and ")));
}

// Asks on the terminal; refuses when there is no terminal to ask on. A task that ends apps names
// them first, and then ends only those.
bool confirmed(const OptimizationTask& task, OptimizationTaskRunner::AppsToEnd& appsToEnd,
               CliIO& io) {
    if (!canAskOnTerminal(cautionSentence(task), io))
        return false;
    if (task.work == TaskWork::endHungProcesses) {
        const std::unique_ptr<WindowPinger> pinger = WindowPinger::forThisSession();
        const Result<QList<UnresponsiveAppKiller::App>> found =
            UnresponsiveAppKiller(*pinger).find();
        io.err << UnresponsiveAppKiller::toEndSentence(found) << '\n';
        appsToEnd = UnresponsiveAppKiller::pids(found);
    }
    return answeredYes(cautionSentence(task), io);
}

// The task named by its key or its title, in any capitalisation.
std::optional<OptimizationTask> findTask(const QString& name) {
    const QString wanted = name.simplified();
    for (const OptimizationTask& task : OptimizationRegistry().allTasks())
        if (OptimizationRegistry::key(task).compare(wanted, Qt::CaseInsensitive) == 0 ||
            task.title.compare(wanted, Qt::CaseInsensitive) == 0)
            return task;
    return std::nullopt;
}

int runTask(const QString& name, bool yes, CliIO& io) {
    const std::optional<OptimizationTask> task = findTask(name);
    if (!task) {
        io.err << "There is no task called “" << name
               << "”. Run “velmox tasks list” to see every title and key.\n";
        return 1;
    }
    // Deleting for good is never asked about on the terminal: it takes --yes, after the user
    // has been told what goes and how much.
    if (task->deletesPermanently() && !yes) {
        io.err << "“" << task->title << "”: " << deletionSentence(*task, TaskMeasurement::of(*task))
               << " Nothing was run: add --yes to go ahead.\n";
        return 1;
    }
    OptimizationTaskRunner::AppsToEnd appsToEnd;
    if (task->needsConfirmation() && !yes && !confirmed(*task, appsToEnd, io))
        return 1;

    Settings settings;
    ActionHistoryStore history(settings, SystemClock::shared());
    QObject::connect(&history, &ActionHistoryStore::saveFailed,
                     [&io](const QString& message) { io.err << message << '\n'; });
    QtKeychainSecretStore secrets;
    KeychainHelper keychain(secrets);
    const std::unique_ptr<PromptElevation> prompt = PromptElevation::forThisSystem();
    ShellHelper shell(keychain, settings, *prompt);
    OptimizationTaskRunner runner(shell, history);

    const TaskRunResult result = runner.runBlocking(*task, appsToEnd);
    (result.success ? io.out : io.err) << task->title << ": " << resultLine(*task, result) << '\n';
    if (result.puttableBack > 0)
        io.out << result.puttableBack
               << " can be put back from the Activity tab of the window (“velmox activity” lists "
                  "them).\n";
    return result.success ? 0 : 1;
}

int runTasks(const QStringList& args, CliIO& io) {
    const QString verb = args.value(0);
    if (verb == QLatin1String("list") && args.size() <= 2) {
        const bool json = args.size() == 2;
        if (json && args.at(1) != QLatin1String("--json"))
            return usage(io);
        const QList<OptimizationTask> tasks = OptimizationRegistry().allTasks();
        if (json) {
            QJsonArray array;
            for (const OptimizationTask& task : tasks) {
                QJsonObject object = toJson(task);
                object.insert(QStringLiteral("key"), OptimizationRegistry::key(task));
                array.append(object);
            }
            io.out << QJsonDocument(array).toJson(QJsonDocument::Indented);
        } else {
            printList(tasks, io.out);
        }
        return 0;
    }
    if (verb == QLatin1String("run") && (args.size() == 2 || args.size() == 3)) {
        const bool yes = args.size() == 3;
        if (yes && args.at(2) != QLatin1String("--yes"))
            return usage(io);
        return runTask(args.at(1), yes, io);
    }
    return usage(io);
}

} // namespace

VELMOX_CLI_COMMAND(tasks, "tasks list [--json] | tasks run KEY|TITLE [--yes]",
                   "Lists the maintenance tasks, or runs one named by its key or title (any "
                   "capitalisation).",
                   runTasks);

} // namespace velmox
