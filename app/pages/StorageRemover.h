#pragma once

#include "services/ActionHistoryStore.h"

#include <QByteArray>
#include <QList>
#include <QObject>
#include <QStringList>
#include <thread>

namespace velmox {

// Removes items of a scan from the disk, to the Trash or for good, one batch at a time on a
// thread of its own, and hands the outcome back on the thread that owns it (the main
// thread). Whatever cannot be removed is named with the reason in a whole sentence. The
// destructor waits for a running batch, so the thread never reports into an object that has
// gone.
class StorageRemover : public QObject {
    Q_OBJECT
public:
    enum class Mode { trash, permanently };
    struct Outcome {
        Mode mode = Mode::trash;
        QList<QByteArray> removed;                      // gone from its place, in request order
        QList<ActionHistoryStore::TrashedItem> trashed; // for Put Back (trash only)
        QStringList failures;                           // one sentence per item that stayed
        // Items deleted only in part: their folders need to be read again.
        QList<QByteArray> partlyRemoved;
    };

    using QObject::QObject;
    ~StorageRemover() override;

    bool isRunning() const { return running_; }
    // False while a batch runs.
    bool start(const QList<QByteArray>& paths, Mode mode);
    // The same work on the calling thread.
    static Outcome remove(const QList<QByteArray>& paths, Mode mode);

signals:
    void finished(const velmox::StorageRemover::Outcome& outcome);

private:
    bool running_ = false;
    std::jthread worker_;
};

} // namespace velmox
