#pragma once

#include "services/Result.h"

#include <QByteArray>
#include <QString>
#include <chrono>
#include <cstdint>
#include <functional>
#include <memory>
#include <optional>

namespace velmox {

// One entry of a change history as a replay delivers it.
struct ChangeEvent {
    enum Flag : uint32_t {
        // The entries of the folder at `path` changed (created, deleted, renamed, written,
        // attributes): the folder has to be read again.
        folderChanged = 0x1,
        // The folder at `path` appeared (created or moved in): everything below it has to be
        // read again.
        wholeTree = 0x2,
        // The replay has delivered everything up to now; nothing follows.
        historyDone = 0x4,
        // Changes were lost: the history cannot tell what changed.
        userDropped = 0x8,
        kernelDropped = 0x10,
        // The history was restarted or rolled over since the position asked for.
        idsWrapped = 0x20,
    };
    QByteArray path;
    uint32_t flags = 0;
    bool operator==(const ChangeEvent&) const = default;
};

// The file-system change history of a device: which folders changed since a position. On
// macOS FSEvents keeps it for every volume; on Linux a recorder inside Velmox keeps a
// journal of the folders that changed while it ran (platform/linux/ChangeJournal.h).
//
// Calls block for at most the time they are given (a replay waits for the history to catch
// up with the present), so they run on a worker thread, never the main thread. One object
// may be used from several threads.
class ChangeHistory {
public:
    virtual ~ChangeHistory() = default;

    // The UUID of the history that records changes below `root`, std::nullopt when no
    // history records them (the disk offers none, or the recorder is not running).
    virtual std::optional<QString> uuid(const QByteArray& root) = 0;

    // Makes sure changes below `root` are recorded from now on and returns the position
    // after everything that happened until this call.
    virtual Result<uint64_t> currentPosition(const QByteArray& root,
                                             std::chrono::milliseconds limit) = 0;

    // Delivers every change below `root` after position `from` of the history `uuid`, in
    // order, then one event with historyDone; an event with userDropped, kernelDropped or
    // idsWrapped says the history cannot answer. `deliver` returns false to stop early. Fails
    // with a whole sentence when the history could not be opened, started or read, or did
    // not catch up within `limit`.
    virtual Status replay(const QByteArray& root, uint64_t from, const QString& uuid,
                          std::chrono::milliseconds limit,
                          const std::function<bool(const ChangeEvent&)>& deliver) = 0;
};

// The change history of this system, kept below the app data folder of the time of the call
// (Linux: the journal of the recorder of a running Velmox).
std::unique_ptr<ChangeHistory> systemChangeHistory();

} // namespace velmox
