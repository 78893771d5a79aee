#include "storage/CatalogFormat.h"

#include "ScanTestSupport.h"

#include <QRegularExpression>
#include <QTemporaryDir>
#include <QTimeZone>
#include <filesystem>
#include <random>

using namespace velmox;
using namespace velmox::test;

namespace {

// A real folder with sub-folders, a hard-linked pair and a name that is not UTF-8.
class CatalogFormatTest : public ::testing::Test {
protected:
    void SetUp() override {
        ASSERT_TRUE(dir_.isValid());
        root_ = QFile::encodeName(dir_.path());
        makeFolder(root_ + "/photos");
        makeFolder(root_ + "/photos/2024");
        makeFolder(root_ + "/odd\xff name");
        for (int i = 0; i < 40; ++i)
            writeFile(root_ + "/photos/2024/img" + QByteArray::number(i), 1000 + i * 37);
        writeFile(root_ + "/photos/big", 300000);
        writeFile(root_ + "/odd\xff name/note", 12);
        ASSERT_EQ(
            ::link((root_ + "/photos/big").constData(), (root_ + "/odd\xff name/big").constData()),
            0);
        tree_ = scanFolder(dir_.path());
        ASSERT_TRUE(tree_);
        ASSERT_EQ(tree_->linkedFiles().size(), 2u);
    }
    // QDir cannot remove a name that is not UTF-8.
    void TearDown() override { std::filesystem::remove_all(root_.constData()); }

    CatalogContents contents() const {
        CatalogMeta meta;
        meta.volumeName = QStringLiteral("Data");
        meta.format = QStringLiteral("ext4");
        meta.totalCapacity = 512'000'000'000;
        meta.availableSpace = 100'000'000'000;
        meta.scanDate = QDateTime(QDate(2026, 3, 1), QTime(9, 30), QTimeZone(3600));
        meta.rootPath = tree_->rootPath;
        meta.redirects = {{QStringLiteral("/a"), QStringLiteral("/data/a")}};
        meta.volumeUUID = QStringLiteral("6b1c1f0e-5f3a-4c57-9d7e-0f2a8d0c1b22");
        meta.scanStamp = ScanStamp{1, 0xFFFF'FFFF'FFFF'FFF0ull, QStringLiteral("journal-1"),
                                   meta.volumeUUID, meta.scanDate};
        FileTree tree = tree_->copy();
        tree.pathRedirects = meta.redirects;
        // As left by removals from the page.
        EXPECT_TRUE(tree.setDeletedChildCounts({{0, 2}, {photos(), 5}}));
        return {std::move(tree), meta, std::nullopt, {}};
    }
    int32_t photos() const { return *tree_->findPath(root_ + "/photos"); }

    QTemporaryDir dir_;
    QByteArray root_;
    std::shared_ptr<FileTree> tree_;
};

// Every reason a damaged file may give.
bool isDamagedText(const QString& message) {
    static const QRegularExpression known(QStringLiteral(
        "^The catalog file is damaged \\((unknown file format|unsupported version \\d+|"
        "decompression failed|bad block size|bad payload size|a column has the wrong length|"
        "a stream has the wrong length|the streams do not match|bad (child count|parent|flags|"
        "name) at \\d+|inconsistent array sizes|node \\d+ is outside its parent's child range|"
        "negative size at \\d+|the parent of node \\d+ is not a directory|bad name range at "
        "\\d+)\\)$"));
    return known.match(message).hasMatch();
}

// `file` with the data of its last block, `tag`, replaced by `pairs` stored raw.
QByteArray withLastBlock(const QByteArray& file, const char* tag,
                         const std::vector<uint32_t>& pairs) {
    const qsizetype at = file.lastIndexOf(tag);
    EXPECT_GT(at, 0) << tag;
    const QByteArray data = CatalogFormat::shuffle(
        QByteArrayView(reinterpret_cast<const char*>(pairs.data()), qsizetype(pairs.size() * 4)),
        4);
    uint32_t crc = 0xFFFFFFFFu;
    for (const char byte : data) {
        crc ^= uint8_t(byte);
        for (int bit = 0; bit < 8; ++bit)
            crc = (crc & 1) ? 0xEDB88320u ^ (crc >> 1) : crc >> 1;
    }
    crc ^= 0xFFFFFFFFu;
    const uint64_t size = uint64_t(data.size());
    QByteArray header = file.mid(at, 4) + QByteArray("\0\x04\0\0", 4);
    header.append(reinterpret_cast<const char*>(&size), 8);
    header.append(reinterpret_cast<const char*>(&size), 8);
    header.append(reinterpret_cast<const char*>(&crc), 4);
    return file.left(at) + header + data;
}

// The data of a block in a file written without checksums (version 2).
qsizetype blockData(const QByteArray& file, const char* tag) {
    const qsizetype at = file.indexOf(tag);
    EXPECT_GT(at, 0) << tag;
    return at + 24;
}

} // namespace

