// velmox activity: the activity log on the command line.
#include "cli/CliCommand.h"
#include "services/ActionHistoryStore.h"
#include "services/Clock.h"
#include "services/Settings.h"
#include "services/ShownText.h"

#include <QFileInfo>
#include <QJsonArray>
#include <QJsonDocument>
#include <QJsonObject>

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

// The log for other programs: dates in ISO 8601, the detail as shown, and the items that can
// still be put back (null when none).
QByteArray activityJson(const ActionHistoryStore& store) {
    QJsonArray array;
    for (const ActionHistoryEntry& entry : store.entries()) {
        QJsonValue putBack = QJsonValue::Null;
        if (store.canPutBack(entry)) {
            QJsonArray items;
            for (const auto& [cacheName, trashName] : ActionHistoryStore::undoItems(entry))
                items.append(QJsonObject{{QStringLiteral("name"), cacheName},
                                         {QStringLiteral("nameInTrash"), trashName}});
            for (const auto& [path, trashName] : ActionHistoryStore::trashedItems(entry))
                items.append(QJsonObject{
                    {QStringLiteral("path"), shownName(QByteArrayView(path))},
                    {QStringLiteral("nameInTrash"), shownName(QByteArrayView(trashName))}});
            putBack = items;
        }
        array.append(
            QJsonObject{{QStringLiteral("id"), entry.id.toString(QUuid::WithoutBraces).toUpper()},
                        {QStringLiteral("date"), isoDate(entry.date)},
                        {QStringLiteral("action"), entry.action},
                        {QStringLiteral("detail"), ActionHistoryStore::visibleDetail(entry)},
                        {QStringLiteral("success"), entry.success},
                        {QStringLiteral("putBack"), putBack}});
    }
    return QJsonDocument(array).toJson(QJsonDocument::Indented);
}

int runActivity(const QStringList& args, CliIO& io) {
    const bool json = args == QStringList{QStringLiteral("--json")};
    const bool exporting = args.size() == 2 && args.at(0) == QLatin1String("--export");
    if (!args.isEmpty() && !json && !exporting) {
        io.err << usageLine(QStringLiteral("activity")) << '\n';
        return 2;
    }
    Settings settings;
    const ActionHistoryStore store(settings, SystemClock::shared());
    if (exporting) {
        const QString& path = args.at(1);
        const QString extension = QFileInfo(path).suffix().toLower();
        if (extension != QLatin1String("csv") && extension != QLatin1String("json")) {
            io.err << "velmox activity: the export format follows the file's extension, .csv or "
                      ".json, and “"
                   << path << "” has neither.\n";
            return 2;
        }
        const Status exported = extension == QLatin1String("csv")
                                    ? ActionHistoryStore::exportCsv(store.entries(), path)
                                    : ActionHistoryStore::writeExport(path, activityJson(store));
        if (!exported) {
            io.err << exported.error() << '\n';
            return 1;
        }
        io.out << ActionHistoryStore::exportedMessage(store.entries().size(), path) << '\n';
    } else if (json) {
        io.out << activityJson(store);
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
