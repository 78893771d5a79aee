#pragma once

#include "platform/linux/ChangeJournal.h"
#include "services/Result.h"

#include <QByteArray>
#include <QHash>
#include <QList>
#include <QSet>
#include <QString>
#include <atomic>
#include <memory>
#include <thread>
#include <vector>

namespace velmox {

// Records which folders change, for incremental rescans, into the journal of
// ChangeJournal.h under the app data folder. It runs inside Velmox (the window or the tray
// process) for the whole session, on one thread of its own; each run starts a new journal
// with a fresh UUID, so a scan taken before a restart is never updated from it.
//
// What it watches is asked for through the journal's requests folder: a process (the same
// one or the command line) drops a file holding a root path there, and the recorder starts
// recording below that root, then answers with a sync record once every change that happened
// before the request is in the journal (JournalChangeHistory does both sides of this).
// With the rights for it (root) it marks whole file systems with fanotify and its
// directory-entry events; otherwise it places an inotify watch on every folder below each
// root. A lost event (queue overflow, the watch limit, an unreadable event) is written as a
// gap, which makes the next rescan read everything.
//
// Owns its thread: the destructor stops it, writes the end record and waits for it.
class ChangeRecorder {
public:
    enum class Method { automatic, inotify };
    explicit ChangeRecorder(QString appDataFolder, Method method = Method::automatic);
    ~ChangeRecorder();
    ChangeRecorder(const ChangeRecorder&) = delete;
    ChangeRecorder& operator=(const ChangeRecorder&) = delete;

    // Creates the journal and starts recording.
    Status start();
    bool isRunning() const { return thread_.joinable(); }
    QUuid uuid() const;
    // True when file-system marks are in use (fanotify), false for inotify watches.
    bool usesFanotify() const { return fanotifyFd_ >= 0; }

private:
    void run(std::stop_token stop);
    void readInotify();
    void readFanotify();
    void handleRequest(const QByteArray& id);
    bool cover(const QByteArray& root);
    // Adds an inotify watch to `folder` and every folder below it on the same device; false
    // when the watch limit was reached.
    bool watchTree(const QByteArray& folder);
    void note(ChangeJournal::Kind kind, const QByteArray& path);
    void flush();
    void writeRecord(ChangeJournal::Kind kind, QByteArrayView path);

    const QString appData_;
    const Method method_;
    std::unique_ptr<ChangeJournal::Writer> writer_;
    int inotifyFd_ = -1;
    int fanotifyFd_ = -1;
    int stopFd_ = -1;
    int requestsWatch_ = -1;
    QHash<int, QByteArray> watchPaths_;
    QList<QByteArray> coveredRoots_;
    QHash<uint64_t, int> markedDevices_; // device -> a descriptor on it for fanotify handles
    // Changes not written yet, in order, each once.
    std::vector<std::pair<ChangeJournal::Kind, QByteArray>> pending_;
    QSet<QByteArray> pendingFolders_;
    std::jthread thread_;
};

} // namespace velmox
