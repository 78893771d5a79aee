#pragma once

#include "services/Result.h"
#include "storage/FileTree.h"

#include <QByteArray>
#include <QString>
#include <atomic>
#include <cstdint>
#include <optional>
#include <vector>

namespace velmox {

// What changed between two scans of the same place: a tree of the items whose size differs
// (and of the folders above them), each with its size before and after. Items are matched
// by their path below the two roots, so the roots themselves may lie in different places
// (a catalog of a folder that was moved since). Moves inside the compared folder show up
// as one folder shrinking and another growing; a folder whose size stayed the same but
// whose contents moved about is kept as `unchanged`, so its changes can still be reached.
//
// A value: built once by compare() (call it off the main thread for big trees), then
// read-only and safe to read from any thread. It keeps no reference to the trees.
class CatalogDiff {
public:
    enum class Kind { grown, shrunk, appeared, vanished, unchanged };

    struct Row {
        QByteArray name; // the root's row has the other root's name
        int32_t parent = -1;
        Kind kind = Kind::unchanged;
        bool isFolder = false;
        int64_t before = 0; // bytes; 0 for an item that appeared
        int64_t after = 0;  // bytes; 0 for an item that vanished
        int64_t itemsBefore = 0;
        int64_t itemsAfter = 0;
        // Largest change first (by its absolute size), then by name.
        std::vector<int32_t> children;
        int64_t change() const { return after - before; }
        bool operator==(const Row&) const = default;
    };

    // Compares `base` (the older scan) with `other`. Both trees need their folder sizes
    // summed, as every finished scan and saved catalog has them; a folder the scan could
    // not read on either side is compared by its size only. `key` chooses allocated
    // (`real`) or logical sizes. Stops early, with an empty diff, when `cancel` is set.
    static Result<CatalogDiff> compare(const FileTree& base, const FileTree& other,
                                       TreeSortKey key = TreeSortKey::real,
                                       const std::atomic_bool* cancel = nullptr);

    // Whether a tree can be compared: a scan that ended, with its folder sizes summed.
    static bool canCompare(const FileTree& tree);

    // Row 0 is the two roots.
    int32_t size() const { return static_cast<int32_t>(rows_.size()); }
    const Row& row(int32_t row) const { return rows_[static_cast<size_t>(row)]; }
    const QString& baseRoot() const { return baseRoot_; }
    const QString& otherRoot() const { return otherRoot_; }
    TreeSortKey sizeKey() const { return key_; }

    // The item's path in the scan it is still in (the base one for an item that vanished).
    QByteArray pathBytes(int32_t row) const;
    QString path(int32_t row) const;
    // The row at a path relative to the roots ("" for the root, "Music/2026"), if it changed.
    std::optional<int32_t> findRelative(QByteArrayView relative) const;
    QByteArray relativePath(int32_t row) const;

    // Every changed item below the roots, largest change first; an item inside a folder
    // that appeared or vanished is left out, as the folder stands for it. At most `limit`.
    std::vector<int32_t> largestChanges(size_t limit = SIZE_MAX) const;

    // "grown", "shrunk", "appeared", "vanished", "unchanged".
    static QString toString(Kind kind);

private:
    std::vector<Row> rows_;
    QString baseRoot_;
    QString otherRoot_;
    TreeSortKey key_ = TreeSortKey::real;
};

} // namespace velmox
