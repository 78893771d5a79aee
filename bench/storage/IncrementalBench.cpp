// Incremental rescan against a full scan of the same tree in the same run, after 100
// scattered changes (files created, deleted, grown and renamed, folders created). The tree
// is $VELMOX_INCREMENTAL_TREE (made by incremental-rescan.sh) and is changed by every run.
// Prints both times, their ratio and whether the two trees agree; exits 1 when they do not.

#include "platform/linux/ChangeRecorder.h"
#include "platform/linux/JournalChangeHistory.h"
#include "storage/DiskScanner.h"
#include "storage/IncrementalPlan.h"

#include <QDir>
#include <QElapsedTimer>
#include <QFile>
#include <QTemporaryDir>
#include <cstdio>
#include <cstdlib>
#include <map>
#include <random>

using namespace velmox;
using namespace std::chrono_literals;

namespace {

std::shared_ptr<FileTree> walk(DiskScanner* scanner, double* seconds) {
    QElapsedTimer timer;
    timer.start();
    if (!scanner->start() || !scanner->waitForFinished() ||
        scanner->state() != DiskScanner::State::finished) {
        std::fprintf(stderr, "The scan did not finish.\n");
        std::exit(2);
    }
    *seconds = double(timer.nsecsElapsed()) / 1e9;
    return scanner->tree();
}

// Every path with its kind, time and (for files with one name) size.
std::map<QByteArray, std::tuple<uint16_t, int64_t, int64_t>> entriesOf(const FileTree& tree) {
    std::map<QByteArray, std::tuple<uint16_t, int64_t, int64_t>> entries;
    for (int32_t node = 0; node < tree.size(); ++node) {
        const uint16_t flags = tree.flags(node);
        const bool sized = !(flags & (NodeFlag::directory | NodeFlag::multiplyLinked));
        entries[tree.pathBytes(node)] = {flags, tree.mtime(node), sized ? tree.logical(node) : 0};
    }
    return entries;
}

void makeChanges(const QByteArray& root, int count) {
    std::mt19937 random(uint32_t(std::time(nullptr)));
    const QStringList groups = QDir(QString::fromUtf8(root)).entryList({"group*"}, QDir::Dirs);
    for (int change = 0; change < count; ++change) {
        const QString group =
            QString::fromUtf8(root) + '/' + groups.at(int(random() % groups.size()));
        const QString folder =
            group + QStringLiteral("/folder%1").arg(random() % 1000, 3, 10, QChar('0'));
        const QStringList files = QDir(folder).entryList(QDir::Files);
        const QString stamp = QString::number(change) + '-' + QString::number(random());
        switch (change % 5) {
        case 0: {
            QFile created(folder + QStringLiteral("/new-") + stamp);
            created.open(QIODevice::WriteOnly);
            created.write(QByteArray(int(random() % 20000), 'n'));
            break;
        }
        case 1:
            if (!files.isEmpty())
                QFile::remove(folder + '/' + files.first());
            break;
        case 2:
            if (!files.isEmpty()) {
                QFile grown(folder + '/' + files.last());
                grown.open(QIODevice::Append);
                grown.write(QByteArray(int(random() % 50000), 'g'));
            }
            break;
        case 3:
            if (!files.isEmpty())
                QFile::rename(folder + '/' + files.first(),
                              group + QStringLiteral("/moved-") + stamp);
            break;
        case 4:
            QDir().mkpath(folder + QStringLiteral("/sub-") + stamp + QStringLiteral("/inner"));
            QFile(folder + QStringLiteral("/sub-") + stamp + QStringLiteral("/inner/x"))
                .open(QIODevice::WriteOnly);
            break;
        }
    }
}

} // namespace

int main() {
    const char* env = std::getenv("VELMOX_INCREMENTAL_TREE");
    const QByteArray root = env ? QByteArray(env) : QByteArray("/var/tmp/velmox-incremental-tree");
    const ScanConfiguration config =
        ScanConfiguration::build({ScanScope::Kind::folder, QString::fromUtf8(root), {}, {}});
    QTemporaryDir appData;
    ChangeRecorder recorder(appData.path());
    if (const Status started = recorder.start(); !started) {
        std::fprintf(stderr, "%s\n", qPrintable(started.error()));
        return 2;
    }
    JournalChangeHistory history(appData.path());
    const auto position = history.currentPosition(root, 600s);
    if (!position) {
        std::fprintf(stderr, "%s\n", qPrintable(position.error()));
        return 2;
    }
    double baselineSeconds = 0;
    DiskScanner first(config);
    const auto baseline = walk(&first, &baselineSeconds);
    const ScanStamp stamp{1, *position, *history.uuid(root), {}, QDateTime::currentDateTime()};

    makeChanges(root, 100);

    QElapsedTimer timer;
    timer.start();
    IncrementalDecision::Inputs inputs;
    inputs.baseline = baseline.get();
    inputs.stamp = stamp;
    inputs.baselineRoot = inputs.root = baseline->rootPath;
    inputs.now = QDateTime::currentDateTime();
    inputs.history = &history;
    IncrementalDecision decision = IncrementalDecision::decide(inputs);
    if (!decision.plan) {
        std::fprintf(stderr, "No incremental rescan: %s\n", qPrintable(decision.note));
        return 1;
    }
    const double decideSeconds = double(timer.nsecsElapsed()) / 1e9;
    const int64_t flagged = decision.plan->flaggedFolders;
    double walkSeconds = 0;
    DiskScanner incremental(config, *baseline, std::move(*decision.plan));
    const auto updated = walk(&incremental, &walkSeconds);
    const double incrementalSeconds = decideSeconds + walkSeconds;
    double fullSeconds = 0;
    DiskScanner again(config);
    const auto full = walk(&again, &fullSeconds);

    const bool same = updated->size() == full->size() && updated->alloc(0) == full->alloc(0) &&
                      updated->logical(0) == full->logical(0) &&
                      updated->items(0) == full->items(0) && !incremental.needsFullScan() &&
                      entriesOf(*updated) == entriesOf(*full);
    std::printf("recorder:            %s\n", recorder.usesFanotify() ? "fanotify" : "inotify");
    std::printf("nodes:               %d\n", full->size());
    std::printf("baseline full scan:  %.3f s\n", baselineSeconds);
    std::printf("folders flagged:     %lld\n", static_cast<long long>(flagged));
    std::printf("incremental rescan:  %.3f s (history %.3f s, walk %.3f s)\n", incrementalSeconds,
                decideSeconds, walkSeconds);
    std::printf("full rescan:         %.3f s\n", fullSeconds);
    std::printf("speed-up:            %.1fx\n", fullSeconds / incrementalSeconds);
    std::printf("same tree:           %s\n", same ? "yes" : "NO");
    return same ? 0 : 1;
}
