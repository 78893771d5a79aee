#include "storage/ChangeResolver.h"

namespace velmox {

namespace {

constexpr uint32_t kIndexFrom = 32; // children; smaller folders are searched in order

} // namespace

ChangeResolver::ChangeResolver(const FileTree& tree)
    : rootPrefix(tree.rootPath.toUtf8()), tree_(tree) {}

std::optional<int32_t> ChangeResolver::child(int32_t folder, QByteArrayView name) {
    ++lookups;
    const uint32_t first = tree_.firstChild(folder);
    const uint32_t count = tree_.childCount(folder);
    if (count < kIndexFrom) {
        for (uint32_t at = first; at < first + count; ++at)
            if (tree_.nameBytes(int32_t(at)) == name)
                return int32_t(at);
        return std::nullopt;
    }
    auto found = index_.find(folder);
    if (found == index_.end()) {
        QHash<QByteArrayView, int32_t> names;
        names.reserve(count);
        for (uint32_t at = first; at < first + count; ++at)
            names.insert(tree_.nameBytes(int32_t(at)), int32_t(at));
        found = index_.insert(folder, std::move(names));
    }
    const auto node = found->constFind(name);
    return node == found->cend() ? std::nullopt : std::optional<int32_t>(*node);
}

std::optional<ChangeResolver::Resolved> ChangeResolver::resolve(QByteArrayView path) {
    if (tree_.size() == 0 || !path.startsWith(rootPrefix)) {
        ++loose;
        return std::nullopt;
    }
    QByteArrayView rest = path.sliced(rootPrefix.size());
    if (!rest.isEmpty() && !rootPrefix.endsWith('/') && !rest.startsWith('/')) {
        ++loose;
        return std::nullopt;
    }
    Resolved resolved{0, true};
    while (!rest.isEmpty()) {
        while (rest.startsWith('/'))
            rest = rest.sliced(1);
        if (rest.isEmpty())
            break;
        const qsizetype slash = rest.indexOf('/');
        const QByteArrayView part = slash < 0 ? rest : rest.first(slash);
        rest = slash < 0 ? QByteArrayView() : rest.sliced(slash);
        const auto next = tree_.hasFlag(resolved.node, NodeFlag::directory)
                              ? child(resolved.node, part)
                              : std::nullopt;
        if (!next) {
            resolved.exact = false;
            break;
        }
        resolved.node = *next;
    }
    return resolved;
}

} // namespace velmox
