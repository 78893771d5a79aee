#include "storage/CatalogReindexer.h"

#include "storage/StorageCatalogStore.h"

#include <QDir>
#include <QFile>
#include <QFileInfo>
#include <cerrno>
#include <cstdio>
#include <cstring>

namespace velmox {

namespace {

const QString kSetAside = QStringLiteral("Set Aside");

QFileInfoList filesWith(const QString& folder, const QString& extension) {
    return QDir(folder).entryInfoList({QStringLiteral("*.") + extension}, QDir::Files, QDir::Name);
}

QString goneFolder(const QString& path) {
    return QStringLiteral("the folder %1 it was made of no longer exists").arg(path);
}

// Moves a file into the "Set Aside" folder beside it and says so in a note.
void setAside(const QFileInfo& file, const QString& what, const QString& reason,
              const CatalogReindexer::Note& note, ReindexReport& report) {
    const QString folder = file.absolutePath() + QLatin1Char('/') + kSetAside;
    const QString target = folder + QLatin1Char('/') + file.fileName();
    const QString action = QStringLiteral("Set aside a %1").arg(what);
    if (!QDir().mkpath(folder) || std::rename(QFile::encodeName(file.filePath()).constData(),
                                              QFile::encodeName(target).constData()) != 0) {
        if (note)
            note(action,
                 QStringLiteral("%1 could not be moved out of the way (%2): %3.")
                     .arg(file.fileName(), QString::fromLocal8Bit(std::strerror(errno)), reason),
                 false);
        return;
    }
    report.setAside.append(target);
    if (note)
        note(action, QStringLiteral("%1 was moved to %2: %3.").arg(file.fileName(), folder, reason),
             true);
}

} // namespace

CatalogReindexer::CatalogReindexer(StorageCatalogStore& store, Note note, QObject* parent)
    : QObject(parent), store_(store), note_(std::move(note)) {}

CatalogReindexer::~CatalogReindexer() = default;

void CatalogReindexer::schedule(Clock& clock, std::chrono::milliseconds delay) {
    timer_ = clock.schedule(
        delay, [this] { start(); }, false, std::chrono::seconds(2));
}

bool CatalogReindexer::start() {
    if (running_)
        return false;
    running_ = true;
    // The thread is joined by the next pass or the destructor, before this object goes.
    pass_ = std::jthread([this] {
        ReindexReport report = run(store_, note_);
        QMetaObject::invokeMethod(
            this,
            [this, report] {
                running_ = false;
                emit finished(report);
            },
            Qt::QueuedConnection);
    });
    return true;
}

ReindexReport CatalogReindexer::run(StorageCatalogStore& store, const Note& note) {
    ReindexReport report;
    // Catalogs of the older form: opening one converts it.
    for (const QFileInfo& file : filesWith(store.catalogsFolder(), QStringLiteral("vxcatalog"))) {
        QFile catalog(file.filePath());
        if (!catalog.open(QIODevice::ReadOnly) ||
            catalog.read(8) == QByteArrayView(CatalogFormat::kSignature, 8))
            continue;
        catalog.close();
        const QString name = file.completeBaseName();
        if (!store.openCatalog(name))
            continue; // not an older catalog either: the list shows why it cannot be opened
        report.converted.append(name);
        if (note)
            note(QStringLiteral("Converted an older catalog"),
                 QStringLiteral("\"%1\" is now in the compact form; the original is kept as "
                                "%1.vxcatalog-legacy-backup.")
                     .arg(name),
                 true);
    }

    store
        .afterWrites(StorageCatalogStore::FileKind::cache,
                     [&] {
                         for (const QFileInfo& file :
                              filesWith(store.cacheFolder(), QStringLiteral("vxsummary"))) {
                             const auto cache = StorageCatalogStore::readFile(file.filePath());
                             if (!cache)
                                 setAside(file, QStringLiteral("damaged scan cache"), cache.error(),
                                          note, report);
                             else if (!QFileInfo::exists(cache->meta.rootPath))
                                 setAside(file,
                                          QStringLiteral("scan cache of a folder that is gone"),
                                          goneFolder(cache->meta.rootPath), note, report);
                         }
                     })
        .get();

    store
        .afterWrites(
            StorageCatalogStore::FileKind::checkpoint,
            [&] {
                for (const QFileInfo& file :
                     filesWith(store.checkpointsFolder(), QStringLiteral("vxscan"))) {
                    const auto saved = StorageCatalogStore::readFile(file.filePath());
                    const QString what = QStringLiteral("scan checkpoint");
                    if (!saved) {
                        setAside(file, QStringLiteral("damaged ") + what, saved.error(), note,
                                 report);
                        continue;
                    }
                    const QString scope =
                        saved->checkpoint ? saved->checkpoint->scopeKey : QString();
                    const QString path = scope.mid(scope.indexOf(QLatin1Char(':')) + 1);
                    if (scope.isEmpty() || store.checkpointFile(scope) != file.filePath())
                        setAside(file, QStringLiteral("damaged ") + what,
                                 QStringLiteral("it does not hold the checkpoint its name says"),
                                 note, report);
                    else if (!QFileInfo::exists(path))
                        setAside(file, what + QStringLiteral(" of a folder that is gone"),
                                 goneFolder(path), note, report);
                    else
                        report.checkpoints.append(*saved->checkpoint);
                }
            })
        .get();

    // Lists of catalogs read again, whether or not a file changed.
    QMetaObject::invokeMethod(&store, &StorageCatalogStore::catalogsChanged, Qt::QueuedConnection);
    return report;
}

} // namespace velmox
