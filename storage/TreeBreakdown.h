#pragma once

#include "storage/FileTree.h"

#include <QByteArray>
#include <QList>
#include <QString>
#include <cstdint>
#include <functional>
#include <optional>
#include <vector>

namespace velmox {

// What kind of content a file holds, judged by its extension (a package folder is one item).
enum class FileKind {
    video,
    audio,
    images,
    archives,
    diskImages,
    packages,
    code,
    documents,
    other
};
QString toString(FileKind kind);
std::optional<FileKind> fileKindFromString(const QString& text);
// "Videos", "Disk Images"...
QString fileKindTitle(FileKind kind);

struct ExtensionTotal {
    QByteArray extension; // lower case, without the dot; empty for names without one
    int64_t allocated = 0;
    int64_t logical = 0;
    int64_t items = 0;
    bool operator==(const ExtensionTotal&) const = default;
};

struct KindTotal {
    FileKind kind = FileKind::other;
    int64_t allocated = 0;
    int64_t logical = 0;
    int64_t items = 0;
    QList<ExtensionTotal> extensions; // largest allocated first
    bool operator==(const KindTotal&) const = default;
};

// Summaries of a whole subtree, computed from the tree alone (no disk access), so they may
// run on any thread while nothing changes the tree. Each visits every node below the folder
// once.
struct TreeBreakdown {
    // Decides whether a file takes part (a find filter, a kind); none means every file.
    using Filter = std::function<bool(const FileTree& tree, int32_t node)>;

    // The `count` largest files anywhere below `folder` (folders themselves are not listed; a
    // package counts as one file), largest first under `key`, ties in node order.
    static std::vector<int32_t> largestFiles(const FileTree& tree, int32_t folder, TreeSortKey key,
                                             size_t count, const Filter& filter = {});
    // The files below `folder` by kind (every kind, in FileKind order, empty ones included)
    // and, inside each, by extension.
    static QList<KindTotal> fileTypes(const FileTree& tree, int32_t folder);

    // The extension of a name in lower case: empty without one, for a leading dot only
    // (".bashrc") and for an extension of more than 15 bytes.
    static QByteArray extensionOf(QByteArrayView name);
    static FileKind kindOfExtension(QByteArrayView lowerExtension);
    // The kind of a node: a package folder is a package, a file goes by its extension.
    static FileKind kindOf(const FileTree& tree, int32_t node);
};

} // namespace velmox
