#pragma once

#include "services/Result.h"
#include "storage/LinkKey.h"

#include <QByteArray>
#include <QDateTime>
#include <QHash>
#include <QList>
#include <QMutex>
#include <QSet>
#include <QString>
#include <QStringList>
#include <cstdint>
#include <functional>
#include <memory>
#include <optional>
#include <type_traits>
#include <vector>

namespace velmox {

// Bits of FileTree::flags. The fixed ones are shared with saved catalogs.
namespace NodeFlag {
inline constexpr uint16_t directory = 0x1;
inline constexpr uint16_t symbolicLink = 0x2;
inline constexpr uint16_t package = 0x4;
inline constexpr uint16_t hidden = 0x8;
inline constexpr uint16_t edited = 0x10;
// On the root, edited | incomplete marks a scan that was paused or stopped.
inline constexpr uint16_t incomplete = 0x20;
inline constexpr uint16_t incompleteRoot = 0x30;
inline constexpr uint16_t linkedFolder = 0x40;
inline constexpr uint16_t dataless = 0x100;
inline constexpr uint16_t otherKind = 0x200;
inline constexpr uint16_t notRead = 0x400;
inline constexpr uint16_t multiplyLinked = 0x800;
inline constexpr uint16_t mountPoint = 0x1000;
// A folder that could not be opened (also carries notRead).
inline constexpr uint16_t blocked = 0x2000;
// An item that matches one of the scan's exclusions: kept without size, never entered.
inline constexpr uint16_t excluded = 0x4000;
} // namespace NodeFlag

struct PathRedirect {
    QString visiblePrefix; // as seen from the scanned root
    QString dataPrefix;    // the prefix on the data volume it stands for
    bool operator==(const PathRedirect&) const = default;
};

// A file with more than one name in the tree. Only its counted node carries its size (the
// others show none), but every node keeps the file's identity and sizes here, so that a
// merge can move the size to another name when the counted one goes away.
struct LinkedFile {
    int32_t node = 0;
    bool counted = false;
    LinkKey key = 0;
    int64_t alloc = 0;
    int64_t logical = 0;
    bool operator==(const LinkedFile&) const = default;
};

enum class TreeSortKey { real, logical, name, date };
QString toString(TreeSortKey key);
std::optional<TreeSortKey> treeSortKeyFromString(const QString& text);

enum class NodeKind { folder, package, file, symbolicLink, mountPoint, other };

struct ChildRow {
    QString name;
    int64_t size = 0;
    QDateTime date;
    NodeKind kind = NodeKind::file;
    int32_t node = 0;
    bool hasChildren = false;
    bool operator==(const ChildRow&) const = default;
};

// The raw columns of a tree, one entry per node (node 0 is the root); what catalogs save.
struct FileTreeColumns {
    std::vector<int32_t> parent;
    std::vector<uint32_t> firstChild;
    std::vector<uint32_t> childCount;
    std::vector<uint64_t> nameOffset;
    std::vector<uint16_t> nameLength;
    std::vector<uint16_t> flags;
    std::vector<int64_t> alloc;
    std::vector<int64_t> logical;
    std::vector<int64_t> mtime; // seconds since the epoch
    std::vector<uint32_t> items;
    QByteArray names;
    bool operator==(const FileTreeColumns&) const = default;
};

// The result of a storage scan, stored column by column: no object per node, all names
// end to end in one byte array. The children of a node occupy one contiguous index range,
// so a folder's rows must be appended together. Folder sizes are the folder's own until
// sumFolderSizes() adds every subtree into its folder.
class FileTree {
public:
    FileTree() = default;
    FileTree(QString rootPath, QString rootName);
    // A tree can be tens of millions of rows: it moves, and copies only when asked to.
    FileTree(FileTree&& other) noexcept;
    FileTree& operator=(FileTree&& other) noexcept;
    FileTree(const FileTree&) = delete;
    FileTree& operator=(const FileTree&) = delete;
    FileTree copy() const;
    // Brings `mirror`, an earlier copy of this tree, up to date while folder sizes are not
    // summed: the rows appended since are copied, and of the rows before them only the
    // child ranges and flags of `changed` (the only fields a walk changes in place). Costs
    // what changed, not the whole tree; an empty mirror gets everything.
    void updateMirror(FileTree& mirror, const std::vector<int32_t>& changed) const;
    // The root and the `levels` levels below it of a tree whose folder sizes are summed,
    // each node with its totals and item count, so that those levels show as before; the
    // folders of the last level keep no children and there are no hard-link records.
    FileTree topLevels(int levels) const;

