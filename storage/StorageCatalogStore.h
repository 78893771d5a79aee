#pragma once

#include "services/Result.h"
#include "storage/CatalogFormat.h"
#include "storage/SerialQueue.h"

#include <QObject>
#include <QString>
#include <functional>
#include <future>
#include <memory>
#include <optional>

namespace velmox {

// One saved catalog as the list shows it, read from the file's descriptive record only.
struct CatalogListEntry {
    QString name; // the file name without its extension
    QString file; // full path
    CatalogMeta meta;
    int64_t allocated = 0;
    int64_t logical = 0;
    int64_t items = 0;
    // Why the file cannot be opened ("The catalog file is damaged (...)"); empty when it can.
    QString error;
    bool operator==(const CatalogListEntry&) const = default;
};

// The files of scans kept on disk below the app data folder: catalogs saved by name
// ("Catalogs", .vxcatalog), the latest scan of each scope ("ScanCache", .vxsummary) and the
// checkpoint of a running scan ("ScanCheckpoints", .vxscan).
//
// Every write goes through the serial queue of its kind ("Velmox.catalogWrites",
// "Velmox.cacheWrites", "Velmox.checkpoints"), so writes of one kind never overlap; each
// writes a file beside the old one, reads it back, compares and only then replaces the old
// file. The returned futures are ready when the write has ended; `catalogsChanged` is
// emitted on the store's thread after every change to the catalogs. Reads run on the
// calling thread (call them off the main thread for big files). The destructor finishes the
// queued writes. One store per process.
class StorageCatalogStore : public QObject {
    Q_OBJECT
public:
    explicit StorageCatalogStore(QString baseFolder = defaultBaseFolder(),
                                 QObject* parent = nullptr);
    ~StorageCatalogStore() override;

    // $XDG_DATA_HOME/Velmox (~/.local/share/Velmox).
    static QString defaultBaseFolder();
    QString catalogsFolder() const;
    QString cacheFolder() const;
    QString checkpointsFolder() const;

    // The base name of a scope's cache and checkpoint files: the scope kind, the last part
    // of its path ("root" for "/") and the 64-bit FNV-1a hash of the scope key, which tells
    // scopes apart: "folder-Music-9c1f0e7d2b3a4c5d".
    static QString scopeStem(const QString& scopeKey);
    static uint64_t fnv1a64(QByteArrayView bytes);
    // NAME made safe for a file name plus ".vxcatalog"; empty for a name that cannot be one.
    static QString catalogFileName(const QString& name);
    // The name a catalog saved as `name` is listed under: catalogFileName() without ".vxcatalog".
    static QString catalogName(const QString& name);

    // Writes `contents` to `path` as described above; the error is a reason ("the compact copy
    // did not verify", a check of the tree, or the system's message).
    static Status writeFile(const QString& path, const CatalogContents& contents);
    // Reads a file written by writeFile(), with the whole-sentence messages of a failed read.
    static Result<CatalogContents> readFile(const QString& path);

    // Catalogs. Saving refuses an existing name unless `replace`.
    std::future<Status> saveCatalog(const QString& name, std::shared_ptr<const FileTree> tree,
                                    CatalogMeta meta, bool replace);
    // Every catalog file, those that cannot be read included (with their error).
    QList<CatalogListEntry> listCatalogs() const;
    // Opens a catalog; one of the older JSON form is converted first (the original is kept
    // beside it as "vxcatalog-legacy-backup").
    Result<CatalogContents> openCatalog(const QString& name);
    std::future<Status> renameCatalog(const QString& oldName, const QString& newName);
    std::future<Status> deleteCatalog(const QString& name);

    // The latest scan of a scope.
    QString cacheFile(const QString& scopeKey) const;
    // Writes a finished scan as the scope's cache: the tree is copied once, on the queue, and
    // `done` is called there with the outcome.
    std::future<Status> writeCache(const QString& scopeKey, std::shared_ptr<const FileTree> tree,
                                   CatalogMeta meta, std::function<void(const Status&)> done = {});
    // std::nullopt when the scope has no cache.
    std::optional<Result<CatalogContents>> readCache(const QString& scopeKey) const;

    // The checkpoint of a running scan of a scope.
    QString checkpointFile(const QString& scopeKey) const;
    std::future<Status> writeCheckpoint(std::shared_ptr<const CatalogContents> contents);
    Result<RestoredScan> readCheckpoint(const QString& scopeKey) const;
    std::future<Status> deleteCheckpoint(const QString& scopeKey);

    enum class FileKind { catalog, cache, checkpoint };
    // Runs `job` on the write queue of that kind of file, after the writes queued before it,
    // so that it sees those files whole and no write of them starts meanwhile. `job` must
    // not wait for that same queue.
    std::future<void> afterWrites(FileKind kind, std::function<void()> job);

signals:
    // "Velmox.storageCatalogsChanged": a catalog was saved, renamed or deleted.
    void catalogsChanged();

private:
    QString catalogPath(const QString& name) const;
    void announceChange();

    const QString base_;
    // Declared last: their destructors finish the writes before the rest goes.
    SerialQueue catalogWrites_{QStringLiteral("Velmox.catalogWrites")};
    SerialQueue cacheWrites_{QStringLiteral("Velmox.cacheWrites")};
    SerialQueue checkpoints_{QStringLiteral("Velmox.checkpoints")};
};

} // namespace velmox
