#pragma once

#include "storage/DiskScanner.h"
#include "storage/ScanJob.h"

#include <QByteArray>
#include <QCoreApplication>
#include <QElapsedTimer>
#include <QMap>
#include <QProcess>
#include <fcntl.h>
#include <gtest/gtest.h>
#include <sys/stat.h>
#include <unistd.h>

namespace velmox::test {

// Runs the event loop until `done()` holds, for at most 30 seconds.
template <typename Condition> bool processEventsUntil(Condition done) {
    QElapsedTimer timer;
    timer.start();
    while (!done() && timer.elapsed() < 30000)
        QCoreApplication::processEvents(QEventLoop::AllEvents, 20);
    return done();
}

// `du -s` of a path as the current user: {allocated (-B1), logical (-b)}.
inline std::pair<int64_t, int64_t> duTotals(const QString& path) {
    const auto run = [&](const char* unit) {
        QProcess du;
        du.start(QStringLiteral("/usr/bin/du"),
                 {QStringLiteral("-s"), QString::fromLatin1(unit), path});
        du.waitForFinished(120000);
        return du.readAllStandardOutput().split('\t').value(0).toLongLong();
    };
    return {run("-B1"), run("-b")};
}

inline void writeFile(const QByteArray& path, qsizetype bytes) {
    const int fd = ::open(path.constData(), O_WRONLY | O_CREAT | O_TRUNC, 0644);
    ASSERT_GE(fd, 0) << path.constData();
    const QByteArray data(bytes, 'v');
    ASSERT_EQ(::write(fd, data.constData(), size_t(data.size())), data.size());
    ::close(fd);
}

inline void makeFolder(const QByteArray& path, mode_t mode = 0755) {
    ASSERT_EQ(::mkdir(path.constData(), mode), 0) << path.constData();
}

// Starts a scan of one worker and pauses it at once. A busy machine may let the walk end
// before the pause takes, so it tries a few times; false when it never paused.
inline bool startPaused(ScanJob& job) {
    for (int attempt = 0; attempt < 5; ++attempt) {
        job.start(false, 1);
        job.pause();
        if (!processEventsUntil([&] { return job.state() != ScanJob::State::scanning; }))
            return false;
        if (job.isPaused())
            return true;
    }
    return false;
}

// Every folder of `tree` by path with its sizes and item count.
inline QMap<QByteArray, std::tuple<int64_t, int64_t, uint32_t>>
folderFigures(const FileTree& tree) {
    QMap<QByteArray, std::tuple<int64_t, int64_t, uint32_t>> figures;
    for (int32_t node = 0; node < tree.size(); ++node)
        if (tree.hasFlag(node, NodeFlag::directory))
            figures.insert(tree.pathBytes(node),
                           {tree.alloc(node), tree.logical(node), tree.items(node)});
    return figures;
}

// A finished scan of `path`.
inline std::shared_ptr<FileTree> scanFolder(const QString& path, int workers = 0,
                                            DiskScanner* keep = nullptr) {
    ScanConfiguration config = ScanConfiguration::build({ScanScope::Kind::folder, path, {}, {}});
    if (workers > 0)
        config.workerCount = workers;
    DiskScanner own(config);
    DiskScanner& scanner = keep ? *keep : own;
    if (!scanner.start())
        return nullptr;
    scanner.waitForFinished();
    return scanner.tree();
}

} // namespace velmox::test
