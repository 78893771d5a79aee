#include "services/ActionHistoryStore.h"

#include "services/Settings.h"
#include "tests/history/HistoryTestSupport.h"
#include "tests/support/ManualClock.h"

#include <QProcess>
#include <QTemporaryDir>
#include <QThread>
#include <gtest/gtest.h>
#include <memory>
#include <thread>

using namespace velmox;
using namespace velmox::test;

namespace {

ActionHistoryEntry entry(const QString& action, qint64 secondsAfter2001, bool success = true) {
    return {QUuid::createUuid(),
            QDateTime(QDate(2001, 1, 1), QTime(0, 0), Qt::UTC).addSecs(secondsAfter2001), action,
            QStringLiteral("detail of ") + action, success};
}

QList<ActionHistoryEntry> numberedEntries(int count) {
    QList<ActionHistoryEntry> entries;
    for (int i = count; i >= 1; --i)
        entries.append(entry(QString::number(i), i));
    return entries;
}

class ActionHistoryStoreTest : public ::testing::Test {
protected:
    std::unique_ptr<ActionHistoryStore> openStore() {
        return std::make_unique<ActionHistoryStore>(settings, clock);
    }
    QByteArray stored() const {
        return settings.value(ActionHistoryStore::storageKey).toByteArray();
    }

    QTemporaryDir folder;
    Settings settings{folder.filePath("Velmox.conf")};
    ManualClock clock;
};

} // namespace

TEST_F(ActionHistoryStoreTest, ADamagedStoredLogReadsAsEmptyAndStaysUntilTheNextSave) {
    const QByteArray goodEntry = toJson(entry("fine", 10));
    const QList<QByteArray> damaged = {
        "not json at all",
        "{\"id\":1}",
        "[" + goodEntry +
            ",{\"id\":\"x\",\"date\":1,\"action\":\"a\",\"detail\":\"\",\"success\":true}]",
        "[" + goodEntry + ",{\"id\":\"" + QUuid::createUuid().toByteArray(QUuid::WithoutBraces) +
            "\",\"date\":\"yesterday\",\"action\":\"a\",\"detail\":\"\",\"success\":true}]",
        "[" + goodEntry.chopped(16) + "}]", // "success" missing
        "[1e400]",
    };
    for (const QByteArray& value : damaged) {
        EXPECT_TRUE(settings.setValue(ActionHistoryStore::storageKey, value));
        auto store = openStore();
        EXPECT_TRUE(store->entries().isEmpty()) << value.data();
        EXPECT_EQ(stored(), value);
    }
    auto store = openStore();
    store->record("Clean", "", true);
    deliverRecords();
    ASSERT_TRUE(historyFromJson(stored()).has_value());
    EXPECT_EQ(historyFromJson(stored())->size(), 1);
}

TEST_F(ActionHistoryStoreTest, TheLegacyKeyIsReadWhenTheCurrentOneIsAbsentAndNeverWritten) {
    const QList<ActionHistoryEntry> legacy = numberedEntries(2);
    EXPECT_TRUE(settings.setValue(ActionHistoryStore::legacyStorageKey, toJson(legacy)));
    auto store = openStore();
    EXPECT_EQ(store->entries(), legacy);

    const ActionHistoryEntry added = store->record("New", "", true);
    deliverRecords();
    EXPECT_EQ(historyFromJson(stored()), QList<ActionHistoryEntry>({added, legacy[0], legacy[1]}));
    EXPECT_EQ(settings.value(ActionHistoryStore::legacyStorageKey).toByteArray(), toJson(legacy));

    EXPECT_TRUE(settings.setValue(ActionHistoryStore::legacyStorageKey, toJson(numberedEntries(7))));
    EXPECT_EQ(openStore()->entries().size(), 3);
}

TEST_F(ActionHistoryStoreTest, EachRecordTrimsExactlyTheOldestEntryPastTwoHundred) {
    auto store = openStore();
    for (int i = 1; i <= 201; ++i)
        store->record(QString::number(i), "", true);
    deliverRecords();
    ASSERT_EQ(store->entries().size(), 200);
    EXPECT_EQ(store->entries().first().action, "201");
    EXPECT_EQ(store->entries().last().action, "2");
    EXPECT_EQ(historyFromJson(stored()), store->entries());

    // A list stored longer than the cap shrinks by one per record, not at once.
    EXPECT_TRUE(settings.setValue(ActionHistoryStore::storageKey, toJson(numberedEntries(205))));
    store = openStore();
    store->record("new", "", true);
    deliverRecords();
    EXPECT_EQ(store->entries().size(), 205);
    EXPECT_EQ(store->entries().last().action, "2");
}

TEST_F(ActionHistoryStoreTest, RecordsFromWorkerThreadsArriveOnTheStoresThreadInOrder) {
    auto store = openStore();
    int changesOffThread = 0;
    QObject::connect(store.get(), &ActionHistoryStore::entriesChanged,
                     [&] { changesOffThread += QThread::currentThread() != store->thread(); });

    constexpr int threadCount = 4;
    constexpr int perThread = 40;
    std::vector<QList<ActionHistoryEntry>> made(threadCount);
    std::vector<std::thread> workers;
    for (int t = 0; t < threadCount; ++t)
        workers.emplace_back([&, t] {
            for (int i = 0; i < perThread; ++i)
                made[t].append(store->record(QStringLiteral("worker %1").arg(t), QString::number(i),
                                             i % 2 == 0));
        });
    for (std::thread& worker : workers)
        worker.join();
    EXPECT_TRUE(store->entries().isEmpty()); // nothing is inserted behind the main thread's back

    deliverRecords();
    ASSERT_EQ(store->entries().size(), threadCount * perThread);
    EXPECT_EQ(changesOffThread, 0);
    for (int t = 0; t < threadCount; ++t) {
        QList<ActionHistoryEntry> fromThread;
        for (const ActionHistoryEntry& shown : store->entries())
            if (shown.action == QStringLiteral("worker %1").arg(t))
                fromThread.prepend(shown);
        EXPECT_EQ(fromThread, made[t]);
    }
    EXPECT_EQ(historyFromJson(stored()), store->entries());
}

