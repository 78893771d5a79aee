#include "storage/ProtectedScanListing.h"

#include <QCryptographicHash>
#include <QtEndian>
#include <cstring>

namespace velmox {

namespace {

constexpr char kMagic[8] = {'V', 'M', 'X', 'P', 'S', 'C', 'A', 'N'};
constexpr uint32_t kVersion = 2;
constexpr qsizetype kHashSize = 32;

class Writer {
public:
    template <typename T> void put(T value) {
        const T little = qToLittleEndian(value);
        bytes.append(reinterpret_cast<const char*>(&little), sizeof(T));
    }
    template <typename T> void putColumn(const std::vector<T>& column) {
        for (const T& value : column)
            put(value);
    }
    QByteArray bytes;
};

class Reader {
public:
    explicit Reader(QByteArrayView bytes) : bytes_(bytes) {}
    template <typename T> bool get(T& value) {
        if (bytes_.size() - at_ < static_cast<qsizetype>(sizeof(T)))
            return false;
        std::memcpy(&value, bytes_.data() + at_, sizeof(T));
        value = qFromLittleEndian(value);
        at_ += sizeof(T);
        return true;
    }
    template <typename T> bool getColumn(std::vector<T>& column, size_t count) {
        if (static_cast<uint64_t>(bytes_.size() - at_) / sizeof(T) < count)
            return false;
        column.resize(count);
        for (T& value : column)
            get(value);
        return true;
    }
    bool getBytes(QByteArray& out, uint64_t count) {
        if (static_cast<uint64_t>(bytes_.size() - at_) < count)
            return false;
        out = bytes_.sliced(at_, static_cast<qsizetype>(count)).toByteArray();
        at_ += static_cast<qsizetype>(count);
        return true;
    }
    bool atEnd() const { return at_ == bytes_.size(); }

private:
    QByteArrayView bytes_;
    qsizetype at_ = 0;
};

} // namespace

QByteArray ProtectedScanListing::encode(const std::vector<Section>& sections) {
    Writer writer;
    writer.bytes.append(kMagic, sizeof(kMagic));
    writer.put(kVersion);
    writer.put(static_cast<uint32_t>(sections.size()));
    for (const Section& section : sections) {
        writer.put(static_cast<uint32_t>(section.path.size()));
        writer.bytes.append(section.path);
        writer.put(static_cast<int32_t>(section.errorNumber));
        FileTree own = section.tree ? section.tree->copy() : FileTree();
        own.unsumFolderSizes();
        const FileTreeColumns& c = own.columns();
        writer.put(static_cast<uint32_t>(c.parent.size()));
        writer.putColumn(c.parent);
        writer.putColumn(c.flags);
        writer.putColumn(c.alloc);
        writer.putColumn(c.logical);
        writer.putColumn(c.mtime);
        writer.putColumn(c.nameLength);
        writer.put(static_cast<uint64_t>(c.names.size()));
        writer.bytes.append(c.names);
        writer.put(static_cast<uint32_t>(own.linkedFiles().size()));
        for (const LinkedFile& file : own.linkedFiles()) {
            writer.put(file.node);
            writer.put(static_cast<uint8_t>(file.counted));
            writer.put(file.key);
            writer.put(file.alloc);
            writer.put(file.logical);
        }
    }
    writer.bytes.append(QCryptographicHash::hash(writer.bytes, QCryptographicHash::Sha256));
    return writer.bytes;
}

Result<std::vector<ProtectedScanListing::Section>>
ProtectedScanListing::decode(const QByteArray& bytes) {
    const auto damaged = [] {
        return failure(QStringLiteral("The administrator scan's result is damaged."));
    };
    if (bytes.size() < qsizetype(sizeof(kMagic)) + kHashSize ||
        std::memcmp(bytes.constData(), kMagic, sizeof(kMagic)) != 0)
        return damaged();
    const QByteArrayView body = QByteArrayView(bytes).first(bytes.size() - kHashSize);
    if (QCryptographicHash::hash(body, QCryptographicHash::Sha256) != bytes.right(kHashSize))
        return damaged();
    Reader reader(body.sliced(sizeof(kMagic)));
    uint32_t version = 0;
    uint32_t count = 0;
    if (!reader.get(version) || version != kVersion || !reader.get(count))
        return damaged();
    std::vector<Section> sections;
    for (uint32_t i = 0; i < count; ++i) {
        Section section;
        uint32_t pathLength = 0;
        int32_t error = 0;
        uint32_t nodes = 0;
        uint64_t nameBytes = 0;
        FileTreeColumns c;
        if (!reader.get(pathLength) || !reader.getBytes(section.path, pathLength) ||
            !reader.get(error) || !reader.get(nodes) || !reader.getColumn(c.parent, nodes) ||
            !reader.getColumn(c.flags, nodes) || !reader.getColumn(c.alloc, nodes) ||
            !reader.getColumn(c.logical, nodes) || !reader.getColumn(c.mtime, nodes) ||
            !reader.getColumn(c.nameLength, nodes) || !reader.get(nameBytes) ||
            !reader.getBytes(c.names, nameBytes))
            return damaged();
        uint32_t linkCount = 0;
        if (!reader.get(linkCount) || linkCount > nodes)
            return damaged();
        std::vector<LinkedFile> links(linkCount);
        for (LinkedFile& file : links) {
            uint8_t counted = 0;
            if (!reader.get(file.node) || !reader.get(counted) || !reader.get(file.key) ||
                !reader.get(file.alloc) || !reader.get(file.logical))
                return damaged();
            file.counted = counted != 0;
        }
        section.errorNumber = error;
        if (nodes > 0) {
            // Child ranges are rebuilt from the parents; validation then rejects any
            // listing whose children are not contiguous.
            c.firstChild.assign(nodes, 0);
            c.childCount.assign(nodes, 0);
            c.items.assign(nodes, 0);
            c.nameOffset.resize(nodes);
            uint64_t offset = 0;
            for (uint32_t node = 0; node < nodes; ++node) {
                c.nameOffset[node] = offset;
                offset += c.nameLength[node];
                const int32_t up = c.parent[node];
                if (node == 0 || up < 0 || static_cast<uint32_t>(up) >= node)
                    continue;
                if (c.childCount[up]++ == 0)
                    c.firstChild[up] = node;
            }
            auto tree =
                FileTree::fromColumns(QString::fromUtf8(section.path), {}, std::move(c), false);
            if (!tree || !tree->setLinkedFiles(std::move(links)))
                return damaged();
            tree->sumFolderSizes();
            section.tree = std::move(*tree);
        }
        sections.push_back(std::move(section));
    }
    if (!reader.atEnd())
        return damaged();
    return sections;
}

} // namespace velmox
