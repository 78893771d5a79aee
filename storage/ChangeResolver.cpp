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
    if (count < kIndexFrom)
        return tree_.childNamed(folder, name);
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
    const auto match = tree_.matchPath(path, [this](int32_t folder, QByteArrayView name) {
        return tree_.hasFlag(folder, NodeFlag::directory) ? child(folder, name) : std::nullopt;
    });
    if (!match)
        ++loose;
    return match;
}

} // namespace velmox
