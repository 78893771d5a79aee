#pragma once

#include "storage/FileTree.h"

#include <QByteArray>
#include <QHash>
#include <cstdint>
#include <optional>

namespace velmox {

// Finds the folders of an earlier scan that changed paths fall in. Paths are bytes below
// `rootPrefix` (the scanned root); a path outside it is not part of the scan. Large folders
// get a name index the first time a path goes through them. Not thread-safe.
class ChangeResolver {
public:
    explicit ChangeResolver(const FileTree& tree);

    // The deepest node of the tree on the path, and whether the whole path is that node.
    using Resolved = FileTree::PathMatch;
    // std::nullopt for a path outside the scanned root.
    std::optional<Resolved> resolve(QByteArrayView path);

    const QByteArray rootPrefix;
    int64_t lookups = 0; // names looked up
    int64_t loose = 0;   // paths outside the root

private:
    std::optional<int32_t> child(int32_t folder, QByteArrayView name);

    const FileTree& tree_;
    QHash<int32_t, QHash<QByteArrayView, int32_t>> index_;
};

} // namespace velmox
