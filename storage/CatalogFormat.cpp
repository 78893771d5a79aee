#include "storage/CatalogFormat.h"

#include "platform/Crc32.h"
#include "storage/LzfseCodec.h"

#include <QJsonArray>
#include <QJsonDocument>
#include <QtEndian>
#include <algorithm>
#include <array>
#include <bit>
#include <cstring>

namespace velmox {

static_assert(
    std::endian::native == std::endian::little,
    "catalog columns are written in the machine's byte order, which must be little-endian");

namespace {

constexpr qsizetype kFileHeaderSize = 28;
constexpr qsizetype kBlockHeaderSize = 24; // + 4 for the checksum from version 3 on
constexpr uint32_t kSizesSummed = 0x1;
constexpr uint8_t kRaw = 0;
constexpr uint8_t kCompressed = 1;
// Decoded bytes per node across all columns, for the size check made before decoding.
constexpr uint64_t kBytesPerNode = 4 + 4 + 4 + 8 + 2 + 2 + 8 + 8 + 8 + 4;

constexpr uint16_t kKnownFlags = NodeFlag::directory | NodeFlag::symbolicLink | NodeFlag::package |
                                 NodeFlag::hidden | NodeFlag::edited | NodeFlag::incomplete |
                                 NodeFlag::linkedFolder | NodeFlag::dataless | NodeFlag::otherKind |
                                 NodeFlag::notRead | NodeFlag::multiplyLinked |
                                 NodeFlag::mountPoint | NodeFlag::blocked | NodeFlag::excluded;

using Tag = std::array<char, 4>;
// Longest name a file system gives, in UTF-8 bytes, with room to spare.
constexpr uint64_t kMaxNameBytes = 1024;
constexpr Tag kMeta{'M', 'E', 'T', 'A'}, kParent{'P', 'R', 'N', 'T'}, kFirst{'F', 'R', 'S', 'T'},
    kCount{'C', 'C', 'N', 'T'}, kNameOffset{'N', 'O', 'F', 'F'}, kNameLength{'N', 'L', 'E', 'N'},
    kFlags{'F', 'L', 'A', 'G'}, kAlloc{'A', 'L', 'O', 'C'}, kLogical{'L', 'O', 'G', 'I'},
    kMtime{'M', 'T', 'I', 'M'}, kNames{'N', 'A', 'M', 'E'}, kLinkNode{'L', 'N', 'O', 'D'},
    kLinkKey{'L', 'K', 'E', 'Y'}, kLinkAlloc{'L', 'A', 'L', 'C'}, kLinkLogical{'L', 'L', 'O', 'G'},
    kLinkCounted{'L', 'C', 'N', 'T'}, kCheckpoint{'C', 'K', 'P', 'T'}, kDeleted{'D', 'E', 'L', 'C'};

template <typename T> QByteArrayView bytesOf(const std::vector<T>& column) {
    return QByteArrayView(reinterpret_cast<const char*>(column.data()),
                          static_cast<qsizetype>(column.size() * sizeof(T)));
}

template <typename T> void put(QByteArray& out, T value) {
    out.append(reinterpret_cast<const char*>(&value), sizeof(T));
}

class Writer {
public:
    explicit Writer(uint32_t version) : version_(version) {}

