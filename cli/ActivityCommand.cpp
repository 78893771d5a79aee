// velmox activity: the activity log on the command line.
#include "cli/CliCommand.h"
#include "services/ActionHistoryStore.h"
#include "services/Clock.h"
#include "services/Settings.h"

namespace velmox {

namespace {

void printEntries(const QList<ActionHistoryEntry>& entries, QTextStream& out) {
    if (entries.isEmpty()) {
        out << "Actions you run in Velmox show up here.\n";
        return;
    }
    for (const ActionHistoryEntry& entry : entries) {
        QString detail = ActionHistoryStore::visibleDetail(entry);
        detail.replace(QLatin1Char('\n'), QLatin1Char(' '));
        out << entry.date.toLocalTime().toString(QStringLiteral("yyyy-MM-dd HH:mm:ss"))
            << (entry.success ? "  ok      " : "  failed  ") << entry.action;
        if (!detail.isEmpty())
            out << ": " << detail;
        out << '\n';
    }
}

int runActivity(const QStringList& args, CliIO& io) {
    const bool json = args == QStringList{QStringLiteral("--json")};
    const bool exporting = args.size() == 2 && args.at(0) == QLatin1String("--export");
    if (!args.isEmpty() && !json && !exporting) {
        io.err << "Usage: velmox " << CliRegistry::shared().find(QStringLiteral("activity"))->usage
               << '\n';
        return 2;
    }
    Settings settings;
    const ActionHistoryStore store(settings, SystemClock::shared());
    if (exporting) {
        const Status exported = ActionHistoryStore::exportCsv(store.entries(), args.at(1));
        if (!exported) {
            io.err << exported.error() << '\n';
            return 1;
        }
        io.out << ActionHistoryStore::exportedMessage(store.entries().size(), args.at(1)) << '\n';
    } else if (json) {
        io.out << toJson(store.entries()) << '\n';
    } else {
        printEntries(store.entries(), io.out);
    }
    return 0;
}

} // namespace

VELMOX_CLI_COMMAND(activity, "activity [--json | --export FILE.csv|FILE.json]",
                   "Lists the activity log, or exports it in the format of the file's extension.",
                   runActivity);

} // namespace velmox
