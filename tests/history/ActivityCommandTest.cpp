#include "cli/CliCommand.h"
#include "services/ActionHistoryStore.h"
#include "services/Settings.h"
#include "tests/history/HistoryTestSupport.h"
#include "tests/support/CliInvocation.h"
#include "tests/support/ManualClock.h"

#include <QJsonArray>
#include <QJsonDocument>
#include <QJsonObject>
#include <QRegularExpression>
#include <QTemporaryDir>
#include <gtest/gtest.h>

using namespace velmox;
using namespace velmox::test;

namespace {

CliInvocation runActivity(const QStringList& args) {
    return runCliCommand(QStringLiteral("activity"), args);
}

} // namespace

TEST(ActivityCommand, ListsPrintsJsonAndExportsTheLog) {
    Settings settings;
    EXPECT_TRUE(settings.remove(ActionHistoryStore::storageKey));
    EXPECT_EQ(runActivity({}).out, "Actions you run in Velmox show up here.\n");

    ManualClock clock;
    {
        ActionHistoryStore store(settings, clock);
        store.record("User Cache Cleaner",
                     "Moved 1 item.\nFreed 2 MB." +
                         ActionHistoryStore::undoPayload({{"hidden-name", "hidden-name"}}),
                     true);
        store.record("Flush DNS", "", false);
    }
    const QByteArray stored = settings.value(ActionHistoryStore::storageKey).toByteArray();
    const QList<ActionHistoryEntry> entries =
        historyFromJson(stored).value_or(QList<ActionHistoryEntry>());
    ASSERT_EQ(entries.size(), 2);

    const CliInvocation listed = runActivity({});
    EXPECT_EQ(listed.code, 0);
    const QString localTime = clock.now().toLocalTime().toString("yyyy-MM-dd HH:mm:ss");
    EXPECT_EQ(listed.out, localTime + "  failed  Flush DNS\n" + localTime +
                              "  ok      User Cache Cleaner: Moved 1 item. Freed 2 MB.\n");

    // Dates in ISO 8601 with their offset, the detail as shown, the items still to put back.
    const CliInvocation json = runActivity({"--json"});
    EXPECT_EQ(json.code, 0);
    const QJsonArray printed = QJsonDocument::fromJson(json.out.toUtf8()).array();
    ASSERT_EQ(printed.size(), 2) << json.out.toStdString();
    const QJsonObject cleaned = printed.at(1).toObject();
    static const QRegularExpression isoWithOffset(
        "^\\d{4}-\\d\\d-\\d\\dT\\d\\d:\\d\\d:\\d\\d[+-]\\d\\d:\\d\\d$");
    EXPECT_TRUE(isoWithOffset.match(cleaned["date"].toString()).hasMatch())
        << cleaned["date"].toString().toStdString();
    EXPECT_EQ(QDateTime::fromString(cleaned["date"].toString(), Qt::ISODate).toSecsSinceEpoch(),
              entries.at(1).date.toSecsSinceEpoch());
    EXPECT_EQ(cleaned["detail"].toString(), "Moved 1 item.\nFreed 2 MB.");
    EXPECT_EQ(cleaned["putBack"].toArray(),
              (QJsonArray{QJsonObject{{"name", "hidden-name"}, {"nameInTrash", "hidden-name"}}}));
    EXPECT_TRUE(printed.at(0).toObject()["putBack"].isNull());
    EXPECT_EQ(printed.at(0).toObject()["id"].toString(),
              entries.at(0).id.toString(QUuid::WithoutBraces).toUpper());

    // The format follows the extension; anything else is refused before a file is written.
    QTemporaryDir folder;
    const QString file = folder.filePath("activity.csv");
    const CliInvocation exported = runActivity({"--export", file});
    EXPECT_EQ(exported.code, 0);
    EXPECT_EQ(exported.out, "Exported 2 entries to " + file + ".\n");
    EXPECT_EQ(readFile(file), ActionHistoryStore::csv(entries));
    const QString jsonFile = folder.filePath("activity.JSON");
    EXPECT_EQ(runActivity({"--export", jsonFile}).code, 0);
    EXPECT_EQ(readFile(jsonFile), json.out.toUtf8());
    const CliInvocation refused = runActivity({"--export", folder.filePath("activity.txt")});
    EXPECT_EQ(refused.code, 2);
    EXPECT_TRUE(refused.err.contains("neither")) << refused.err.toStdString();
    EXPECT_FALSE(QFile::exists(folder.filePath("activity.txt")));
    EXPECT_EQ(runActivity({"--export", folder.filePath("no/such/file.csv")}).code, 1);

    for (const QStringList& wrong :
         {QStringList{"--jsn"}, QStringList{"--export"}, QStringList{"--json", "--export", file}}) {
        const CliInvocation usage = runActivity(wrong);
        EXPECT_EQ(usage.code, 2);
        EXPECT_EQ(usage.err, "Usage: velmox activity [--json | --export FILE.csv|FILE.json]\n");
    }
}
