// Writes catalogs, scan caches or checkpoints in a loop until it is killed, and checks what
// such a kill left behind. catalog-kill.sh drives it.
//
//   catalog_kill_driver write KIND FOLDER   writes versions 0, 1, 0, 1 ... of KIND for ever
//   catalog_kill_driver verify KIND FOLDER  prints "version N" when the file on disk is one
//                                           of the two complete versions, "none" when there
//                                           is no file yet; exits 1 on anything else
//
// KIND is catalog, cache or checkpoint. The two versions differ in size and content, so a
// file made of parts of both cannot pass as either.
#include "storage/StorageCatalogStore.h"

#include <QCoreApplication>
#include <QFileInfo>
#include <QTextStream>
#include <cstdio>

using namespace velmox;

namespace {

const QString kScope = QStringLiteral("folder:/bench/kill");
const QString kCatalog = QStringLiteral("kill-bench");

CatalogContents makeContents(int version, const QString& kind) {
    const bool checkpoint = kind == QLatin1String("checkpoint");
    FileTree tree(QStringLiteral("/bench/kill"), QStringLiteral("kill"));
    tree.append(-1, NodeFlag::directory, 4096, 4096, 1'700'000'000, "kill");
    const int folders = 300 + version * 40;
    const int files = 60;
    for (int f = 0; f < folders; ++f)
        tree.append(0, NodeFlag::directory, 4096, 4096, 1'700'000'000 + f,
                    QByteArray("folder-") + QByteArray::number(f));
    for (int f = 0; f < folders; ++f)
        for (int i = 0; i < files; ++i) {
            const int64_t bytes = (int64_t(f) * 7919 + i * 104729 + version) % 5'000'000;
            tree.append(1 + f, 0, (bytes + 4095) / 4096 * 4096, bytes, 1'700'000'000 + i,
                        QByteArray("file-") + QByteArray::number(i) + ".v" +
                            QByteArray::number(version));
        }
    CatalogContents contents;
    contents.meta.volumeName = QStringLiteral("version %1").arg(version);
    contents.meta.rootPath = tree.rootPath;
    contents.meta.scanDate = QDateTime::fromSecsSinceEpoch(1'700'000'000 + version, Qt::UTC);
    if (checkpoint) {
        contents.checkpoint = ScanCheckpointInfo{
            kScope, tree.size(), folders, 0, {}, 1.5, contents.meta.scanDate, false};
        contents.stack = {{1, QByteArray("/bench/kill/folder-0")}};
    } else {
        tree.sumFolderSizes();
    }
    contents.tree = std::move(tree);
    return contents;
}

QString fileOf(const StorageCatalogStore& store, const QString& kind) {
    if (kind == QLatin1String("catalog"))
        return store.catalogsFolder() + QLatin1Char('/') +
               StorageCatalogStore::catalogFileName(kCatalog);
    if (kind == QLatin1String("cache"))
        return store.cacheFile(kScope);
    return store.checkpointFile(kScope);
}

int writeForever(StorageCatalogStore& store, const QString& kind) {
    const CatalogContents versions[2] = {makeContents(0, kind), makeContents(1, kind)};
    for (uint64_t round = 0;; ++round) {
        const CatalogContents& next = versions[round % 2];
        Status written;
        if (kind == QLatin1String("catalog"))
            written = store
                          .saveCatalog(kCatalog, std::make_shared<FileTree>(next.tree.copy()),
                                       next.meta, true)
                          .get();
        else if (kind == QLatin1String("cache"))
            written =
                store.writeCache(kScope, std::make_shared<FileTree>(next.tree.copy()), next.meta)
                    .get();
        else
            written = store
                          .writeCheckpoint(std::make_shared<CatalogContents>(CatalogContents{
                              next.tree.copy(), next.meta, next.checkpoint, next.stack}))
                          .get();
        if (!written) {
            std::fprintf(stderr, "write failed: %s\n", qPrintable(written.error()));
            return 1;
        }
    }
}

int verify(const StorageCatalogStore& store, const QString& kind) {
    const QString file = fileOf(store, kind);
    QTextStream out(stdout);
    if (!QFileInfo::exists(file)) {
        out << "none\n";
        return 0;
    }
    const auto read = StorageCatalogStore::readFile(file);
    if (!read) {
        out << "unreadable: " << read.error() << '\n';
        return 1;
    }
    for (int version = 0; version < 2; ++version)
        if (read->sameAs(makeContents(version, kind))) {
            out << "version " << version << '\n';
            return 0;
        }
    out << "a complete file that is neither version\n";
    return 1;
}

} // namespace

int main(int argc, char** argv) {
    QCoreApplication app(argc, argv);
    const QStringList args = app.arguments();
    const QString kind = args.value(2);
    if (args.size() != 4 || !QStringList{"catalog", "cache", "checkpoint"}.contains(kind) ||
        (args[1] != QLatin1String("write") && args[1] != QLatin1String("verify"))) {
        std::fprintf(stderr, "usage: catalog_kill_driver write|verify catalog|cache|checkpoint "
                             "FOLDER\n");
        return 2;
    }
    StorageCatalogStore store(args[3]);
    return args[1] == QLatin1String("write") ? writeForever(store, kind) : verify(store, kind);
}
