#include "storage/TreeBreakdown.h"

#include <algorithm>
#include <array>
#include <queue>
#include <string>
#include <string_view>
#include <unordered_map>

namespace velmox {

namespace {

constexpr std::pair<FileKind, const char*> kKindNames[] = {
    {FileKind::video, "video"},
    {FileKind::audio, "audio"},
    {FileKind::images, "images"},
    {FileKind::archives, "archives"},
    {FileKind::diskImages, "diskImages"},
    {FileKind::packages, "packages"},
    {FileKind::code, "code"},
    {FileKind::documents, "documents"},
    {FileKind::other, "other"},
};

constexpr qsizetype kMaxExtension = 15;

const std::unordered_map<std::string_view, FileKind>& kindTable() {
    static const auto table = [] {
        std::unordered_map<std::string_view, FileKind> map;
        const auto add = [&map](FileKind kind, std::initializer_list<std::string_view> names) {
            for (std::string_view name : names)
                map.emplace(name, kind);
        };
        add(FileKind::video, {"mp4", "m4v", "mkv", "mov", "avi", "wmv", "flv", "webm", "mpg",
                              "mpeg", "m2ts", "mts", "3gp", "ogv", "vob"});
        add(FileKind::audio, {"mp3", "m4a", "aac", "flac", "wav", "ogg", "oga", "opus", "wma",
                              "aiff", "aif", "mid", "midi", "ape", "caf"});
        add(FileKind::images,
            {"jpg", "jpeg", "png", "gif", "bmp", "tif", "tiff", "webp", "heic", "heif", "svg",
             "ico", "icns", "cr2", "nef", "arw", "dng", "psd",  "xcf",  "avif", "raw"});
        add(FileKind::archives, {"zip", "tar", "gz", "tgz", "bz2", "tbz2", "xz", "txz", "zst", "7z",
                                 "rar", "lz", "lzma", "lz4", "cab", "jar", "cpio"});
        add(FileKind::diskImages, {"iso", "img", "dmg", "qcow2", "qcow", "vdi", "vmdk", "vhd",
                                   "vhdx", "sparseimage", "sparsebundle", "toast"});
        add(FileKind::packages, {"deb", "rpm", "apk", "pkg", "mpkg", "flatpak", "snap", "appimage",
                                 "msi", "whl", "gem", "app"});
        add(FileKind::code,
            {"c",   "h",    "cc",  "cpp",  "cxx",   "hpp", "hh",   "py",    "js",   "ts",   "tsx",
             "jsx", "java", "kt",  "go",   "rs",    "rb",  "php",  "swift", "m",    "mm",   "cs",
             "sh",  "pl",   "lua", "json", "xml",   "yml", "yaml", "toml",  "html", "css",  "scss",
             "sql", "o",    "a",   "so",   "class", "pyc", "wasm", "cmake", "mk",   "ipynb"});
        add(FileKind::documents,
            {"pdf", "doc", "docx", "odt", "rtf", "txt", "md", "xls", "xlsx", "ods", "ppt", "pptx",
             "odp", "csv", "epub", "pages", "numbers", "key", "tex"});
        return map;
    }();
    return table;
}

bool isFile(const FileTree& tree, int32_t node) {
    return !tree.hasFlag(node, NodeFlag::directory) || tree.hasFlag(node, NodeFlag::package);
}

// Every node below `folder` that is a file (a package folder stands for its contents) and
// not excluded, in depth-first order.
template <typename Visit> void forEachFile(const FileTree& tree, int32_t folder, Visit visit) {
    std::vector<int32_t> stack{folder};
    while (!stack.empty()) {
        const int32_t node = stack.back();
        stack.pop_back();
        const uint32_t first = tree.firstChild(node);
        const uint32_t end = first + tree.childCount(node);
        for (uint32_t child = first; child < end; ++child) {
            const auto index = int32_t(child);
            if (tree.hasFlag(index, NodeFlag::excluded))
                continue; // not part of the scan
            if (isFile(tree, index))
                visit(index);
            else
                stack.push_back(index);
        }
    }
}

} // namespace

QString toString(FileKind kind) {
    for (const auto& [value, name] : kKindNames)
        if (value == kind)
            return QString::fromLatin1(name);
    return {};
}

std::optional<FileKind> fileKindFromString(const QString& text) {
    for (const auto& [value, name] : kKindNames)
        if (text == QLatin1String(name))
            return value;
    return std::nullopt;
}

QString fileKindTitle(FileKind kind) {
    switch (kind) {
    case FileKind::video:
        return QStringLiteral("Videos");
    case FileKind::audio:
        return QStringLiteral("Audio");
    case FileKind::images:
        return QStringLiteral("Images");
    case FileKind::archives:
        return QStringLiteral("Archives");
    case FileKind::diskImages:
        return QStringLiteral("Disk Images");
    case FileKind::packages:
        return QStringLiteral("Packages");
    case FileKind::code:
        return QStringLiteral("Code");
    case FileKind::documents:
        return QStringLiteral("Documents");
    case FileKind::other:
        break;
    }
    return QStringLiteral("Other");
}

QByteArray TreeBreakdown::extensionOf(QByteArrayView name) {
    const qsizetype dot = name.lastIndexOf('.');
    if (dot <= 0 || dot == name.size() - 1 || name.size() - dot - 1 > kMaxExtension)
        return {};
    return name.sliced(dot + 1).toByteArray().toLower();
}

FileKind TreeBreakdown::kindOfExtension(QByteArrayView lowerExtension) {
    const auto& table = kindTable();
    const auto found =
        table.find(std::string_view(lowerExtension.data(), size_t(lowerExtension.size())));
    return found == table.end() ? FileKind::other : found->second;
}

FileKind TreeBreakdown::kindOf(const FileTree& tree, int32_t node) {
    if (tree.hasFlag(node, NodeFlag::package))
        return FileKind::packages;
    return kindOfExtension(extensionOf(tree.nameBytes(node)));
}

std::vector<int32_t> TreeBreakdown::largestFiles(const FileTree& tree, int32_t folder,
                                                 TreeSortKey key, size_t count,
                                                 const Filter& filter) {
    if (count == 0 || folder < 0 || folder >= tree.size())
        return {};
    // A min-heap of the largest seen so far: its top is the first to give way.
    struct Entry {
        int64_t size;
        int32_t node;
    };
    const auto larger = [](const Entry& left, const Entry& right) {
        return left.size != right.size ? left.size > right.size : left.node < right.node;
    };
    std::priority_queue<Entry, std::vector<Entry>, decltype(larger)> kept(larger);
    forEachFile(tree, folder, [&](int32_t node) {
        const int64_t size = tree.size(node, key);
        if (kept.size() == count && !larger(Entry{size, node}, kept.top()))
            return;
        if (filter && !filter(tree, node))
            return;
        kept.push({size, node});
        if (kept.size() > count)
            kept.pop();
    });
    std::vector<int32_t> nodes(kept.size());
    for (size_t i = nodes.size(); i-- > 0; kept.pop())
        nodes[i] = kept.top().node;
    return nodes;
}

QList<KindTotal> TreeBreakdown::fileTypes(const FileTree& tree, int32_t folder) {
    QList<KindTotal> kinds;
    for (const auto& [kind, name] : kKindNames)
        kinds.append(KindTotal{kind, 0, 0, 0, {}});
    if (folder < 0 || folder >= tree.size())
        return kinds;
    // Extensions are short: a std::string key stays inside the string itself, so counting a
    // million files allocates nothing per file.
    std::unordered_map<std::string, ExtensionTotal> byExtension;
    std::string packageKey = "/package"; // no extension holds a "/"
    std::array<char, kMaxExtension> lower{};
    forEachFile(tree, folder, [&](int32_t node) {
        std::string key;
        if (tree.hasFlag(node, NodeFlag::package)) {
            key = packageKey;
        } else {
            const QByteArrayView name = tree.nameBytes(node);
            const qsizetype dot = name.lastIndexOf('.');
            const qsizetype length = name.size() - dot - 1;
            if (dot > 0 && length > 0 && length <= kMaxExtension) {
                for (qsizetype i = 0; i < length; ++i) {
                    const char c = name[dot + 1 + i];
                    lower[size_t(i)] = c >= 'A' && c <= 'Z' ? char(c - 'A' + 'a') : c;
                }
                key.assign(lower.data(), size_t(length));
            }
        }
        ExtensionTotal& total = byExtension[key];
        total.allocated += tree.alloc(node);
        total.logical += tree.logical(node);
        ++total.items;
    });
    for (auto& [key, total] : byExtension) {
        const bool package = key == packageKey;
        total.extension = package ? QByteArray() : QByteArray::fromStdString(key);
        KindTotal& kind =
            kinds[qsizetype(package ? FileKind::packages : kindOfExtension(total.extension))];
        kind.allocated += total.allocated;
        kind.logical += total.logical;
        kind.items += total.items;
        if (!package)
            kind.extensions.append(total);
        else if (total.items > 0)
            kind.extensions.append(
                ExtensionTotal{"app", total.allocated, total.logical, total.items});
    }
    for (KindTotal& kind : kinds)
        std::sort(kind.extensions.begin(), kind.extensions.end(),
                  [](const ExtensionTotal& a, const ExtensionTotal& b) {
                      return a.allocated != b.allocated ? a.allocated > b.allocated
                                                        : a.extension < b.extension;
                  });
    return kinds;
}

} // namespace velmox
