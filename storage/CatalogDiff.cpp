#include "storage/CatalogDiff.h"

#include <algorithm>

namespace velmox {

namespace {

const QString kNeedsCompleteScan = QStringLiteral("Open a finished, complete scan first.");

// A folder whose children the scan holds (one it could not read is known by its size only).
bool canDescend(const FileTree& tree, int32_t node) {
    return tree.hasFlag(node, NodeFlag::directory) && !tree.hasFlag(node, NodeFlag::notRead);
}

// The children of a folder ordered by their name bytes, for a merge by name.
std::vector<int32_t> childrenByName(const FileTree& tree, int32_t node) {
    std::vector<int32_t> children(tree.childCount(node));
    for (size_t i = 0; i < children.size(); ++i)
        children[i] = static_cast<int32_t>(tree.firstChild(node) + i);
    std::sort(children.begin(), children.end(),
              [&tree](int32_t a, int32_t b) { return tree.nameBytes(a) < tree.nameBytes(b); });
    return children;
}

CatalogDiff::Kind kindOf(int64_t before, int64_t after) {
    return after > before   ? CatalogDiff::Kind::grown
           : after < before ? CatalogDiff::Kind::shrunk
                            : CatalogDiff::Kind::unchanged;
}

int64_t magnitude(int64_t change) {
    return change < 0 ? -change : change;
}

} // namespace

Result<CatalogDiff> CatalogDiff::compare(const FileTree& base, const FileTree& other,
                                         TreeSortKey key, const std::atomic_bool* cancel) {
    if (!canCompare(base) || !canCompare(other))
        return failure(kNeedsCompleteScan);
    CatalogDiff diff;
    diff.baseRoot_ = base.rootPath;
    diff.otherRoot_ = other.rootPath;
    diff.key_ = key;

    // Every pair of items is visited once, parents before children; the rows of unchanged
    // items are dropped afterwards unless a change lies below them.
    std::vector<Row> rows;
    struct Visit {
        int32_t row;
        int32_t base;  // -1: the folder is only in the other scan
        int32_t other; // -1: only in the base scan
    };
    const auto makeRow = [&](int32_t parent, int32_t b, int32_t o) {
        Row row;
        row.parent = parent;
        row.name = (o >= 0 ? other.nameBytes(o) : base.nameBytes(b)).toByteArray();
        row.isFolder =
            (o >= 0 ? other.hasFlag(o, NodeFlag::directory) : base.hasFlag(b, NodeFlag::directory));
        if (b >= 0) {
            row.before = base.size(b, key);
            row.itemsBefore = base.items(b);
        }
        if (o >= 0) {
            row.after = other.size(o, key);
            row.itemsAfter = other.items(o);
        }
        row.kind = b < 0 ? Kind::appeared : o < 0 ? Kind::vanished : kindOf(row.before, row.after);
        rows.push_back(std::move(row));
        return static_cast<int32_t>(rows.size() - 1);
    };
    std::vector<Visit> pending{{makeRow(-1, 0, 0), 0, 0}};
    rows[0].isFolder = true;
    while (!pending.empty()) {
        if (cancel && cancel->load(std::memory_order_relaxed))
            return CatalogDiff{};
        const Visit visit = pending.back();
        pending.pop_back();
        const bool inBase = visit.base >= 0 && canDescend(base, visit.base);
        const bool inOther = visit.other >= 0 && canDescend(other, visit.other);
        // Compared by size alone when either side could not be read.
        if ((visit.base >= 0 && !inBase) || (visit.other >= 0 && !inOther))
            continue;
        const std::vector<int32_t> before =
            inBase ? childrenByName(base, visit.base) : std::vector<int32_t>{};
        const std::vector<int32_t> after =
            inOther ? childrenByName(other, visit.other) : std::vector<int32_t>{};
        size_t i = 0;
        size_t j = 0;
        while (i < before.size() || j < after.size()) {
            int32_t b = -1;
            int32_t o = -1;
            if (j == after.size() ||
                (i < before.size() && base.nameBytes(before[i]) < other.nameBytes(after[j]))) {
                b = before[i++];
            } else if (i == before.size() ||
                       other.nameBytes(after[j]) < base.nameBytes(before[i])) {
                o = after[j++];
            } else {
                b = before[i++];
                o = after[j++];
            }
            const int32_t row = makeRow(visit.row, b, o);
            const bool folderBefore = b >= 0 && base.hasFlag(b, NodeFlag::directory);
            const bool folderAfter = o >= 0 && other.hasFlag(o, NodeFlag::directory);
            // A file that became a folder (or the reverse) is compared by its size alone.
            if ((folderBefore || b < 0) && (folderAfter || o < 0))
                pending.push_back({row, b, o});
        }
    }

    // Children come after their parents, so one backward pass finds what to keep.
    std::vector<bool> keep(rows.size(), false);
    for (size_t r = rows.size(); r-- > 1;) {
        keep[r] = keep[r] || rows[r].kind != Kind::unchanged;
        if (keep[r])
            keep[static_cast<size_t>(rows[r].parent)] = true;
    }
    keep[0] = true;
    std::vector<int32_t> renumbered(rows.size(), -1);
    diff.rows_.reserve(static_cast<size_t>(std::count(keep.begin(), keep.end(), true)));
    for (size_t r = 0; r < rows.size(); ++r) {
        if (!keep[r])
            continue;
        renumbered[r] = static_cast<int32_t>(diff.rows_.size());
        Row row = std::move(rows[r]);
        if (row.parent >= 0) {
            row.parent = renumbered[static_cast<size_t>(row.parent)];
            diff.rows_[static_cast<size_t>(row.parent)].children.push_back(renumbered[r]);
        }
        diff.rows_.push_back(std::move(row));
    }
    for (Row& row : diff.rows_)
        std::sort(row.children.begin(), row.children.end(), [&diff](int32_t a, int32_t b) {
            const Row& left = diff.rows_[static_cast<size_t>(a)];
            const Row& right = diff.rows_[static_cast<size_t>(b)];
            const int64_t l = magnitude(left.change());
            const int64_t r = magnitude(right.change());
            return l != r ? l > r : left.name < right.name;
        });
    return diff;
}

bool CatalogDiff::canCompare(const FileTree& tree) {
    return tree.size() > 0 && tree.sizesSummed() &&
           (tree.flags(0) & NodeFlag::incompleteRoot) != NodeFlag::incompleteRoot;
}

QByteArray CatalogDiff::relativePath(int32_t row) const {
    std::vector<int32_t> chain;
    for (int32_t at = row; at > 0; at = rows_[static_cast<size_t>(at)].parent)
        chain.push_back(at);
    QByteArray path;
    for (auto it = chain.rbegin(); it != chain.rend(); ++it) {
        if (!path.isEmpty())
            path += '/';
        path += rows_[static_cast<size_t>(*it)].name;
    }
    return path;
}

QByteArray CatalogDiff::pathBytes(int32_t row) const {
    QByteArray path =
        (rows_[static_cast<size_t>(row)].kind == Kind::vanished ? baseRoot_ : otherRoot_).toUtf8();
    const QByteArray relative = relativePath(row);
    if (!relative.isEmpty() && !path.endsWith('/'))
        path += '/';
    return path + relative;
}

QString CatalogDiff::path(int32_t row) const {
    return QString::fromUtf8(pathBytes(row));
}

std::optional<int32_t> CatalogDiff::findRelative(QByteArrayView relative) const {
    if (rows_.empty())
        return std::nullopt;
    int32_t at = 0;
    for (const QByteArray& name : relative.toByteArray().split('/')) {
        if (name.isEmpty())
            continue;
        const auto& children = rows_[static_cast<size_t>(at)].children;
        const auto found = std::find_if(children.begin(), children.end(), [&](int32_t child) {
            return rows_[static_cast<size_t>(child)].name == name;
        });
        if (found == children.end())
            return std::nullopt;
        at = *found;
    }
    return at;
}

std::vector<int32_t> CatalogDiff::largestChanges(size_t limit) const {
    std::vector<int32_t> found;
    for (int32_t r = 1; r < size(); ++r) {
        const Row& item = rows_[static_cast<size_t>(r)];
        const Kind above = rows_[static_cast<size_t>(item.parent)].kind;
        if (item.kind != Kind::unchanged && above != Kind::appeared && above != Kind::vanished)
            found.push_back(r);
    }
    const auto larger = [this](int32_t a, int32_t b) {
        const int64_t l = magnitude(row(a).change());
        const int64_t r = magnitude(row(b).change());
        return l != r ? l > r : a < b;
    };
    const size_t shown = std::min(limit, found.size());
    std::partial_sort(found.begin(), found.begin() + static_cast<ptrdiff_t>(shown), found.end(),
                      larger);
    found.resize(shown);
    return found;
}

QString CatalogDiff::toString(Kind kind) {
    switch (kind) {
    case Kind::grown:
        return QStringLiteral("grown");
    case Kind::shrunk:
        return QStringLiteral("shrunk");
    case Kind::appeared:
        return QStringLiteral("appeared");
    case Kind::vanished:
        return QStringLiteral("vanished");
    case Kind::unchanged:
        break;
    }
    return QStringLiteral("unchanged");
}

} // namespace velmox
