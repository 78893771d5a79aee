#include "services/ActionHistoryStore.h"
#include "services/Settings.h"
#include "tests/history/HistoryTestSupport.h"
#include "tests/support/ManualClock.h"

#include <QTemporaryDir>
#include <gtest/gtest.h>

using namespace velmox;
using namespace velmox::test;

namespace {

const QUuid fixedId = QUuid::fromString(QStringLiteral("6ba7b810-9dad-11d1-80b4-00c04fd430c8"));

ActionHistoryEntry fixedEntry(QString detail, bool success = true) {
    return {fixedId, QDateTime(QDate(2026, 1, 1), QTime(12, 0, 0, 250), Qt::UTC),
            QStringLiteral("Say \"hi\""), std::move(detail), success};
}

} // namespace

TEST(ActionHistoryFormat, StoredJsonKeepsTheKeyOrderAndCountsSecondsFrom2001) {
    const ActionHistoryEntry entry =
        fixedEntry(QString::fromUtf8("tab\tline\nctl\x01 back\\ \xC3\xBC"));
    EXPECT_EQ(toJson(entry),
              "{\"id\":\"6BA7B810-9DAD-11D1-80B4-00C04FD430C8\",\"date\":788961600.25,"
              "\"action\":\"Say \\\"hi\\\"\",\"detail\":\"tab\\tline\\nctl\\u0001 back\\\\ "
              "\xC3\xBC\",\"success\":true}");

    // What the store saves reads back the same, through the platform's JSON reader too.
    QTemporaryDir folder;
    Settings settings(folder.filePath("Velmox.conf"));
    ManualClock clock(entry.date);
    ActionHistoryEntry recorded;
    {
        ActionHistoryStore store(settings, clock);
        recorded = store.record(entry.action, entry.detail, false);
        deliverRecords();
    }
    EXPECT_EQ(recorded.date, entry.date);
    EXPECT_EQ(ActionHistoryStore(settings, clock).entries(), QList<ActionHistoryEntry>{recorded});
    EXPECT_EQ(historyFromJson("[{\"success\":false,\"detail\":\"d\",\"action\":\"a\",\"date\":-0.5,"
                              "\"id\":\"6ba7b810-9dad-11d1-80b4-00c04fd430c8\",\"extra\":1}]"),
              QList<ActionHistoryEntry>(
                  {{fixedId, QDateTime(QDate(2000, 12, 31), QTime(23, 59, 59, 500), Qt::UTC), "a",
                    "d", false}}));
}

TEST(ActionHistoryFormat, OnlyWellFormedPairsAfterTheMarkerCanBePutBack) {
    using Pairs = QList<ActionHistoryStore::UndoPair>;
    const QString marker = ActionHistoryStore::undoMarker;
    struct Case {
        QString detail;
        Pairs pairs;
        QString visible;
    };
    const QList<Case> cases = {
        {"Nothing moved.", {}, "Nothing moved."},
        {"Moved." + marker + "[[\"a\",\"b\"", {}, "Moved."},
        {"Moved." + marker + "{\"a\":\"b\"}", {}, "Moved."},
        {"Moved. [undo:trash-v1] [[\"a\",\"b\"]]", {}, "Moved. [undo:trash-v1] [[\"a\",\"b\"]]"},
        {"Moved." + marker + "[[\"a\"],[\"b\",\"c\",\"d\"],[1,2],[\"x\",\"y\"],\"z\",[\"\",\"t\"]]",
         {{"x", "y"}, {"", "t"}},
         "Moved."},
        {marker + "[]", {}, ""},
    };
    for (const Case& test : cases) {
        const ActionHistoryEntry entry = fixedEntry(test.detail);
        EXPECT_EQ(ActionHistoryStore::undoItems(entry), test.pairs) << test.detail.toStdString();
        EXPECT_EQ(ActionHistoryStore::visibleDetail(entry), test.visible);
    }

    const Pairs moved = {{"com.example \"app\"", "com.example \"app\" 2"}, {"ü", "../x"}};
    const QString payload = ActionHistoryStore::undoPayload(moved);
    EXPECT_TRUE(payload.startsWith("\n[undo:trash-v1] [[")) << payload.toStdString();
    EXPECT_EQ(ActionHistoryStore::undoItems(fixedEntry("Moved 2 items." + payload)), moved);
    EXPECT_EQ(ActionHistoryStore::undoPayload({}), "");
}

TEST(ActionHistoryFormat, ExportWritesExactlyTheShownEntriesAndNothingOfThePayload) {
    const QList<ActionHistoryEntry> shown = {
        fixedEntry("Cleaned \"all\", then\nsome." +
                       ActionHistoryStore::undoPayload({{"secret", "secret"}}),
                   true),
        {QUuid::createUuid(), QDateTime(QDate(2025, 6, 30), QTime(23, 59, 59, 999), Qt::UTC),
         "Flush DNS", "", false},
    };
    QTemporaryDir folder;
    const QString path = folder.filePath("Velmox-Activity.csv");
    writeFile(path, "older export");
    ASSERT_TRUE(ActionHistoryStore::exportCsv(shown, path));
    EXPECT_EQ(readFile(path), "Date,Action,Result,Details\n"
                              "2026-01-01T12:00:00Z,\"Say \"\"hi\"\"\",success,"
                              "\"Cleaned \"\"all\"\", then\nsome.\"\n"
                              "2025-06-30T23:59:59Z,\"Flush DNS\",failure,\"\"\n");

    ASSERT_TRUE(ActionHistoryStore::exportCsv({}, path));
    EXPECT_EQ(readFile(path), "Date,Action,Result,Details\n");

    const QString nowhere = folder.filePath("missing/folder/out.csv");
    const Status failed = ActionHistoryStore::exportCsv(shown, nowhere);
    ASSERT_FALSE(failed);
    EXPECT_TRUE(
        failed.error().startsWith("Couldn't export: “" + nowhere + "” could not be written"))
        << failed.error().toStdString();
    EXPECT_TRUE(failed.error().endsWith(").")) << failed.error().toStdString();
}