TEST_F(CatalogFormatTest, RoundTripsEveryVersionThatIsRead) {
    const CatalogContents original = contents();
    const auto newest = CatalogFormat::encode(original);
    ASSERT_TRUE(newest.has_value()) << newest.error().toStdString();
    const auto read = CatalogFormat::decode(*newest, CatalogFormat::maxDecodedSize());
    ASSERT_TRUE(read.has_value()) << read.error().message().toStdString();
    EXPECT_TRUE(read->sameAs(original));
    EXPECT_EQ(read->tree.nameBytes(*read->tree.findPath(root_ + "/odd\xff name")),
              QByteArray("odd\xff name"));
    EXPECT_EQ(read->tree.items(0), tree_->items(0));

    EXPECT_EQ(read->tree.deletedChildCount(photos()), 5u);

    // Version 3 has no removed-children counts, version 2 no checkpoint block either, version 1
    // no hard-link records either.
    for (const uint32_t version : {3, 2}) {
        const auto older =
            CatalogFormat::decode(*CatalogFormat::encode(original, version), UINT64_MAX);
        ASSERT_TRUE(older.has_value()) << version;
        EXPECT_EQ(older->tree.columns(), original.tree.columns());
        EXPECT_EQ(older->tree.linkedFiles(), original.tree.linkedFiles());
        EXPECT_TRUE(older->tree.deletedChildCounts().isEmpty());
    }
    const auto v1 = CatalogFormat::decode(*CatalogFormat::encode(original, 1), UINT64_MAX);
    ASSERT_TRUE(v1.has_value());
    EXPECT_EQ(v1->tree.columns(), original.tree.columns());
    EXPECT_TRUE(v1->tree.linkedFiles().empty());

    // A checkpoint: a partial tree, its counters and the folders still to read.
    CatalogContents checkpoint = contents();
    checkpoint.checkpoint = ScanCheckpointInfo{
        QStringLiteral("folder:/data"),
        44,
        3,
        1,
        {{QByteArray("/data/closed\nfolder"), UnreadableReason{UnreadableReason::Kind::other, 5}}},
        2.5,
        QDateTime(QDate(2026, 3, 1), QTime(10, 0), Qt::UTC),
        true};
    checkpoint.stack = {{1, root_ + "/photos"}, {3, root_ + "/odd\xff name"}};
    const auto restored = CatalogFormat::decode(*CatalogFormat::encode(checkpoint), UINT64_MAX);
    ASSERT_TRUE(restored.has_value()) << restored.error().message().toStdString();
    EXPECT_TRUE(restored->sameAs(checkpoint));
}

TEST_F(CatalogFormatTest, StoresAColumnThatDoesNotShrinkRawAndReadsItBack) {
    CatalogContents original = contents();
    // Random sizes leave LZFSE nothing to shrink.
    FileTreeColumns columns = original.tree.columns();
    std::mt19937_64 random(7);
    for (int64_t& alloc : columns.alloc)
        alloc = static_cast<int64_t>(random() >> 2);
    auto noisy = FileTree::fromColumns(original.tree.rootPath, {}, columns, true);
    ASSERT_TRUE(noisy.has_value());
    original.tree = std::move(*noisy);
    const QByteArray file = *CatalogFormat::encode(original);
    const qsizetype alloc = file.indexOf("ALOC");
    EXPECT_EQ(file[alloc + 4], 0) << "stored raw";
    EXPECT_EQ(file[file.indexOf("NAME") + 4], 1) << "the names shrink";
    const auto read = CatalogFormat::decode(file, UINT64_MAX);
    ASSERT_TRUE(read.has_value());
    EXPECT_TRUE(read->sameAs(original));

    const QByteArray column("\x01\x02\x03\x04\x05\x06\x07\x08\x09\x0a\x0b\x0c", 12);
    EXPECT_EQ(CatalogFormat::shuffle(column, 4),
              QByteArray("\x01\x05\x09\x02\x06\x0a\x03\x07\x0b\x04\x08\x0c", 12));
    EXPECT_EQ(CatalogFormat::unshuffle(CatalogFormat::shuffle(column, 4), 4), column);
}

TEST_F(CatalogFormatTest, RefusesToWriteATreeThatCannotBeReadBack) {
    FileTree zero(QStringLiteral("/z"), {});
    zero.append(-1, NodeFlag::directory, 0, 0, 0, "z");
    zero.append(0, 0, 1, 1, 0, QByteArrayView("a\0b", 3));
    CatalogContents withZero{std::move(zero), {}, std::nullopt, {}};
    EXPECT_EQ(CatalogFormat::encode(withZero).error(),
              QStringLiteral("a name contains a zero byte"));
    CatalogContents empty{FileTree(QStringLiteral("/e"), {}), {}, std::nullopt, {}};
    EXPECT_EQ(CatalogFormat::encode(empty).error(), QStringLiteral("the scan is inconsistent"));
}

