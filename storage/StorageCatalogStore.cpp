#include "storage/StorageCatalogStore.h"

#include "storage/LegacyCatalog.h"

#include <QDir>
#include <QFile>
#include <QFileInfo>
#include <QStandardPaths>
#include <QTemporaryFile>
#include <cerrno>
#include <csignal>
#include <cstring>
#include <fcntl.h>
#include <unistd.h>

namespace velmox {

namespace {

const QString kCatalogExtension = QStringLiteral(".vxcatalog");
const QString kCacheExtension = QStringLiteral(".vxsummary");
const QString kCheckpointExtension = QStringLiteral(".vxscan");
const QString kLegacyBackupExtension = QStringLiteral(".vxcatalog-legacy-backup");

QString systemReason(int error) {
    return QString::fromLocal8Bit(std::strerror(error));
}

// Makes the folder's entry for a renamed file durable.
void syncFolder(const QString& folder) {
    const int fd =
        ::open(QFile::encodeName(folder).constData(), O_RDONLY | O_DIRECTORY | O_CLOEXEC);
    if (fd >= 0) {
        ::fsync(fd);
        ::close(fd);
    }
}

Result<QByteArray> readWhole(const QString& path) {
    QFile file(path);
    if (!file.open(QIODevice::ReadOnly))
        return failure(QStringLiteral("The file could not be read (%1)").arg(file.errorString()));
    if (static_cast<uint64_t>(file.size()) > CatalogFormat::maxFileSize())
        return failure(QStringLiteral("The catalog file is too large to open."));
    QByteArray bytes = file.readAll();
    if (file.error() != QFileDevice::NoError)
        return failure(QStringLiteral("The file could not be read (%1)").arg(file.errorString()));
    return bytes;
}

// The unfinished copies of `path` that writers which are no longer running left behind (a
// crash or a kill during a write): "NAME.PID.XXXXXX.partial", PID being the writer's.
void removeAbandonedCopies(const QString& path) {
    const QFileInfo target(path);
    const QString prefix = target.fileName() + QLatin1Char('.');
    const QDir folder = target.absoluteDir();
    for (const QString& name :
         folder.entryList({prefix + QStringLiteral("*.partial")}, QDir::Files | QDir::Hidden)) {
        bool ok = false;
        const qint64 pid = name.mid(prefix.size()).section(QLatin1Char('.'), 0, 0).toLongLong(&ok);
        if (ok && pid > 0 && ::kill(pid_t(pid), 0) != 0 && errno == ESRCH)
            QFile::remove(folder.filePath(name));
    }
}

bool hasSignature(const QByteArray& bytes) {
    return bytes.startsWith(QByteArrayView(CatalogFormat::kSignature, 8));
}

} // namespace

StorageCatalogStore::StorageCatalogStore(QString baseFolder, QObject* parent)
    : QObject(parent), base_(std::move(baseFolder)) {}

StorageCatalogStore::~StorageCatalogStore() = default;

QString StorageCatalogStore::defaultBaseFolder() {
    return QStandardPaths::writableLocation(QStandardPaths::GenericDataLocation) +
           QStringLiteral("/Velmox");
}

QString StorageCatalogStore::catalogsFolder() const {
    return base_ + QStringLiteral("/Catalogs");
}

QString StorageCatalogStore::cacheFolder() const {
    return base_ + QStringLiteral("/ScanCache");
}

QString StorageCatalogStore::checkpointsFolder() const {
    return base_ + QStringLiteral("/ScanCheckpoints");
}

uint64_t StorageCatalogStore::fnv1a64(QByteArrayView bytes) {
    uint64_t hash = 0xcbf29ce484222325ull;
    for (char byte : bytes) {
        hash ^= static_cast<uint8_t>(byte);
        hash *= 0x100000001b3ull;
    }
    return hash;
}

QString StorageCatalogStore::scopeStem(const QString& scopeKey) {
    const qsizetype colon = scopeKey.indexOf(QLatin1Char(':'));
    const QString kind = colon < 0 ? QStringLiteral("scope") : scopeKey.left(colon);
    const QString path = colon < 0 ? scopeKey : scopeKey.mid(colon + 1);
    QString last = path == QLatin1String("/") ? QStringLiteral("root") : QFileInfo(path).fileName();
    QString readable;
    for (const QChar c : last.left(40))
        readable += c.isLetterOrNumber() || c == QLatin1Char('-') || c == QLatin1Char('_')
                        ? c
                        : QLatin1Char('_');
    const uint64_t hash = fnv1a64(scopeKey.toUtf8());
    return QStringLiteral("%1-%2-%3")
        .arg(kind, readable, QString::asprintf("%016llx", static_cast<unsigned long long>(hash)));
}

QString StorageCatalogStore::catalogFileName(const QString& name) {
    QString safe = name.trimmed();
    // A slash would make a folder, a zero byte end the name; a leading dot hides the file.
    safe.replace(QLatin1Char('/'), QLatin1Char('-')).remove(QChar(0));
    while (safe.startsWith(QLatin1Char('.')))
        safe.remove(0, 1);
    if (safe.isEmpty())
        return {};
    return safe.left(200) + kCatalogExtension;
}

QString StorageCatalogStore::catalogName(const QString& name) {
    return catalogFileName(name).chopped(kCatalogExtension.size());
}

Status StorageCatalogStore::writeFile(const QString& path, const CatalogContents& contents) {
    const auto bytes = CatalogFormat::encode(contents);
    if (!bytes)
        return failure(bytes.error());
    const QString folder = QFileInfo(path).absolutePath();
    if (!QDir().mkpath(folder))
        return failure(QStringLiteral("the folder %1 could not be made").arg(folder));
    removeAbandonedCopies(path);
    QTemporaryFile next(path + QStringLiteral(".%1.XXXXXX.partial").arg(::getpid()));
    if (!next.open())
        return failure(next.errorString());
    if (next.write(*bytes) != bytes->size() || !next.flush() || ::fsync(next.handle()) != 0)
        return failure(next.errorString().isEmpty() ? systemReason(errno) : next.errorString());
    next.close();
    // Read back what reached the disk, not what is still in memory.
    const auto written = readWhole(next.fileName());
    const auto readBack =
        written ? CatalogFormat::decode(*written, UINT64_MAX) : std::unexpected(CatalogReadError{});
    if (!readBack || !readBack->sameAs(contents))
        return failure(QStringLiteral("the compact copy did not verify"));
    if (::rename(QFile::encodeName(next.fileName()).constData(),
                 QFile::encodeName(path).constData()) != 0)
        return failure(systemReason(errno));
    next.setAutoRemove(false);
    syncFolder(folder);
    return Done{};
}

Result<CatalogContents> StorageCatalogStore::readFile(const QString& path) {
    auto bytes = readWhole(path);
    if (!bytes)
        return failure(bytes.error());
    auto contents = CatalogFormat::decode(*bytes, CatalogFormat::maxDecodedSize());
    if (!contents)
        return failure(contents.error().message());
    return std::move(*contents);
}

QString StorageCatalogStore::catalogPath(const QString& name) const {
    const QString file = catalogFileName(name);
    return file.isEmpty() ? QString() : catalogsFolder() + QLatin1Char('/') + file;
}

void StorageCatalogStore::announceChange() {
    QMetaObject::invokeMethod(this, &StorageCatalogStore::catalogsChanged, Qt::QueuedConnection);
}

std::future<Status> StorageCatalogStore::saveCatalog(const QString& name,
                                                     std::shared_ptr<const FileTree> tree,
                                                     CatalogMeta meta, bool replace) {
    const QString path = catalogPath(name);
    return catalogWrites_.run([this, path, name, tree, meta, replace]() -> Status {
        if (!tree || tree->size() == 0)
            return failure(QStringLiteral("Run a scan first, then save it as a catalog."));
        if (path.isEmpty())
            return failure(QStringLiteral("\"%1\" cannot be the name of a catalog.").arg(name));
        if (!replace && QFileInfo::exists(path))
            return failure(QStringLiteral("A catalog named \"%1\" already exists.")
                               .arg(QFileInfo(path).completeBaseName()));
        const CatalogContents contents{tree->copy(), meta, std::nullopt, {}};
        if (Status written = writeFile(path, contents); !written)
            return failure(QStringLiteral("Could not save the catalog: %1").arg(written.error()));
        announceChange();
        return Done{};
    });
}

QList<CatalogListEntry> StorageCatalogStore::listCatalogs() const {
    QList<CatalogListEntry> entries;
    const QDir folder(catalogsFolder());
    for (const QFileInfo& info :
         folder.entryInfoList({QLatin1Char('*') + kCatalogExtension}, QDir::Files, QDir::Name)) {
        CatalogListEntry entry;
        entry.name = info.fileName().chopped(kCatalogExtension.size());
        entry.file = info.filePath();
        const auto damaged = [](const QString& reason) {
            return CatalogReadError{CatalogReadError::Kind::damaged, reason}.message();
        };
        QFile file(info.filePath());
        QByteArray head;
        if (!file.open(QIODevice::ReadOnly)) {
            entry.error = QStringLiteral("The file could not be read (%1)").arg(file.errorString());
        } else if (head = file.read(64); hasSignature(head)) {
            head += file.read(CatalogFormat::summaryLength(head) - head.size());
            const auto summary = CatalogFormat::decodeSummary(head);
            if (summary) {
                entry.meta = summary->meta;
                entry.allocated = summary->allocated;
                entry.logical = summary->logical;
                entry.items = summary->items;
            } else {
                entry.error = summary.error().message();
            }
        } else if (static_cast<uint64_t>(file.size()) > CatalogFormat::maxFileSize()) {
            entry.error = QStringLiteral("The catalog file is too large to open.");
        } else {
            // The older form has no summary of its own: it is read whole until converted.
            head += file.readAll();
            const auto legacy = LegacyCatalog::read(head);
            if (legacy) {
                entry.meta = legacy->meta;
                entry.allocated = legacy->tree.alloc(0);
                entry.logical = legacy->tree.logical(0);
                entry.items = legacy->tree.items(0);
            } else {
                entry.error = damaged(QStringLiteral("unknown file format"));
            }
        }
        entries.append(entry);
    }
    return entries;
}

Result<CatalogContents> StorageCatalogStore::openCatalog(const QString& name) {
    const QString path = catalogPath(name);
    if (path.isEmpty() || !QFileInfo::exists(path))
        return failure(QStringLiteral("There is no catalog named \"%1\".").arg(name));
    auto bytes = readWhole(path);
    if (!bytes)
        return failure(bytes.error());
    if (hasSignature(*bytes))
        return readFile(path);
    auto legacy = LegacyCatalog::read(*bytes);
    if (!legacy)
        return failure(
            CatalogReadError{CatalogReadError::Kind::damaged, QStringLiteral("unknown file format")}
                .message());
    // Keep the original beside the converted file, then replace it with the compact form.
    const QString backup = path.chopped(kCatalogExtension.size()) + kLegacyBackupExtension;
    auto converted = catalogWrites_
                         .run([path, backup, &legacy]() -> Status {
                             if (!QFileInfo::exists(backup) && !QFile::copy(path, backup))
                                 return failure(QStringLiteral("the older catalog could not be "
                                                               "kept as a backup"));
                             return writeFile(path, *legacy);
                         })
                         .get();
    if (!converted)
        return failure(QStringLiteral("Could not save the catalog: %1").arg(converted.error()));
    announceChange();
    return std::move(*legacy);
}

std::future<Status> StorageCatalogStore::renameCatalog(const QString& oldName,
                                                       const QString& newName) {
    const QString from = catalogPath(oldName);
    const QString to = catalogPath(newName);
    return catalogWrites_.run([this, from, to, oldName, newName]() -> Status {
        if (from.isEmpty() || !QFileInfo::exists(from))
            return failure(QStringLiteral("There is no catalog named \"%1\".").arg(oldName));
        if (to.isEmpty())
            return failure(QStringLiteral("\"%1\" cannot be the name of a catalog.").arg(newName));
        if (from == to)
            return Done{};
        // renameat2 with RENAME_NOREPLACE refuses an existing target without a race.
        if (::renameat2(AT_FDCWD, QFile::encodeName(from).constData(), AT_FDCWD,
                        QFile::encodeName(to).constData(), RENAME_NOREPLACE) != 0) {
            if (errno == EEXIST)
                return failure(QStringLiteral("A catalog named \"%1\" already exists, so \"%2\" "
                                              "was not renamed.")
                                   .arg(QFileInfo(to).completeBaseName(), oldName));
            return failure(
                QStringLiteral("Could not rename the catalog: %1").arg(systemReason(errno)));
        }
        syncFolder(QFileInfo(to).absolutePath());
        announceChange();
        return Done{};
    });
}

std::future<Status> StorageCatalogStore::deleteCatalog(const QString& name) {
    const QString path = catalogPath(name);
    return catalogWrites_.run([this, path, name]() -> Status {
        if (path.isEmpty() || !QFileInfo::exists(path))
            return failure(QStringLiteral("There is no catalog named \"%1\".").arg(name));
        if (!QFile::remove(path))
            return failure(
                QStringLiteral("Could not delete the catalog: %1").arg(systemReason(errno)));
        announceChange();
        return Done{};
    });
}

std::future<void> StorageCatalogStore::afterWrites(FileKind kind, std::function<void()> job) {
    SerialQueue& queue = kind == FileKind::catalog ? catalogWrites_
                         : kind == FileKind::cache ? cacheWrites_
                                                   : checkpoints_;
    return queue.run(std::move(job));
}

QString StorageCatalogStore::cacheFile(const QString& scopeKey) const {
    return cacheFolder() + QLatin1Char('/') + scopeStem(scopeKey) + kCacheExtension;
}

std::future<Status> StorageCatalogStore::writeCache(const QString& scopeKey,
                                                    std::shared_ptr<const FileTree> tree,
                                                    CatalogMeta meta,
                                                    std::function<void(const Status&)> done) {
    return cacheWrites_.run([path = cacheFile(scopeKey), tree, meta, done] {
        const Status written = writeFile(path, {tree->copy(), meta, std::nullopt, {}});
        if (done)
            done(written);
        return written;
    });
}

std::optional<Result<CatalogContents>>
StorageCatalogStore::readCache(const QString& scopeKey) const {
    const QString path = cacheFile(scopeKey);
    if (!QFileInfo::exists(path))
        return std::nullopt;
    return readFile(path);
}

QString StorageCatalogStore::checkpointFile(const QString& scopeKey) const {
    return checkpointsFolder() + QLatin1Char('/') + scopeStem(scopeKey) + kCheckpointExtension;
}

std::future<Status>
StorageCatalogStore::writeCheckpoint(std::shared_ptr<const CatalogContents> contents) {
    Q_ASSERT(contents->checkpoint);
    return checkpoints_.run([path = checkpointFile(contents->checkpoint->scopeKey), contents] {
        return writeFile(path, *contents);
    });
}

Result<RestoredScan> StorageCatalogStore::readCheckpoint(const QString& scopeKey) const {
    auto contents = readFile(checkpointFile(scopeKey));
    if (!contents)
        return failure(contents.error());
    if (!contents->checkpoint || contents->checkpoint->scopeKey != scopeKey)
        return failure(CatalogReadError{CatalogReadError::Kind::damaged,
                                        QStringLiteral("the streams do not match")}
                           .message());
    return RestoredScan{std::move(contents->tree), std::move(*contents->checkpoint),
                        std::move(contents->stack)};
}

std::future<Status> StorageCatalogStore::deleteCheckpoint(const QString& scopeKey) {
    return checkpoints_.run([path = checkpointFile(scopeKey)]() -> Status {
        if (::unlink(QFile::encodeName(path).constData()) != 0 && errno != ENOENT)
            return failure(systemReason(errno));
        return Done{};
    });
}

} // namespace velmox
