#pragma once

#include "platform/ChangeHistory.h"
#include "storage/CatalogRecords.h"
#include "storage/FileTree.h"

#include <QByteArray>
#include <QDateTime>
#include <QSet>
#include <QString>
#include <chrono>
#include <cstdint>
#include <optional>
#include <vector>

namespace velmox {

// What a replay of the change history found below a scan's root.
struct ReplayCollector {
    static constexpr qsizetype kMaxPaths = 2'000'000;
    static constexpr std::chrono::seconds kTimeLimit{120};

    QSet<QByteArray> paths;      // folders whose entries changed
    QSet<QByteArray> wholeTrees; // folders that appeared, to be read with all below them
    QString problem;             // why the history cannot be used; empty when it can
    bool historyReached = false;
    bool stopped = false;

    // Replays `history` below `root` from the stamp's position.
    static ReplayCollector replay(ChangeHistory& history, const QByteArray& root,
                                  const ScanStamp& stamp,
                                  std::chrono::milliseconds limit = kTimeLimit);
    // Takes one event; false once the replay has to stop.
    bool take(const ChangeEvent& event);
};

// Which folders of an earlier tree an incremental rescan reads again. Every other folder is
// taken over from the earlier tree with everything below it.
struct IncrementalPlan {
    enum Mark : uint8_t {
        reuse = 0,   // unchanged, and nothing below it changed
        read = 1,    // read again; its sub-folders are matched to the earlier tree by name
        readAll = 2, // read again with every folder below it
        descend = 3, // unchanged itself, but something below it changed
    };
    std::vector<uint8_t> mark;  // one per node of the earlier tree
    int64_t flaggedFolders = 0; // folders that will be read again

    // Resolves the changed paths to folders of `baseline` (a scan of the same root), flags
    // them and their ancestors, and the folders holding other names of a hard-linked file
    // that lies in a flagged folder (its sizes and times live in each of its names).
    static IncrementalPlan build(const FileTree& baseline, const ReplayCollector& changes);
};

// Decides between an incremental rescan and a full one.
struct IncrementalDecision {
    static constexpr int64_t kMaxFlaggedFolders = 250'000;
    static constexpr int64_t kMaxStampAgeSeconds = 604'800;

    std::optional<IncrementalPlan> plan; // set when the rescan can be incremental
    QString note;                        // otherwise why everything is read again

    struct Inputs {
        const FileTree* baseline = nullptr;
        std::optional<ScanStamp> stamp;
        QString baselineRoot; // the root path recorded with the earlier scan
        QString root;         // the root about to be scanned
        QString identity;     // the identity of the volume now
        QDateTime now;
        ChangeHistory* history = nullptr;
        std::chrono::milliseconds replayLimit = ReplayCollector::kTimeLimit;
        QStringList exclusions; // of the scan about to run (ScanExclusions::patterns())
    };
    // Runs the checks in order; the first that fails gives the note of a full scan.
    static IncrementalDecision decide(const Inputs& inputs);
};

// Texts of incremental rescans.
namespace IncrementalText {
QString checkingPhase();
QString unsafe();
// The note of a finished incremental rescan.
QString updated(int64_t changedFolders, int64_t unchangedFolders, double seconds);
QString seconds(double seconds);
} // namespace IncrementalText

} // namespace velmox