    // Checks a tree built elsewhere (a catalog, an administrator listing). With summed sizes
    // the item counts are counted again from the child ranges.
    static Result<FileTree> fromColumns(QString rootPath, QString rootName, FileTreeColumns columns,
                                        bool sizesSummed);

    QString rootPath;
    QString rootName;
    QList<PathRedirect> pathRedirects;
    QStringList exclusions; // the scan's exclusion patterns (ScanExclusions::patterns())

    // Appends a node; the parent's children must be appended one after another.
    int32_t append(int32_t parent, uint16_t flags, int64_t alloc, int64_t logical, int64_t mtime,
                   QByteArrayView name);
    // Appends all children of `parent` at once from parallel arrays; `names` holds their
    // names end to end. Returns the index of the first one.
    struct ChildBatch {
        size_t count = 0;
        const uint16_t* flags = nullptr;
        const int64_t* alloc = nullptr;
        const int64_t* logical = nullptr;
        const int64_t* mtime = nullptr;
        const uint16_t* nameLengths = nullptr;
        QByteArrayView names;
    };
    int32_t appendChildren(int32_t parent, const ChildBatch& batch);
    void reserve(size_t nodes, qsizetype nameBytes);

    // The multiply-linked files, in node order. A scan adds each one as it appends its node
    // (nodes only grow, so the order holds); a tree built elsewhere sets them after
    // checking that each names a file node of this tree, in order.
    void addLinkedFile(const LinkedFile& file) { linkedFiles_.push_back(file); }
    Status setLinkedFiles(std::vector<LinkedFile> files);
    const std::vector<LinkedFile>& linkedFiles() const { return linkedFiles_; }
    // Lets the first name of each linked file (in node order) carry its size and no other.
    // Folder sizes must not be summed yet.
    void recountLinkedFiles();

    int32_t size() const { return static_cast<int32_t>(columns_.parent.size()); }
    const FileTreeColumns& columns() const { return columns_; }
    int32_t parent(int32_t node) const { return columns_.parent[node]; }
    uint32_t firstChild(int32_t node) const { return columns_.firstChild[node]; }
    uint32_t childCount(int32_t node) const { return columns_.childCount[node]; }
    uint16_t flags(int32_t node) const { return columns_.flags[node]; }
    bool hasFlag(int32_t node, uint16_t flag) const { return (columns_.flags[node] & flag) != 0; }
    void setFlags(int32_t node, uint16_t flags) { columns_.flags[node] = flags; }
    int64_t alloc(int32_t node) const { return columns_.alloc[node]; }
    int64_t logical(int32_t node) const { return columns_.logical[node]; }
    int64_t mtime(int32_t node) const { return columns_.mtime[node]; }
    uint32_t items(int32_t node) const { return columns_.items[node]; }
    int64_t size(int32_t node, TreeSortKey key) const;
    QByteArrayView nameBytes(int32_t node) const;
    QString name(int32_t node) const;
    // The node's path as raw bytes (names need not be valid UTF-8 on Linux).
    QByteArray pathBytes(int32_t node) const;
    QString path(int32_t node) const;
    // The node at a path below (or equal to) the root, compared byte for byte.
    std::optional<int32_t> findPath(QByteArrayView path) const;
    // The child of `folder` named `name`, searched in order.
    std::optional<int32_t> childNamed(int32_t folder, QByteArrayView name) const;
    // How far a path leads into the tree: the deepest node on it, and whether that node is the
    // whole path. None when the path is not below (or equal to) the root. `child` finds a
    // folder's child by name, so that a caller can index large folders.
    struct PathMatch {
        int32_t node = 0;
        bool exact = false;
    };
    using ChildLookup = std::function<std::optional<int32_t>(int32_t folder, QByteArrayView name)>;
    std::optional<PathMatch> matchPath(QByteArrayView path, const ChildLookup& child) const;
    NodeKind kind(int32_t node) const;