    void block(const Tag& tag, QByteArrayView data, int width) {
        const QByteArray shuffled = CatalogFormat::shuffle(data, width);
        const std::optional<QByteArray> packed = LzfseCodec::compress(shuffled);
        const QByteArray& stored = packed ? *packed : shuffled;
        out_.append(tag.data(), 4);
        put<uint8_t>(out_, packed ? kCompressed : kRaw);
        put<uint8_t>(out_, static_cast<uint8_t>(width));
        put<uint16_t>(out_, 0);
        put<uint64_t>(out_, static_cast<uint64_t>(data.size()));
        put<uint64_t>(out_, static_cast<uint64_t>(stored.size()));
        if (version_ >= 3)
            put<uint32_t>(out_, crc32(stored));
        out_.append(stored);
        ++blocks_;
    }
    template <typename T> void column(const Tag& tag, const std::vector<T>& values) {
        block(tag, bytesOf(values), sizeof(T));
    }
    QByteArray finish(uint32_t options, uint64_t nodes) {
        QByteArray file(CatalogFormat::kSignature, 8);
        put<uint32_t>(file, version_);
        put<uint32_t>(file, options);
        put<uint64_t>(file, nodes);
        put<uint32_t>(file, blocks_);
        return file + out_;
    }

private:
    uint32_t version_;
    uint32_t blocks_ = 0;
    QByteArray out_;
};

// What a block of a tag may hold, known before anything of it is decoded: its element width
// and its greatest decoded size for a tree of `nodes` nodes (`exact`: no other size).
struct BlockShape {
    Tag tag;
    int width;
    uint64_t perNode;
    uint64_t fixed;
    bool exact;
};
constexpr BlockShape kShapes[] = {
    {kMeta, 1, 0, 16u << 20, false},
    {kParent, 4, 4, 0, true},
    {kFirst, 4, 4, 0, true},
    {kCount, 4, 4, 0, true},
    {kNameOffset, 8, 8, 0, true},
    {kNameLength, 2, 2, 0, true},
    {kFlags, 2, 2, 0, true},
    {kAlloc, 8, 8, 0, true},
    {kLogical, 8, 8, 0, true},
    {kMtime, 8, 8, 0, true},
    {kNames, 1, kMaxNameBytes, 0, false},
    {kLinkNode, 4, 4, 0, false},
    {kLinkKey, 8, 8, 0, false},
    {kLinkAlloc, 8, 8, 0, false},
    {kLinkLogical, 8, 8, 0, false},
    {kLinkCounted, 1, 1, 0, false},
    // The folders still to read and up to a few hundred unreadable samples.
    {kCheckpoint, 1, 2 * kMaxNameBytes, 1u << 20, false},
    // Pairs of a folder's node and how many of its children were removed: one per node at most.
    {kDeleted, 4, 8, 0, false},
};

struct Block {
    int width = 1;
    QByteArray data; // decoded and unshuffled
};

class Reader {
public:
    Reader(QByteArrayView bytes, uint64_t maxDecoded) : bytes_(bytes), maxDecoded_(maxDecoded) {}

    std::expected<CatalogContents, CatalogReadError> read();
    std::expected<CatalogSummary, CatalogReadError> readSummary();

private:
    using Failure = std::unexpected<CatalogReadError>;
    // Checks the file header and decodes up to `limit` blocks.
    std::optional<Failure> readBlocks(uint32_t limit);
    std::expected<QJsonObject, CatalogReadError> metaObject() const;
    static Failure damaged(QString reason) {
        return Failure({CatalogReadError::Kind::damaged, std::move(reason)});
    }
    template <typename T> T at(qsizetype offset) const {
        T value;
        std::memcpy(&value, bytes_.data() + offset, sizeof(T));
        return value;
    }
    template <typename T>
    std::expected<std::vector<T>, QString> column(const Tag& tag, uint64_t expected) const;

