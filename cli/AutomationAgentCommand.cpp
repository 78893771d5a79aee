// velmox automation agent: installs, removes and shows the background maintenance agent.
#include "cli/AutomationAgentCommand.h"

#include "automation/agent/LinuxMaintenanceAgent.h"

namespace velmox {

namespace {

int usage(CliIO& io) {
    io.err << "Usage: velmox " VELMOX_AUTOMATION_AGENT_USAGE << '\n';
    return 2;
}

QString taskList(const MaintenanceAgentSettings& settings) {
    QStringList tasks;
    if (settings.caches)
        tasks << QStringLiteral("moves the user caches to the Trash");
    if (settings.trash)
        tasks << QStringLiteral("removes Trash items older than 30 days");
    if (settings.purge)
        tasks << QStringLiteral("drops the page cache where sudo needs no password");
    if (tasks.isEmpty())
        return QStringLiteral("It has no tasks turned on.");
    return QStringLiteral("It ") + tasks.join(QStringLiteral(", ")) + QLatin1Char('.');
}

int install(const QStringList& options, CliIO& io) {
    MaintenanceAgentSettings settings;
    std::optional<AgentInterval> interval;
    for (const QString& option : options) {
        if (option == QLatin1String("--daily") || option == QLatin1String("--weekly")) {
            const AgentInterval chosen =
                option == QLatin1String("--daily") ? AgentInterval::daily : AgentInterval::weekly;
            if (interval && *interval != chosen)
                return usage(io);
            interval = chosen;
        } else if (option == QLatin1String("--caches")) {
            settings.caches = true;
        } else if (option == QLatin1String("--trash")) {
            settings.trash = true;
        } else if (option == QLatin1String("--purge")) {
            settings.purge = true;
        } else {
            return usage(io);
        }
    }
    if (!interval)
        return usage(io);
    settings.interval = *interval;
    const Status installed = LinuxMaintenanceAgent::install(settings);
    if (!installed) {
        io.err << installed.error() << '\n';
        return 1;
    }
    io.out << MaintenanceAgentTexts::installed() << ". "
           << MaintenanceAgentTexts::runs(settings.interval) << ' ' << taskList(settings) << '\n';
    return 0;
}

} // namespace

int runAutomationAgent(const QStringList& args, CliIO& io) {
    const QString verb = args.value(0);
    const QStringList rest = args.mid(1);
    if (verb == QLatin1String("install"))
        return install(rest, io);
    if (!rest.isEmpty())
        return usage(io);
    if (verb == QLatin1String("remove")) {
        const Status removed = LinuxMaintenanceAgent::remove();
        if (!removed) {
            io.err << removed.error() << '\n';
            return 1;
        }
        io.out << MaintenanceAgentTexts::removed() << ".\n";
        return 0;
    }
    if (verb == QLatin1String("status")) {
        const std::optional<MaintenanceAgentSettings> settings = LinuxMaintenanceAgent::installed();
        if (!settings) {
            io.out << "The background agent is not installed.\n";
            return 0;
        }
        io.out << MaintenanceAgentTexts::runs(settings->interval) << ' ' << taskList(*settings)
               << ' ' << LinuxMaintenanceAgent::timerState() << '\n';
        return 0;
    }
    return usage(io);
}

} // namespace velmox
