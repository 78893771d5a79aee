#pragma once

#include "services/ActionHistoryEntry.h"
#include "services/Result.h"

#include <QFileSystemWatcher>
#include <QList>
#include <QMutex>
#include <QObject>
#include <QTimer>
#include <utility>

namespace velmox {

class Clock;
class Settings;

// The activity log: everything Velmox did for the user, newest first, kept in the settings and
// capped at maxEntries. Entries whose files the cache cleaner moved to the Trash carry an undo
// payload and can be put back once.
//
// Several Velmox processes keep a store on the same settings file. The file is the log: a save
// adds this store's new entries to what the file holds at that moment (under the settings'
// writers' lock), and a change of the file made by another process is read back, so no process
// drops another's entries. Entries whose save failed stay listed and go out with the next save.
//
// Lives on the thread that made it (the main thread) and must outlive every call of record().
class ActionHistoryStore : public QObject {
    Q_OBJECT
public:
    static inline const QString storageKey = QStringLiteral("com.quarnet.velmox.actionHistory");
    // Read when storageKey is absent, never written.
    static inline const QString legacyStorageKey =
        QStringLiteral("com.quarnet.warrantis.actionHistory");
    static inline const QString undoneKey = QStringLiteral("automationUndoneEntryIDs");
    static inline const QString undoMarker = QStringLiteral("\n[undo:trash-v1] ");
    // Items moved to the Trash from anywhere, each with its full original path.
    static inline const QString trashedMarker = QStringLiteral("\n[undo:trash-v2] ");
    static inline const QString putBackAction = QStringLiteral("Automation: Put Back");
    static constexpr int maxEntries = 200;

    ActionHistoryStore(Settings& settings, Clock& clock, QObject* parent = nullptr);
    // Inserts what was recorded but not yet handed over, so nothing recorded is lost.
    ~ActionHistoryStore() override;

    // Callable from any thread: the entry is made at once and returned, and inserted later on
    // the store's thread, in the order the insertions arrive there.
    ActionHistoryEntry record(const QString& action, const QString& detail, bool success);
    // Newest first; main thread only, like everything below that is not static.
    const QList<ActionHistoryEntry>& entries() const;
    // Empties the log. The set of entries already put back stays.
    Status clear();

    using UndoPair = std::pair<QString, QString>; // (name in the user caches, name in the Trash)
    static QList<UndoPair> undoItems(const ActionHistoryEntry& entry);
    // What a producer appends to a detail for the items it moved; empty when none moved.
    static QString undoPayload(const QList<UndoPair>& moved);
    // An item moved to the Trash from any folder: where it was and its name in the Trash,
    // as bytes (a path need not be valid UTF-8).
    struct TrashedItem {
        QByteArray originalPath;
        QByteArray trashName;
        bool operator==(const TrashedItem&) const = default;
    };
    static QList<TrashedItem> trashedItems(const ActionHistoryEntry& entry);
    static QString trashedPayload(const QList<TrashedItem>& moved);
    // The items Put Back would try, of either payload.
    static qsizetype putBackItemCount(const ActionHistoryEntry& entry);
    // The detail without its undo payload: what is shown, searched and exported.
    static QString visibleDetail(const ActionHistoryEntry& entry);

    bool canPutBack(const ActionHistoryEntry& entry) const;
    struct NotRestored {
        QString name;      // in the user caches, or the original path shown
        QString reason;    // a whole sentence
        QString trashPath; // where it still is; empty when it is not in the Trash
        bool operator==(const NotRestored&) const = default;
    };
    struct PutBackResult {
        int restored = 0;
        QList<NotRestored> notRestored;
        // Items of an entry that holds original paths went back to their own folders.
        bool toOriginalFolders = false;
        QList<QByteArray> restoredPaths = {};
        bool operator==(const PutBackResult&) const = default;
        bool anyStillInTrash() const;
    };
    // Moves the entry's items from the Trash back into the user caches (or where they were, for
    // an entry with original paths), never overwriting, and
    // records the outcome. Does nothing for an entry that cannot be put back, and moves nothing
    // when it cannot save that the entry was put back (it would be offered again).
    Result<PutBackResult> putBack(const ActionHistoryEntry& entry);

    enum class ResultFilter { all, ok, failed };
    // The entries passing the filter whose action or visible detail contains `search`
    // (ignoring case), in display order.
    QList<ActionHistoryEntry> filtered(ResultFilter filter, const QString& search) const;

    // Writes `shown` as CSV ("Date,Action,Result,Details"), replacing `path` atomically.
    static Status exportCsv(const QList<ActionHistoryEntry>& shown, const QString& path);
    // Writes an export atomically; a failure reads "Couldn't export: ...".
    static Status writeExport(const QString& path, const QByteArray& content);
    static QByteArray csv(const QList<ActionHistoryEntry>& shown);
    static QString exportedMessage(qsizetype count, const QString& path);
    static QString suggestedExportFileName(const QDateTime& now);
    static QString putBackButtonTitle(qsizetype itemCount);
    static QString putBackHelp();
    static QString putBackHelp(const ActionHistoryEntry& entry);
    // What a Put Back did, naming every item that was not restored, why, and where it is.
    static QString putBackSummary(const PutBackResult& result);

signals:
    void entriesChanged();
    // A save of new entries failed (a whole sentence); they stay listed and are saved again
    // with the next one.
    void saveFailed(const QString& message);
    // Put Back moved these items back to their original paths.
    void itemsPutBack(const QList<QByteArray>& paths);

private:
    void insertArrived();
    // Re-reads the file if another process changed it and shows what it holds.
    void reload();
    // The stored log (`legacy` while `stored` is absent) with the entries not yet saved on top.
    QList<ActionHistoryEntry> withUnsaved(const QVariant& stored, const QVariant& legacy) const;
    void show(QList<ActionHistoryEntry> entries);
    QStringList undoneIds() const;

    Settings& settings_;
    Clock& clock_;
    QList<ActionHistoryEntry> entries_;
    // Recorded here, oldest first, and not yet in the file.
    QList<ActionHistoryEntry> unsaved_;
    QFileSystemWatcher watcher_;
    QTimer reloadSoon_;
    QMutex arrivingMutex_;
    QList<ActionHistoryEntry> arriving_;
};

} // namespace velmox
