#include "tests/storage/ScanTestSupport.h"

#include <QDir>
#include <QTemporaryDir>

using namespace velmox;
using namespace velmox::test;

namespace {

// root/ { keep/ (k.bin, deep/d.bin), gone/ (g1.bin, sub/g2.bin), linked/ (one.bin), other.bin,
// two.bin (a second name of linked/one.bin) }
struct FileTreeRemoval : ::testing::Test {
    QTemporaryDir dir;
    QByteArray root = QFile::encodeName(dir.path()) + "/root";

    void SetUp() override {
        for (const char* folder : {"", "/keep", "/keep/deep", "/gone", "/gone/sub", "/linked"})
            makeFolder(root + folder);
        writeFile(root + "/keep/k.bin", 40'000);
        writeFile(root + "/keep/deep/d.bin", 70'000);
        writeFile(root + "/gone/g1.bin", 120'000);
        writeFile(root + "/gone/sub/g2.bin", 9'000);
        writeFile(root + "/linked/one.bin", 300'000);
        writeFile(root + "/other.bin", 5'000);
        ASSERT_EQ(::link(root + "/linked/one.bin", root + "/two.bin"), 0);
    }

    // Removes `paths` from the scanned tree and from the disk; the tree must then match a
    // fresh scan of what is left.
    void removeAndCompare(const QList<QByteArray>& paths) {
        const auto tree = scanFolder(QFile::decodeName(root));
        ASSERT_TRUE(tree);
        std::vector<int32_t> nodes;
        for (const QByteArray& path : paths) {
            const auto node = tree->findPath(path);
            ASSERT_TRUE(node) << path.constData();
            nodes.push_back(*node);
            ASSERT_TRUE(QFileInfo(QFile::decodeName(path)).isDir()
                            ? QDir(QFile::decodeName(path)).removeRecursively()
                            : ::unlink(path.constData()) == 0);
        }
        tree->removeSubtrees(nodes);
        ASSERT_TRUE(tree->validate());
        const auto fresh = scanFolder(QFile::decodeName(root));
        ASSERT_TRUE(fresh);
        EXPECT_EQ(folderFigures(*tree), folderFigures(*fresh));
        EXPECT_EQ(tree->size(), fresh->size());
        removed = tree;
    }

    std::shared_ptr<FileTree> removed;
};

} // namespace

TEST_F(FileTreeRemoval, TreeAfterRemovalMatchesAFreshScan) {
    removeAndCompare({root + "/gone", root + "/keep/deep/d.bin", root + "/other.bin"});
    const FileTree& tree = *removed;
    const int32_t keep = *tree.findPath(root + "/keep");
    const int32_t deep = *tree.findPath(root + "/keep/deep");
    EXPECT_EQ(tree.deletedChildCount(0), 2u);
    EXPECT_EQ(tree.deletedChildCount(deep), 1u);
    EXPECT_EQ(tree.deletedChildCount(keep), 0u);
    EXPECT_TRUE(tree.hasFlag(0, NodeFlag::edited));
    EXPECT_TRUE(tree.hasFlag(deep, NodeFlag::edited));
    EXPECT_FALSE(tree.hasFlag(keep, NodeFlag::edited));
    // The sorted orders were made for the old numbering.
    const auto children = tree.sortedChildren(0, TreeSortKey::real);
    QStringList names;
    for (const int32_t child : *children)
        names << tree.name(child);
    names.sort();
    EXPECT_EQ(names, (QStringList{"keep", "linked", "two.bin"}));
}

// The name that carried the size of a hard-linked file goes; the other name carries it now.
TEST_F(FileTreeRemoval, LinkedFileIsCountedAtTheNameThatIsLeft) {
    const auto before = scanFolder(QFile::decodeName(root));
    ASSERT_TRUE(before);
    const int32_t one = *before->findPath(root + "/linked/one.bin");
    const int32_t two = *before->findPath(root + "/two.bin");
    const QByteArray counted =
        before->alloc(one) > 0 ? root + "/linked/one.bin" : root + "/two.bin";
    ASSERT_GT(before->alloc(one) + before->alloc(two), 0);
    removeAndCompare({counted});
}

// A later rescan of a folder replaces what the removal said about it; the counts of the
// folders around it move with their renumbered nodes.
TEST_F(FileTreeRemoval, CountsFollowRenumberingAndARescanClearsThem) {
    removeAndCompare({root + "/keep/deep/d.bin", root + "/gone/g1.bin"});
    FileTree& tree = *removed;
    writeFile(root + "/gone/new.bin", 1'000);
    const auto gone = scanFolder(QFile::decodeName(root + "/gone"));
    ASSERT_TRUE(gone);
    tree.replaceSubtree(*tree.findPath(root + "/gone"), *gone);
    EXPECT_EQ(tree.deletedChildCount(*tree.findPath(root + "/gone")), 0u);
    EXPECT_FALSE(tree.hasFlag(*tree.findPath(root + "/gone"), NodeFlag::edited));
    EXPECT_EQ(tree.deletedChildCount(*tree.findPath(root + "/keep/deep")), 1u);
    EXPECT_EQ(tree.copy().deletedChildCounts(), tree.deletedChildCounts());
}