TEST_F(ActionHistoryStoreTest, ProcessesRecordingAtOnceKeepEachOthersEntries) {
    // 170 older entries, so that the cap trims while the processes record.
    EXPECT_TRUE(settings.setValue(ActionHistoryStore::storageKey, toJson(numberedEntries(170))));
    auto store = openStore();
    constexpr int perProcess = 30;
    std::vector<std::unique_ptr<QProcess>> recorders;
    for (const QString action : {"first", "second"}) {
        recorders.push_back(std::make_unique<QProcess>());
        recorders.back()->setProcessChannelMode(QProcess::ForwardedErrorChannel);
        recorders.back()->start(VELMOX_HISTORY_RECORDER,
                                {settings.filePath(), action, QString::number(perProcess)});
    }
    for (const auto& recorder : recorders) {
        ASSERT_TRUE(recorder->waitForFinished(120000));
        EXPECT_EQ(recorder->exitCode(), 0);
    }
    auto count = [](const QList<ActionHistoryEntry>& entries, const QString& action) {
        return std::count_if(entries.cbegin(), entries.cend(),
                             [&](const ActionHistoryEntry& one) { return one.action == action; });
    };
    settings.sync();
    const QList<ActionHistoryEntry> saved =
        historyFromJson(stored()).value_or(QList<ActionHistoryEntry>());
    ASSERT_EQ(saved.size(), 200);
    EXPECT_EQ(count(saved, "first"), perProcess);
    EXPECT_EQ(count(saved, "second"), perProcess);
    EXPECT_EQ(saved.last().action, "31"); // one trimmed per record past the cap

    // The store of this process shows what the others saved, and its own save keeps it.
    for (int i = 0; i < 250 && store->entries() != saved; ++i) {
        QThread::msleep(20);
        QCoreApplication::processEvents();
    }
    EXPECT_EQ(store->entries(), saved);
    const ActionHistoryEntry here = store->record("here", "", true);
    deliverRecords();
    EXPECT_EQ(historyFromJson(stored()), QList<ActionHistoryEntry>{here} + saved.first(199));
}

TEST_F(ActionHistoryStoreTest, RecordsNotYetInsertedSurviveTheStoreClosing) {
    const ActionHistoryEntry last = openStore()->record("Quit soon", "", true);
    EXPECT_EQ(openStore()->entries(), QList<ActionHistoryEntry>{last});
}

TEST_F(ActionHistoryStoreTest, ClearEmptiesTheSavedLogButKeepsWhatWasPutBack) {
    EXPECT_TRUE(settings.setValue(ActionHistoryStore::undoneKey, QStringList{"SOME-ID"}));
    auto store = openStore();
    store->record("One", "", true);
    deliverRecords();
    int changes = 0;
    QObject::connect(store.get(), &ActionHistoryStore::entriesChanged, [&] { ++changes; });
    store->clear();
    EXPECT_EQ(changes, 1);
    EXPECT_TRUE(store->entries().isEmpty());
    EXPECT_EQ(stored(), "[]");
    EXPECT_EQ(settings.value(ActionHistoryStore::undoneKey).toStringList(), QStringList{"SOME-ID"});
}

TEST_F(ActionHistoryStoreTest, FilterAndSearchLookAtActionAndVisibleDetailOnly) {
    auto store = openStore();
    store->record(
        "Clean User Caches",
        "Moved 2 items." + ActionHistoryStore::undoPayload({{"secretword", "secretword"}}), true);
    store->record("Flush DNS", "Needs a saved administrator password.", false);
    store->record("Ünïcode Task", "Straße", true);
    deliverRecords();
    auto actions = [&](ActionHistoryStore::ResultFilter filter, const QString& search) {
        QStringList names;
        for (const ActionHistoryEntry& shown : store->filtered(filter, search))
            names << shown.action;
        return names;
    };
    using Filter = ActionHistoryStore::ResultFilter;
    EXPECT_EQ(actions(Filter::all, ""),
              QStringList({"Ünïcode Task", "Flush DNS", "Clean User Caches"}));
    EXPECT_EQ(actions(Filter::all, "secretword"), QStringList());
    EXPECT_EQ(actions(Filter::all, "undo:trash"), QStringList());
    EXPECT_EQ(actions(Filter::all, "MOVED 2"), QStringList{"Clean User Caches"});
    EXPECT_EQ(actions(Filter::all, "üNÏ"), QStringList{"Ünïcode Task"});
    EXPECT_EQ(actions(Filter::failed, ""), QStringList{"Flush DNS"});
    EXPECT_EQ(actions(Filter::ok, "dns"), QStringList());
    EXPECT_EQ(actions(Filter::ok, "a"), QStringList({"Ünïcode Task", "Clean User Caches"}));
}