    QByteArrayView bytes_;
    uint64_t maxDecoded_;
    QHash<QByteArray, Block> blocks_;
    uint32_t version_ = 0;
    uint32_t options_ = 0;
    uint64_t nodes_ = 0;
};

template <typename T>
std::expected<std::vector<T>, QString> Reader::column(const Tag& tag, uint64_t expected) const {
    const Block block = blocks_.value(QByteArray(tag.data(), 4));
    if (block.width != static_cast<int>(sizeof(T)) ||
        static_cast<uint64_t>(block.data.size()) != expected * sizeof(T))
        return std::unexpected(QStringLiteral("a column has the wrong length"));
    std::vector<T> values(expected);
    if (expected > 0)
        std::memcpy(values.data(), block.data.constData(), block.data.size());
    return values;
}

std::optional<Reader::Failure> Reader::readBlocks(uint32_t limit) {
    if (bytes_.size() < 8 || std::memcmp(bytes_.data(), CatalogFormat::kSignature, 8) != 0)
        return damaged(QStringLiteral("unknown file format"));
    if (bytes_.size() < kFileHeaderSize)
        return damaged(QStringLiteral("bad payload size"));
    const auto version = at<uint32_t>(8);
    if (version < 1 || version > CatalogFormat::kNewestVersion)
        return damaged(QStringLiteral("unsupported version %1").arg(version));
    const auto options = at<uint32_t>(12);
    const auto nodes = at<uint64_t>(16);
    const auto blockCount = at<uint32_t>(24);
    version_ = version;
    options_ = options;
    nodes_ = nodes;
    if (nodes < 1 || nodes > uint64_t(INT32_MAX) || (options & ~kSizesSummed) != 0)
        return damaged(QStringLiteral("bad payload size"));
    if (nodes * kBytesPerNode > maxDecoded_)
        return Failure({CatalogReadError::Kind::tooLarge, {}});

    const qsizetype blockHeader = kBlockHeaderSize + (version >= 3 ? 4 : 0);
    qsizetype offset = kFileHeaderSize;
    uint64_t decodedTotal = 0;
    for (uint32_t index = 0; index < std::min(blockCount, limit); ++index) {
        if (bytes_.size() - offset < blockHeader)
            return damaged(QStringLiteral("bad payload size"));
        const QByteArray tag(bytes_.data() + offset, 4);
        const auto mark = at<uint8_t>(offset + 4);
        const auto width = at<uint8_t>(offset + 5);
        const auto reserved = at<uint16_t>(offset + 6);
        const auto decodedSize = at<uint64_t>(offset + 8);
        const auto storedSize = at<uint64_t>(offset + 16);
        const uint32_t checksum = version >= 3 ? at<uint32_t>(offset + 24) : 0;
        offset += blockHeader;
        const auto left = static_cast<uint64_t>(bytes_.size() - offset);
        if (reserved != 0 || (mark != kRaw && mark != kCompressed) ||
            !std::has_single_bit(unsigned(width)) || width > 8 || storedSize > left ||
            decodedSize > maxDecoded_ - decodedTotal ||
            (mark == kRaw && storedSize != decodedSize) ||
            (mark == kCompressed && (storedSize == 0 || storedSize >= decodedSize)))
            return damaged(QStringLiteral("bad block size"));
        if (decodedSize % width != 0)
            return damaged(QStringLiteral("a stream has the wrong length"));
        const BlockShape* shape = nullptr;
        for (const BlockShape& known : kShapes)
            if (QByteArrayView(known.tag.data(), 4) == tag)
                shape = &known;
        if (!shape)
            return damaged(QStringLiteral("the streams do not match"));
        const uint64_t most = shape->fixed + shape->perNode * nodes;
        if (shape->width != width || (shape->exact ? decodedSize != most : decodedSize > most))
            return damaged(shape->exact ? QStringLiteral("a column has the wrong length")
                                        : QStringLiteral("a stream has the wrong length"));
        const QByteArrayView stored = bytes_.sliced(offset, static_cast<qsizetype>(storedSize));
        offset += static_cast<qsizetype>(storedSize);
        if (version >= 3 && crc32(stored) != checksum)
            return damaged(QStringLiteral("the streams do not match"));
        decodedTotal += decodedSize;
        QByteArray shuffled;
        if (mark == kCompressed) {
            auto decoded = LzfseCodec::decompress(stored, static_cast<qsizetype>(decodedSize));
            if (!decoded)
                return damaged(QStringLiteral("decompression failed"));
            shuffled = std::move(*decoded);
        } else {
            shuffled = stored.toByteArray();
        }
        if (blocks_.contains(tag))
            return damaged(QStringLiteral("the streams do not match"));
        blocks_.insert(tag, {width, CatalogFormat::unshuffle(shuffled, width)});
    }
    if (limit >= blockCount && offset != bytes_.size())
        return damaged(QStringLiteral("bad payload size"));
    return std::nullopt;
}

std::expected<QJsonObject, CatalogReadError> Reader::metaObject() const {
    QJsonParseError parseError;
    const QJsonDocument document =
        QJsonDocument::fromJson(blocks_.value(QByteArray(kMeta.data(), 4)).data, &parseError);
    if (parseError.error != QJsonParseError::NoError || !document.isObject())
        return damaged(QStringLiteral("the streams do not match"));
    return document.object();
}

std::expected<CatalogSummary, CatalogReadError> Reader::readSummary() {
    if (auto failed = readBlocks(1))
        return *failed;
    const auto object = metaObject();
    if (!object)
        return std::unexpected(object.error());
    auto meta = catalogMetaFromJson(object->value(QStringLiteral("meta")).toObject());
    if (!meta)
        return damaged(QStringLiteral("the streams do not match"));
    const QJsonObject tree = object->value(QStringLiteral("tree")).toObject();
    const auto number = [&](const char* key) {
        return tree.value(QLatin1String(key)).toString().toLongLong();
    };
    return CatalogSummary{std::move(*meta), number("allocated"), number("logical"),
                          number("items")};
}

std::expected<CatalogContents, CatalogReadError> Reader::read() {
    if (auto failed = readBlocks(UINT32_MAX))
        return *failed;
    const uint32_t version = version_;
    const uint32_t options = options_;
    const uint64_t nodes = nodes_;

    // The descriptive record.
    const auto metaObject = this->metaObject();
    if (!metaObject)
        return std::unexpected(metaObject.error());
    auto meta = catalogMetaFromJson(metaObject->value(QStringLiteral("meta")).toObject());
    if (!meta)
        return damaged(QStringLiteral("the streams do not match"));

    // The columns.
    FileTreeColumns c;
    QString wrong;
    const auto take = [&](auto& into, const Tag& tag, uint64_t count) {
        auto values = column<typename std::decay_t<decltype(into)>::value_type>(tag, count);
        if (values)
            into = std::move(*values);
        else if (wrong.isEmpty())
            wrong = values.error();
    };
    take(c.parent, kParent, nodes);
    take(c.firstChild, kFirst, nodes);
    take(c.childCount, kCount, nodes);
    take(c.nameOffset, kNameOffset, nodes);
    take(c.nameLength, kNameLength, nodes);
    take(c.flags, kFlags, nodes);
    take(c.alloc, kAlloc, nodes);
    take(c.logical, kLogical, nodes);
    take(c.mtime, kMtime, nodes);
    if (!wrong.isEmpty())
        return damaged(wrong);
    const Block names = blocks_.value(QByteArray(kNames.data(), 4));
    if (names.width != 1)
        return damaged(QStringLiteral("a stream has the wrong length"));
    c.names = names.data;
    c.items.assign(nodes, 0);

    const auto n = static_cast<int64_t>(nodes);
    const auto nameBytes = static_cast<uint64_t>(c.names.size());
    for (int64_t node = 0; node < n; ++node) {
        const int32_t up = c.parent[node];
        if (node == 0 ? up != -1 : (up < 0 || up >= node))
            return damaged(QStringLiteral("bad parent at %1").arg(node));
        if (c.childCount[node] > 0 && (c.firstChild[node] <= node ||
                                       uint64_t{c.firstChild[node]} + c.childCount[node] > nodes))
            return damaged(QStringLiteral("bad child count at %1").arg(node));
        if ((c.flags[node] & ~kKnownFlags) != 0 ||
            ((c.flags[node] & NodeFlag::directory) && (c.flags[node] & NodeFlag::symbolicLink)))
            return damaged(QStringLiteral("bad flags at %1").arg(node));
        if (c.nameOffset[node] > nameBytes || c.nameLength[node] > nameBytes - c.nameOffset[node] ||
            QByteArrayView(c.names.constData() + c.nameOffset[node], c.nameLength[node])
                .contains('\0'))
            return damaged(QStringLiteral("bad name at %1").arg(node));
    }

    const QJsonObject treeObject = metaObject->value(QStringLiteral("tree")).toObject();
    auto tree = FileTree::fromColumns(treeObject.value(QStringLiteral("rootPath")).toString(),
                                      treeObject.value(QStringLiteral("rootName")).toString(),
                                      std::move(c), (options & kSizesSummed) != 0);
    if (!tree)
        return damaged(tree.error());
    tree->pathRedirects = meta->redirects;
    tree->exclusions = meta->exclusions;

    // Hard-linked files, from version 2 on.
    if (version >= 2) {
        const auto links =
            static_cast<uint64_t>(blocks_.value(QByteArray(kLinkNode.data(), 4)).data.size()) / 4;
        std::vector<int32_t> node;
        std::vector<uint64_t> key;
        std::vector<int64_t> alloc, logical;
        std::vector<uint8_t> counted;
        take(node, kLinkNode, links);
        take(key, kLinkKey, links);
        take(alloc, kLinkAlloc, links);
        take(logical, kLinkLogical, links);
        take(counted, kLinkCounted, links);
        if (!wrong.isEmpty())
            return damaged(QStringLiteral("a stream has the wrong length"));
        std::vector<LinkedFile> files(links);
        for (uint64_t i = 0; i < links; ++i) {
            if (counted[i] > 1)
                return damaged(QStringLiteral("the streams do not match"));
            files[i] = {node[i], counted[i] == 1, key[i], alloc[i], logical[i]};
        }
        if (!tree->setLinkedFiles(std::move(files)))
            return damaged(QStringLiteral("the streams do not match"));
    }

    // Children removed after the scan, from version 4 on.
    if (const QByteArray deletedKey(kDeleted.data(), 4); blocks_.contains(deletedKey)) {
        const Block deleted = blocks_.value(deletedKey);
        if (version < 4)
            return damaged(QStringLiteral("the streams do not match"));
        if (deleted.data.size() % 8 != 0)
            return damaged(QStringLiteral("a stream has the wrong length"));
        QHash<int32_t, uint32_t> counts;
        for (qsizetype at = 0; at < deleted.data.size(); at += 8) {
            uint32_t pair[2];
            std::memcpy(pair, deleted.data.constData() + at, sizeof(pair));
            if (pair[0] > uint32_t(INT32_MAX) || counts.contains(int32_t(pair[0])))
                return damaged(QStringLiteral("the streams do not match"));
            counts.insert(int32_t(pair[0]), pair[1]);
        }
        if (!tree->setDeletedChildCounts(std::move(counts)))
            return damaged(QStringLiteral("the streams do not match"));
    }

    CatalogContents contents{std::move(*tree), std::move(*meta), std::nullopt, {}};
    if (version >= 3 && blocks_.contains(QByteArray(kCheckpoint.data(), 4))) {
        const QJsonObject checkpoint =
            QJsonDocument::fromJson(blocks_.value(QByteArray(kCheckpoint.data(), 4)).data).object();
        auto info = scanCheckpointInfoFromJson(checkpoint.value(QStringLiteral("info")).toObject());
        if (!info)
            return damaged(QStringLiteral("the streams do not match"));
        contents.checkpoint = std::move(*info);
        for (const QJsonValue& value : checkpoint.value(QStringLiteral("stack")).toArray()) {
            const QJsonObject folder = value.toObject();
            const int node = folder.value(QStringLiteral("node")).toInt(-1);
            if (node < 0 || node >= contents.tree.size() ||
                !contents.tree.hasFlag(node, NodeFlag::directory))
                return damaged(QStringLiteral("the streams do not match"));
            contents.stack.push_back(
                {node, QByteArray::fromBase64(
                           folder.value(QStringLiteral("path")).toString().toLatin1())});
        }
    }
    return contents;
}

} // namespace

bool CatalogContents::sameAs(const CatalogContents& other) const {
    // The redirects and exclusions are the tree's; the record's copy is not looked at.
    CatalogMeta mine = meta;
    mine.redirects = other.meta.redirects;
    mine.exclusions = other.meta.exclusions;
    return tree.rootPath == other.tree.rootPath && tree.rootName == other.tree.rootName &&
           tree.pathRedirects == other.tree.pathRedirects &&
           tree.exclusions == other.tree.exclusions &&
           tree.sizesSummed() == other.tree.sizesSummed() &&
           tree.columns() == other.tree.columns() &&
           tree.linkedFiles() == other.tree.linkedFiles() &&
           tree.deletedChildCounts() == other.tree.deletedChildCounts() && mine == other.meta &&
           checkpoint == other.checkpoint && stack == other.stack;
}

QString CatalogReadError::message() const {
    if (kind == Kind::tooLarge)
        return QStringLiteral("The catalog file is too large to open.");
    return QStringLiteral("The catalog file is damaged (%1)").arg(reason);
}

namespace CatalogFormat {

Status checkWritable(const FileTree& tree) {
    if (tree.size() == 0 || !tree.validate())
        return failure(QStringLiteral("the scan is inconsistent"));
    uint64_t children = 0;
    for (uint32_t count : tree.columns().childCount)
        children += count;
    if (children != static_cast<uint64_t>(tree.size()) - 1)
        return failure(QStringLiteral("the child ranges do not cover the tree"));
    if (tree.columns().names.contains('\0'))
        return failure(QStringLiteral("a name contains a zero byte"));
    return Done{};
}

Result<QByteArray> encode(const CatalogContents& contents, uint32_t version) {
    Q_ASSERT(version >= 1 && version <= kNewestVersion);
    const FileTree& tree = contents.tree;
    if (Status writable = checkWritable(tree); !writable)
        return failure(writable.error());
    Writer writer(version);
    CatalogMeta record = contents.meta;
    record.redirects = tree.pathRedirects;
    record.exclusions = tree.exclusions;
    const QJsonObject meta{
        {QStringLiteral("meta"), toJson(record)},
        {QStringLiteral("tree"),
         QJsonObject{{QStringLiteral("rootPath"), tree.rootPath},
                     {QStringLiteral("rootName"), tree.rootName},
                     // Totals for a list of catalogs, which reads this record only.
                     {QStringLiteral("allocated"), QString::number(tree.alloc(0))},
                     {QStringLiteral("logical"), QString::number(tree.logical(0))},
                     {QStringLiteral("items"), QString::number(tree.items(0))}}}};
    writer.block(kMeta, QJsonDocument(meta).toJson(QJsonDocument::Compact), 1);
    const FileTreeColumns& c = tree.columns();
    writer.column(kParent, c.parent);
    writer.column(kFirst, c.firstChild);
    writer.column(kCount, c.childCount);
    writer.column(kNameOffset, c.nameOffset);
    writer.column(kNameLength, c.nameLength);
    writer.column(kFlags, c.flags);
    writer.column(kAlloc, c.alloc);
    writer.column(kLogical, c.logical);
    writer.column(kMtime, c.mtime);
    writer.block(kNames, c.names, 1);
    if (version >= 2) {
        const std::vector<LinkedFile>& files = tree.linkedFiles();
        std::vector<int32_t> node(files.size());
        std::vector<uint64_t> key(files.size());
        std::vector<int64_t> alloc(files.size()), logical(files.size());
        std::vector<uint8_t> counted(files.size());
        for (size_t i = 0; i < files.size(); ++i) {
            node[i] = files[i].node;
            key[i] = files[i].key;
            alloc[i] = files[i].alloc;
            logical[i] = files[i].logical;
            counted[i] = files[i].counted ? 1 : 0;
        }
        writer.column(kLinkNode, node);
        writer.column(kLinkKey, key);
        writer.column(kLinkAlloc, alloc);
        writer.column(kLinkLogical, logical);
        writer.column(kLinkCounted, counted);
    }
    if (version >= 4 && !tree.deletedChildCounts().isEmpty()) {
        std::vector<uint32_t> pairs;
        pairs.reserve(size_t(tree.deletedChildCounts().size()) * 2);
        QList<int32_t> folders = tree.deletedChildCounts().keys();
        std::sort(folders.begin(), folders.end());
        for (const int32_t folder : folders)
            pairs.insert(pairs.end(), {uint32_t(folder), tree.deletedChildCounts().value(folder)});
        writer.column(kDeleted, pairs);
    }
    if (version >= 3 && contents.checkpoint) {
        QJsonArray stack;
        for (const PendingFolderRecord& folder : contents.stack)
            stack.append(
                QJsonObject{{QStringLiteral("node"), folder.node},
                            {QStringLiteral("path"), QString::fromLatin1(folder.path.toBase64())}});
        const QJsonObject checkpoint{{QStringLiteral("info"), toJson(*contents.checkpoint)},
                                     {QStringLiteral("stack"), stack}};
        writer.block(kCheckpoint, QJsonDocument(checkpoint).toJson(QJsonDocument::Compact), 1);
    }
    return writer.finish(tree.sizesSummed() ? kSizesSummed : 0, static_cast<uint64_t>(tree.size()));
}

std::expected<CatalogContents, CatalogReadError> decode(QByteArrayView bytes,
                                                        uint64_t maxDecodedBytes) {
    return Reader(bytes, maxDecodedBytes).read();
}

std::expected<CatalogSummary, CatalogReadError> decodeSummary(QByteArrayView head) {
    return Reader(head, UINT64_MAX).readSummary();
}

qsizetype summaryLength(QByteArrayView head) {
    if (head.size() < kFileHeaderSize + kBlockHeaderSize)
        return kFileHeaderSize + kBlockHeaderSize + 4;
    uint64_t stored = 0;
    std::memcpy(&stored, head.data() + kFileHeaderSize + 16, sizeof(stored));
    return static_cast<qsizetype>(std::min<uint64_t>(stored, 1u << 30)) + kFileHeaderSize +
           kBlockHeaderSize + 4;
}

uint64_t maxDecodedSize() {
    // Half of the memory for the decoded columns; 256 MiB where it cannot be told.
    const uint64_t memory = DiskScanner::physicalMemory();
    return memory > 0 ? memory / 2 : uint64_t{256} << 20;
}

uint64_t maxFileSize() {
    // A file is read whole before it is decoded, next to its columns.
    return maxDecodedSize() / 2;
}

QByteArray shuffle(QByteArrayView data, int width) {
    if (width <= 1)
        return data.toByteArray();
    const qsizetype n = data.size() / width;
    QByteArray out(data.size(), Qt::Uninitialized);
    for (qsizetype i = 0; i < n; ++i)
        for (int k = 0; k < width; ++k)
            out[k * n + i] = data[i * width + k];
    return out;
}

QByteArray unshuffle(QByteArrayView data, int width) {
    if (width <= 1)
        return data.toByteArray();
    const qsizetype n = data.size() / width;
    QByteArray out(data.size(), Qt::Uninitialized);
    for (qsizetype i = 0; i < n; ++i)
        for (int k = 0; k < width; ++k)
            out[i * width + k] = data[k * n + i];
    return out;
}

} // namespace CatalogFormat

} // namespace velmox