TEST_F(CatalogFormatTest, EveryFlippedOrCutByteGivesADamagedFileText) {
    const QByteArray file = *CatalogFormat::encode(contents());
    const auto expectDamaged = [](const QByteArray& bad, const std::string& what) {
        const auto read = CatalogFormat::decode(bad, CatalogFormat::maxDecodedSize());
        ASSERT_FALSE(read.has_value()) << what;
        // A node count made huge reads as too large for this machine.
        EXPECT_TRUE(isDamagedText(read.error().message()) ||
                    read.error().kind == CatalogReadError::Kind::tooLarge)
            << what << ": " << read.error().message().toStdString();
    };
    for (qsizetype at = 0; at < file.size(); ++at) {
        QByteArray flipped = file;
        flipped[at] = static_cast<char>(flipped[at] ^ (1 << (at % 8)));
        expectDamaged(flipped, "flip at " + std::to_string(at));
        expectDamaged(file.left(at), "cut at " + std::to_string(at));
    }
    expectDamaged(file + '\0', "one byte too many");

    QByteArray future = file;
    future[8] = 5;
    EXPECT_EQ(CatalogFormat::decode(future, UINT64_MAX).error().message(),
              QStringLiteral("The catalog file is damaged (unsupported version 5)"));

    // Removed-children counts that name no folder, count nothing, repeat a folder or are cut.
    const auto file0 = uint32_t(*tree_->findPath(root_ + "/photos/big"));
    const auto folder = uint32_t(photos());
    ASSERT_TRUE(CatalogFormat::decode(withLastBlock(file, "DELC", {folder, 1}), UINT64_MAX));
    for (const auto& pairs : std::vector<std::vector<uint32_t>>{
             {uint32_t(tree_->size()), 1}, {file0, 1}, {folder, 0}, {folder, 1, folder, 2}})
        EXPECT_EQ(
            CatalogFormat::decode(withLastBlock(file, "DELC", pairs), UINT64_MAX).error().message(),
            QStringLiteral("The catalog file is damaged (the streams do not match)"))
            << pairs[0];
    EXPECT_EQ(CatalogFormat::decode(withLastBlock(file, "DELC", {folder, 1, 0}), UINT64_MAX)
                  .error()
                  .message(),
              QStringLiteral("The catalog file is damaged (a stream has the wrong length)"));
    EXPECT_EQ(CatalogFormat::decode(file, 1000).error().message(),
              QStringLiteral("The catalog file is too large to open."));
}

TEST(CatalogFormat, ChecksEveryNodeOfAColumnThatReadsBackWhole) {
    // Three nodes: every column is too small to compress, so each is stored raw (shuffled)
    // and a byte can be changed in place in a file without checksums.
    FileTree tree(QStringLiteral("/t"), {});
    tree.append(-1, NodeFlag::directory, 0, 0, 0, "t");
    tree.append(0, NodeFlag::directory, 0, 0, 0, "d");
    tree.append(1, 0, 10, 10, 0, "f");
    const QByteArray file = *CatalogFormat::encode({std::move(tree), {}, std::nullopt, {}}, 2);
    const auto damage = [&](const char* tag, qsizetype byte, char value) {
        QByteArray bad = file;
        bad[blockData(file, tag) + byte] = value;
        const auto read = CatalogFormat::decode(bad, UINT64_MAX);
        return read ? QString() : read.error().reason;
    };
    ASSERT_EQ(damage("NAME", 0, 't'), QString()); // the same byte: still whole
    EXPECT_EQ(damage("PRNT", 2, 7), QStringLiteral("bad parent at 2"));
    EXPECT_EQ(damage("CCNT", 1, 9), QStringLiteral("bad child count at 1"));
    EXPECT_EQ(damage("FLAG", 3 + 2, '\x80'), QStringLiteral("bad flags at 2"));
    EXPECT_EQ(damage("FLAG", 1, 3), QStringLiteral("bad flags at 1"));
    EXPECT_EQ(damage("NLEN", 2, 9), QStringLiteral("bad name at 2"));
    EXPECT_EQ(damage("NAME", 2, '\0'), QStringLiteral("bad name at 2"));
    EXPECT_EQ(damage("ALOC", 3 * 7 + 2, '\x80'), QStringLiteral("negative size at 2"));
    EXPECT_EQ(damage("FLAG", 1, 0), QStringLiteral("the parent of node 2 is not a directory"));
    EXPECT_EQ(damage("PRNT", 2, 0), QStringLiteral("node 2 is outside its parent's child range"));
}
