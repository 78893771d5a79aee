#include "storage/FileTree.h"

#include "storage/LinkKeySet.h"

#include <QMutexLocker>
#include <algorithm>
#include <deque>

namespace velmox {

namespace {

constexpr std::pair<TreeSortKey, const char*> kSortKeyNames[] = {
    {TreeSortKey::real, "real"},
    {TreeSortKey::logical, "logical"},
    {TreeSortKey::name, "name"},
    {TreeSortKey::date, "date"},
};

// Flags that come from the name, which a replaced subtree's root keeps.
constexpr uint16_t kNameFlags = NodeFlag::hidden | NodeFlag::package;

} // namespace

QString toString(TreeSortKey key) {
    for (const auto& [value, name] : kSortKeyNames)
        if (value == key)
            return QString::fromLatin1(name);
    return {};
}

std::optional<TreeSortKey> treeSortKeyFromString(const QString& text) {
    for (const auto& [value, name] : kSortKeyNames)
        if (text == QLatin1String(name))
            return value;
    return std::nullopt;
}

FileTree::FileTree(QString rootPath, QString rootName)
    : rootPath(std::move(rootPath)), rootName(std::move(rootName)) {}

FileTree::FileTree(FileTree&& other) noexcept
    : rootPath(std::move(other.rootPath)), rootName(std::move(other.rootName)),
      pathRedirects(std::move(other.pathRedirects)), exclusions(std::move(other.exclusions)),
      cachesSortedChildren(other.cachesSortedChildren), columns_(std::move(other.columns_)),
      linkedFiles_(std::move(other.linkedFiles_)),
      deletedChildCounts_(std::move(other.deletedChildCounts_)), sizesSummed_(other.sizesSummed_) {
    other.clearSortCache();
}

FileTree& FileTree::operator=(FileTree&& other) noexcept {
    if (this == &other)
        return *this;
    rootPath = std::move(other.rootPath);
    rootName = std::move(other.rootName);
    pathRedirects = std::move(other.pathRedirects);
    exclusions = std::move(other.exclusions);
    cachesSortedChildren = other.cachesSortedChildren;
    columns_ = std::move(other.columns_);
    linkedFiles_ = std::move(other.linkedFiles_);
    deletedChildCounts_ = std::move(other.deletedChildCounts_);
    sizesSummed_ = other.sizesSummed_;
    clearSortCache();
    other.clearSortCache();
    return *this;
}

FileTree FileTree::copy() const {
    FileTree result(rootPath, rootName);
    result.pathRedirects = pathRedirects;
    result.exclusions = exclusions;
    result.cachesSortedChildren = cachesSortedChildren;
    result.columns_ = columns_;
    result.linkedFiles_ = linkedFiles_;
    result.deletedChildCounts_ = deletedChildCounts_;
    result.sizesSummed_ = sizesSummed_;
    return result;
}

void FileTree::updateMirror(FileTree& mirror, const std::vector<int32_t>& changed) const {
    Q_ASSERT(!sizesSummed_ && !mirror.sizesSummed_ && mirror.size() <= size());
    if (mirror.size() == 0) {
        mirror.rootPath = rootPath;
        mirror.rootName = rootName;
        mirror.pathRedirects = pathRedirects;
        mirror.exclusions = exclusions;
    }
    const auto from = static_cast<size_t>(mirror.size());
    const auto tail = [from](const auto& source, auto& target) {
        target.insert(target.end(), source.begin() + static_cast<std::ptrdiff_t>(from),
                      source.end());
    };
    FileTreeColumns& to = mirror.columns_;
    tail(columns_.parent, to.parent);
    tail(columns_.firstChild, to.firstChild);
    tail(columns_.childCount, to.childCount);
    tail(columns_.nameOffset, to.nameOffset);
    tail(columns_.nameLength, to.nameLength);
    tail(columns_.flags, to.flags);
    tail(columns_.alloc, to.alloc);
    tail(columns_.logical, to.logical);
    tail(columns_.mtime, to.mtime);
    tail(columns_.items, to.items);
    to.names.append(QByteArrayView(columns_.names).sliced(to.names.size()));
    for (const int32_t node : changed) {
        if (static_cast<size_t>(node) >= from)
            continue;
        to.firstChild[node] = columns_.firstChild[node];
        to.childCount[node] = columns_.childCount[node];
        to.flags[node] = columns_.flags[node];
    }
    mirror.linkedFiles_.insert(mirror.linkedFiles_.end(),
                               linkedFiles_.begin() +
                                   static_cast<std::ptrdiff_t>(mirror.linkedFiles_.size()),
                               linkedFiles_.end());
    mirror.clearSortCache();
}

FileTree FileTree::topLevels(int levels) const {
    Q_ASSERT(sizesSummed_ && size() > 0);
    FileTree top(rootPath, rootName);
    top.pathRedirects = pathRedirects;
    top.exclusions = exclusions;
    top.cachesSortedChildren = cachesSortedChildren;
    // Nodes are appended in the order they are queued, so a node's place in the queue is
    // its index in the new tree and every folder's children stay contiguous.
    std::vector<std::pair<int32_t, int>> queue{{0, 0}};
    const auto keep = [&](int32_t node, int32_t newParent) {
        const int32_t kept = top.append(newParent, flags(node), alloc(node), logical(node),
                                        mtime(node), nameBytes(node));
        top.columns_.items[kept] = items(node);
    };
    keep(0, -1);
    for (size_t at = 0; at < queue.size(); ++at) {
        const auto [node, depth] = queue[at];
        if (depth >= levels)
            continue;
        const uint32_t first = firstChild(node);
        for (uint32_t child = first; child < first + childCount(node); ++child) {
            keep(static_cast<int32_t>(child), static_cast<int32_t>(at));
            queue.emplace_back(static_cast<int32_t>(child), depth + 1);
        }
    }
    top.sizesSummed_ = true;
    return top;
}

Result<FileTree> FileTree::fromColumns(QString rootPath, QString rootName, FileTreeColumns columns,
                                       bool sizesSummed) {
    FileTree tree(std::move(rootPath), std::move(rootName));
    tree.columns_ = std::move(columns);
    tree.sizesSummed_ = sizesSummed;
    if (Status valid = tree.validate(); !valid)
        return failure(valid.error());
    if (sizesSummed) {
        // Item counts follow from the ranges; whatever the columns held is replaced.
        std::vector<uint32_t>& items = tree.columns_.items;
        std::fill(items.begin(), items.end(), 0u);
        for (int32_t node = tree.size() - 1; node > 0; --node)
            items[tree.columns_.parent[node]] += items[node] + 1;
    }
    return tree;
}

Status FileTree::setLinkedFiles(std::vector<LinkedFile> files) {
    int32_t previous = 0;
    for (const LinkedFile& file : files) {
        if (file.node <= previous || file.node >= size() ||
            hasFlag(file.node, NodeFlag::directory) || file.alloc < 0 || file.logical < 0)
            return failure(QStringLiteral("bad linked file at %1").arg(file.node));
        previous = file.node;
    }
    linkedFiles_ = std::move(files);
    return Done{};
}

Status FileTree::setDeletedChildCounts(QHash<int32_t, uint32_t> counts) {
    for (auto entry = counts.cbegin(); entry != counts.cend(); ++entry)
        if (entry.key() < 0 || entry.key() >= size() ||
            !hasFlag(entry.key(), NodeFlag::directory) || entry.value() == 0)
            return failure(QStringLiteral("bad deleted child count at %1").arg(entry.key()));
    deletedChildCounts_ = std::move(counts);
    return Done{};
}

void FileTree::reserve(size_t nodes, qsizetype nameBytes) {
    columns_.parent.reserve(nodes);
    columns_.firstChild.reserve(nodes);
    columns_.childCount.reserve(nodes);
    columns_.nameOffset.reserve(nodes);
    columns_.nameLength.reserve(nodes);
    columns_.flags.reserve(nodes);
    columns_.alloc.reserve(nodes);
    columns_.logical.reserve(nodes);
    columns_.mtime.reserve(nodes);
    columns_.items.reserve(nodes);
    columns_.names.reserve(nameBytes);
}

int32_t FileTree::append(int32_t parent, uint16_t flags, int64_t alloc, int64_t logical,
                         int64_t mtime, QByteArrayView name) {
    const auto index = static_cast<int32_t>(columns_.parent.size());
    if (parent >= 0) {
        uint32_t& count = columns_.childCount[parent];
        if (count == 0)
            columns_.firstChild[parent] = static_cast<uint32_t>(index);
        Q_ASSERT(columns_.firstChild[parent] + count == static_cast<uint32_t>(index));
        ++count;
    }
    columns_.parent.push_back(parent);
    columns_.firstChild.push_back(0);
    columns_.childCount.push_back(0);
    columns_.nameOffset.push_back(static_cast<uint64_t>(columns_.names.size()));
    columns_.nameLength.push_back(static_cast<uint16_t>(name.size()));
    columns_.flags.push_back(flags);
    columns_.alloc.push_back(alloc);
    columns_.logical.push_back(logical);
    columns_.mtime.push_back(mtime);
    columns_.items.push_back(0);
    columns_.names.append(name);
    return index;
}

int32_t FileTree::appendChildren(int32_t parent, const ChildBatch& batch) {
    const size_t first = columns_.parent.size();
    if (batch.count == 0)
        return static_cast<int32_t>(first);
    Q_ASSERT(columns_.childCount[parent] == 0);
    columns_.firstChild[parent] = static_cast<uint32_t>(first);
    columns_.childCount[parent] = static_cast<uint32_t>(batch.count);
    const size_t end = first + batch.count;
    columns_.parent.resize(end, parent);
    columns_.firstChild.resize(end, 0);
    columns_.childCount.resize(end, 0);
    columns_.items.resize(end, 0);
    columns_.flags.insert(columns_.flags.end(), batch.flags, batch.flags + batch.count);
    columns_.alloc.insert(columns_.alloc.end(), batch.alloc, batch.alloc + batch.count);
    columns_.logical.insert(columns_.logical.end(), batch.logical, batch.logical + batch.count);
    columns_.mtime.insert(columns_.mtime.end(), batch.mtime, batch.mtime + batch.count);
    columns_.nameLength.insert(columns_.nameLength.end(), batch.nameLengths,
                               batch.nameLengths + batch.count);
    columns_.nameOffset.resize(end);
    auto offset = static_cast<uint64_t>(columns_.names.size());
    for (size_t i = 0; i < batch.count; ++i) {
        columns_.nameOffset[first + i] = offset;
        offset += batch.nameLengths[i];
    }
    columns_.names.append(batch.names);
    return static_cast<int32_t>(first);
}

int64_t FileTree::size(int32_t node, TreeSortKey key) const {
    return key == TreeSortKey::logical ? columns_.logical[node] : columns_.alloc[node];
}

QByteArrayView FileTree::nameBytes(int32_t node) const {
    return QByteArrayView(columns_.names.constData() + columns_.nameOffset[node],
                          columns_.nameLength[node]);
}

QString FileTree::name(int32_t node) const {
    return node == 0 && !rootName.isEmpty() ? rootName : QString::fromUtf8(nameBytes(node));
}

QByteArray FileTree::pathBytes(int32_t node) const {
    std::vector<int32_t> chain;
    for (int32_t at = node; at > 0; at = columns_.parent[at])
        chain.push_back(at);
    QByteArray path = rootPath.toUtf8();
    for (auto it = chain.rbegin(); it != chain.rend(); ++it) {
        if (!path.endsWith('/'))
            path += '/';
        path += nameBytes(*it);
    }
    return path;
}

QString FileTree::path(int32_t node) const {
    return QString::fromUtf8(pathBytes(node));
}

std::optional<int32_t> FileTree::findPath(QByteArrayView path) const {
    const auto match = matchPath(
        path, [this](int32_t folder, QByteArrayView name) { return childNamed(folder, name); });
    return match && match->exact ? std::optional<int32_t>(match->node) : std::nullopt;
}

std::optional<int32_t> FileTree::childNamed(int32_t folder, QByteArrayView name) const {
    const uint32_t first = columns_.firstChild[folder];
    const uint32_t end = first + columns_.childCount[folder];
    for (uint32_t child = first; child < end; ++child)
        if (nameBytes(static_cast<int32_t>(child)) == name)
            return static_cast<int32_t>(child);
    return std::nullopt;
}

std::optional<FileTree::PathMatch> FileTree::matchPath(QByteArrayView path,
                                                       const ChildLookup& child) const {
    if (columns_.parent.empty())
        return std::nullopt;
    const QByteArray root = rootPath.toUtf8();
    if (!path.startsWith(root))
        return std::nullopt;
    QByteArrayView rest = path.sliced(root.size());
    if (!rest.isEmpty() && !root.endsWith('/') && !rest.startsWith('/'))
        return std::nullopt;
    PathMatch match{0, true};
    while (!rest.isEmpty()) {
        while (rest.startsWith('/'))
            rest = rest.sliced(1);
        if (rest.isEmpty())
            break;
        const qsizetype slash = rest.indexOf('/');
        const QByteArrayView part = slash < 0 ? rest : rest.first(slash);
        rest = slash < 0 ? QByteArrayView() : rest.sliced(slash);
        const std::optional<int32_t> next = child(match.node, part);
        if (!next) {
            match.exact = false;
            break;
        }
        match.node = *next;
    }
    return match;
}

NodeKind FileTree::kind(int32_t node) const {
    const uint16_t f = columns_.flags[node];
    if (f & NodeFlag::mountPoint)
        return NodeKind::mountPoint;
    if (f & NodeFlag::directory)
        return (f & NodeFlag::package) ? NodeKind::package : NodeKind::folder;
    if (f & NodeFlag::symbolicLink)
        return NodeKind::symbolicLink;
    if (f & NodeFlag::otherKind)
        return NodeKind::other;
    return NodeKind::file;
}

void FileTree::sumFolderSizes() {
    if (sizesSummed_)
        return;
    std::fill(columns_.items.begin(), columns_.items.end(), 0u);
    for (int32_t node = size() - 1; node > 0; --node) {
        const int32_t up = columns_.parent[node];
        columns_.alloc[up] += columns_.alloc[node];
        columns_.logical[up] += columns_.logical[node];
        columns_.items[up] += columns_.items[node] + 1;
    }
    sizesSummed_ = true;
}

void FileTree::unsumFolderSizes() {
    if (!sizesSummed_)
        return;
    // Parents come before their children, so a parent is undone while its children still
    // hold their totals.
    for (int32_t node = 0; node < size(); ++node) {
        const uint32_t first = columns_.firstChild[node];
        const uint32_t end = first + columns_.childCount[node];
        for (uint32_t child = first; child < end; ++child) {
            columns_.alloc[node] -= columns_.alloc[child];
            columns_.logical[node] -= columns_.logical[child];
        }
        columns_.items[node] = 0;
    }
    sizesSummed_ = false;
}

void FileTree::replaceSubtree(int32_t node, const FileTree& fresh) {
    replaceSubtrees({{node, &fresh}});
}

void FileTree::replaceSubtrees(const std::vector<Replacement>& replacements) {
    if (!replacements.empty())
        rebuild(replacements, {});
}

void FileTree::removeSubtrees(const std::vector<int32_t>& nodes) {
    QSet<int32_t> removed;
    for (const int32_t node : nodes)
        if (node > 0 && node < size())
            removed.insert(node);
    if (!removed.isEmpty())
        rebuild({}, removed);
}

void FileTree::rebuild(const std::vector<Replacement>& replacements, const QSet<int32_t>& removed) {
    std::deque<FileTree> freshOwn; // unsummed copies; a deque keeps their addresses
    QHash<int32_t, const FileTree*> freshFor;
    size_t nodes = static_cast<size_t>(size());
    qsizetype names = columns_.names.size();
    for (const Replacement& replacement : replacements) {
        FileTree& own = freshOwn.emplace_back(replacement.fresh->copy());
        own.unsumFolderSizes();
        freshFor.insert(replacement.node, &own);
        nodes += static_cast<size_t>(own.size());
        names += own.columns_.names.size();
    }
    const bool wasSummed = sizesSummed_;
    unsumFolderSizes();

    // Breadth first: each folder's children are appended together, which keeps every
    // child range contiguous in the renumbered tree.
    struct Source {
        const FileTree* tree;
        int32_t index;
    };
    FileTree rebuilt(rootPath, rootName);
    rebuilt.pathRedirects = pathRedirects;
    rebuilt.exclusions = exclusions;
    rebuilt.cachesSortedChildren = cachesSortedChildren;
    rebuilt.reserve(nodes, names);
    if (!freshFor.contains(0))
        rebuilt.deletedChildCounts_.insert(0, deletedChildCounts_.value(0));
    // Which linked files of `rebuilt` came from a fresh tree, one entry per linked file.
    std::vector<bool> linkFromFresh;
    const auto copyNode = [&](Source from, int32_t newParent, QByteArrayView name) {
        const FileTreeColumns& c = from.tree->columns_;
        const int32_t copied = rebuilt.append(newParent, c.flags[from.index], c.alloc[from.index],
                                              c.logical[from.index], c.mtime[from.index], name);
        if (c.flags[from.index] & NodeFlag::multiplyLinked) {
            const std::vector<LinkedFile>& links = from.tree->linkedFiles_;
            const auto found = std::lower_bound(
                links.begin(), links.end(), from.index,
                [](const LinkedFile& file, int32_t index) { return file.node < index; });
            if (found != links.end() && found->node == from.index) {
                LinkedFile file = *found;
                file.node = copied;
                rebuilt.linkedFiles_.push_back(file);
                linkFromFresh.push_back(from.tree != this);
            }
        }
        return copied;
    };
    std::deque<std::pair<Source, int32_t>> queue; // source node, its index in `rebuilt`
    const FileTree* freshRoot = freshFor.value(0, nullptr);
    queue.push_back({{freshRoot ? freshRoot : this, 0},
                     rebuilt.append(-1, columns_.flags[0], columns_.alloc[0], columns_.logical[0],
                                    columns_.mtime[0], nameBytes(0))});
    while (!queue.empty()) {
        const auto [source, newIndex] = queue.front();
        queue.pop_front();
        const FileTreeColumns& c = source.tree->columns_;
        const uint32_t first = c.firstChild[source.index];
        const uint32_t end = first + c.childCount[source.index];
        for (uint32_t child = first; child < end; ++child) {
            Source from{source.tree, static_cast<int32_t>(child)};
            if (source.tree == this && removed.contains(from.index)) {
                ++rebuilt.deletedChildCounts_[newIndex];
                rebuilt.columns_.flags[newIndex] |= NodeFlag::edited;
                continue;
            }
            const QByteArrayView name = source.tree->nameBytes(from.index);
            uint16_t kept = 0;
            if (source.tree == this)
                if (const FileTree* fresh = freshFor.value(from.index, nullptr)) {
                    kept = columns_.flags[from.index] & kNameFlags;
                    from = {fresh, 0};
                }
            const int32_t copied = copyNode(from, newIndex, name);
            rebuilt.columns_.flags[copied] |= kept;
            if (from.tree == this)
                if (const uint32_t deleted = deletedChildCounts_.value(from.index))
                    rebuilt.deletedChildCounts_.insert(copied, deleted);
            queue.push_back({from, copied});
        }
    }
    if (freshRoot) {
        rebuilt.columns_.flags[0] = freshRoot->columns_.flags[0] | (columns_.flags[0] & kNameFlags);
        rebuilt.columns_.alloc[0] = freshRoot->columns_.alloc[0];
        rebuilt.columns_.logical[0] = freshRoot->columns_.logical[0];
        rebuilt.columns_.mtime[0] = freshRoot->columns_.mtime[0];
    }
    rebuilt.countLinkedFilesOnce(linkFromFresh);
    rebuilt.deletedChildCounts_.removeIf([](auto entry) { return entry.value() == 0; });
    columns_ = std::move(rebuilt.columns_);
    linkedFiles_ = std::move(rebuilt.linkedFiles_);
    deletedChildCounts_ = std::move(rebuilt.deletedChildCounts_);
    clearSortCache();
    if (wasSummed)
        sumFolderSizes();
}

void FileTree::countLinkedFilesOnce(const std::vector<bool>& fromFresh) {
    // The kept part and the fresh part each count a file at most once; the kept part's
    // count wins, and a file counted nowhere any more is counted at its first name.
    LinkKeySet counted;
    for (size_t i = 0; i < linkedFiles_.size(); ++i)
        if (!fromFresh[i] && linkedFiles_[i].counted)
            counted.insert(linkedFiles_[i].key);
    const auto setCounted = [this](LinkedFile& file, bool yes) {
        file.counted = yes;
        columns_.alloc[file.node] = yes ? file.alloc : 0;
        columns_.logical[file.node] = yes ? file.logical : 0;
    };
    for (size_t i = 0; i < linkedFiles_.size(); ++i)
        if (fromFresh[i] && linkedFiles_[i].counted && !counted.insert(linkedFiles_[i].key))
            setCounted(linkedFiles_[i], false);
    for (LinkedFile& file : linkedFiles_)
        if (!file.counted && counted.insert(file.key))
            setCounted(file, true);
}

void FileTree::recountLinkedFiles() {
    LinkKeySet counted;
    for (LinkedFile& file : linkedFiles_) {
        file.counted = counted.insert(file.key);
        columns_.alloc[file.node] = file.counted ? file.alloc : 0;
        columns_.logical[file.node] = file.counted ? file.logical : 0;
    }
}

Status FileTree::validate() const {
    const FileTreeColumns& c = columns_;
    const size_t n = c.parent.size();
    if (c.firstChild.size() != n || c.childCount.size() != n || c.nameOffset.size() != n ||
        c.nameLength.size() != n || c.flags.size() != n || c.alloc.size() != n ||
        c.logical.size() != n || c.mtime.size() != n || c.items.size() != n)
        return failure(QStringLiteral("inconsistent array sizes"));
    const auto outside = [](size_t node) {
        return failure(QStringLiteral("node %1 is outside its parent's child range").arg(node));
    };
    for (size_t node = 0; node < n; ++node) {
        const uint64_t first = c.firstChild[node];
        const uint64_t end = first + c.childCount[node];
        if (c.childCount[node] > 0 && first <= node)
            return outside(first);
        if (end > n)
            return outside(n);
        // Each index belongs to one range at most, so these checks stay linear overall.
        for (uint64_t child = first; child < end; ++child)
            if (c.parent[child] != static_cast<int32_t>(node))
                return outside(child);
        const int32_t up = c.parent[node];
        if (node == 0 ? up != -1 : (up < 0 || static_cast<size_t>(up) >= node))
            return outside(node);
        if (node > 0 &&
            (node < c.firstChild[up] || node >= uint64_t{c.firstChild[up]} + c.childCount[up]))
            return outside(node);
        if (c.alloc[node] < 0 || c.logical[node] < 0)
            return failure(QStringLiteral("negative size at %1").arg(node));
        if (node > 0 && !(c.flags[up] & NodeFlag::directory))
            return failure(QStringLiteral("the parent of node %1 is not a directory").arg(node));
        const auto nameBytes = static_cast<uint64_t>(c.names.size());
        if (c.nameOffset[node] > nameBytes || c.nameLength[node] > nameBytes - c.nameOffset[node])
            return failure(QStringLiteral("bad name range at %1").arg(node));
    }
    return Done{};
}

std::shared_ptr<const std::vector<int32_t>> FileTree::sortedChildren(int32_t node,
                                                                     TreeSortKey key) const {
    const quint64 cacheKey = (quint64(static_cast<uint32_t>(node)) << 8) | quint64(key);
    if (cachesSortedChildren) {
        QMutexLocker locker(&sortCacheLock_);
        if (auto found = sortCache_.constFind(cacheKey); found != sortCache_.constEnd())
            return found.value();
    }
    auto order = std::make_shared<std::vector<int32_t>>(columns_.childCount[node]);
    for (uint32_t i = 0; i < columns_.childCount[node]; ++i)
        (*order)[i] = static_cast<int32_t>(columns_.firstChild[node] + i);
    const auto byName = [this](int32_t a, int32_t b) {
        return QString::compare(name(a), name(b), Qt::CaseInsensitive) < 0;
    };
    switch (key) {
    case TreeSortKey::real:
    case TreeSortKey::logical:
        std::stable_sort(order->begin(), order->end(),
                         [&](int32_t a, int32_t b) { return size(a, key) > size(b, key); });
        break;
    case TreeSortKey::name:
        std::stable_sort(order->begin(), order->end(), byName);
        break;
    case TreeSortKey::date:
        std::stable_sort(order->begin(), order->end(), [this](int32_t a, int32_t b) {
            return columns_.mtime[a] > columns_.mtime[b];
        });
        break;
    }
    if (cachesSortedChildren) {
        QMutexLocker locker(&sortCacheLock_);
        if (!sortCache_.contains(cacheKey)) {
            sortCache_.insert(cacheKey, order);
            sortCacheElements_ += order->size();
        }
    }
    return order;
}

QList<ChildRow> FileTree::childRows(int32_t node, TreeSortKey key) const {
    const auto order = sortedChildren(node, key);
    QList<ChildRow> rows;
    rows.reserve(static_cast<qsizetype>(order->size()));
    const TreeSortKey sizeKey = key == TreeSortKey::logical ? key : TreeSortKey::real;
    for (int32_t child : *order)
        rows.append({name(child), size(child, sizeKey),
                     QDateTime::fromSecsSinceEpoch(columns_.mtime[child], Qt::UTC), kind(child),
                     child, columns_.childCount[child] > 0});
    return rows;
}

size_t FileTree::sortCacheElements() const {
    QMutexLocker locker(&sortCacheLock_);
    return sortCacheElements_;
}

void FileTree::clearSortCache() {
    QMutexLocker locker(&sortCacheLock_);
    sortCache_.clear();
    sortCacheElements_ = 0;
}

} // namespace velmox