    // Adds every node's size and item count into its folder (children come after their
    // parent, so one backward pass does it), and the reverse.
    void sumFolderSizes();
    void unsumFolderSizes();
    bool sizesSummed() const { return sizesSummed_; }

    // Replaces the subtree below `node` by `fresh` (whose root stands for `node`): the
    // node takes the fresh root's flags, sizes and time, keeps its name, and the tree is
    // renumbered so every child range stays contiguous. Each linked file is still counted
    // once in the whole tree: a name outside the subtree that already carries the size
    // keeps it, and a file whose counted name went away is counted at another name.
    void replaceSubtree(int32_t node, const FileTree& fresh);
    // The same for several nodes in one rebuild of the tree (a node inside another
    // replaced subtree goes with it).
    struct Replacement {
        int32_t node;
        const FileTree* fresh;
    };
    void replaceSubtrees(const std::vector<Replacement>& replacements);

    // Takes the subtrees of `nodes` out of the tree after their items were removed from the
    // disk: sizes and item counts fall up the chain, each folder that lost children counts
    // them in deletedChildCount() and carries NodeFlag::edited, and a linked file whose
    // counted name went is counted at a name that is left. The root, nodes out of range and
    // nodes inside another removed subtree are passed over. Renumbers the tree.
    void removeSubtrees(const std::vector<int32_t>& nodes);
    // How many children of `folder` were removed after the scan (kept across renumbering;
    // a folder that is rescanned starts again from none).
    uint32_t deletedChildCount(int32_t folder) const { return deletedChildCounts_.value(folder); }
    const QHash<int32_t, uint32_t>& deletedChildCounts() const { return deletedChildCounts_; }
    // For a tree built elsewhere: each count names a folder of this tree and is above 0.
    Status setDeletedChildCounts(QHash<int32_t, uint32_t> counts);

    Status validate() const;

    // Children sorted by the key (sizes and dates largest first, names A to Z), cached per
    // folder when cachesSortedChildren is on.
    std::shared_ptr<const std::vector<int32_t>> sortedChildren(int32_t node, TreeSortKey key) const;
    QList<ChildRow> childRows(int32_t node, TreeSortKey key) const;
    bool cachesSortedChildren = true;
    size_t sortCacheElements() const;
    void clearSortCache();

private:
    // Leaves one counted name per linked file; `fromFresh` tells, per linked file, whether
    // it came from a subtree just merged in. Folder sizes must not be summed yet.
    void countLinkedFilesOnce(const std::vector<bool>& fromFresh);
    // Renumbers the tree with the subtrees of `replacements` replaced and those of `removed`
    // left out.
    void rebuild(const std::vector<Replacement>& replacements, const QSet<int32_t>& removed);

    FileTreeColumns columns_;
    std::vector<LinkedFile> linkedFiles_;
    QHash<int32_t, uint32_t> deletedChildCounts_;
    bool sizesSummed_ = false;
    mutable QMutex sortCacheLock_;
    mutable QHash<quint64, std::shared_ptr<const std::vector<int32_t>>> sortCache_;
    mutable size_t sortCacheElements_ = 0;
};

static_assert(std::is_nothrow_move_constructible_v<FileTree> &&
              !std::is_copy_constructible_v<FileTree>);

} // namespace velmox
