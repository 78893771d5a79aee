#include "storage/TreeBreakdown.h"

#include <gtest/gtest.h>
#include <random>

using namespace velmox;

namespace {

constexpr uint16_t kDir = NodeFlag::directory;

// root/ { movies/ { a.MKV, b.mp4 }, Foo.app/ (a package) { Contents/ { bin } },
//         src/ { main.cpp, .bashrc, README, x.tar.gz }, big.iso }
struct Breakdown : ::testing::Test {
    FileTree tree{"/r", "r"};
    int32_t movies, app, src, iso, mkv, mp4, contents, bin, cpp, bashrc, readme, gz;

    Breakdown() {
        tree.append(-1, kDir, 0, 0, 0, "r");
        movies = tree.append(0, kDir, 0, 0, 0, "movies");
        app = tree.append(0, kDir | NodeFlag::package, 0, 0, 0, "Foo.app");
        src = tree.append(0, kDir, 0, 0, 0, "src");
        iso = tree.append(0, 0, 9000, 8000, 0, "big.iso");
        mkv = tree.append(movies, 0, 5000, 5000, 0, "a.MKV");
        mp4 = tree.append(movies, 0, 3000, 3000, 0, "b.mp4");
        contents = tree.append(app, kDir, 0, 0, 0, "Contents");
        cpp = tree.append(src, 0, 10, 10, 0, "main.cpp");
        bashrc = tree.append(src, 0, 5, 5, 0, ".bashrc");
        readme = tree.append(src, 0, 20, 20, 0, "README");
        gz = tree.append(src, 0, 700, 690, 0, "x.tar.gz");
        bin = tree.append(contents, 0, 4000, 4000, 0, "bin");
        tree.sumFolderSizes();
    }
};

} // namespace

TEST_F(Breakdown, LargestFilesCountPackagesAsOneFileAndStayInsideTheFolder) {
    EXPECT_EQ(TreeBreakdown::largestFiles(tree, 0, TreeSortKey::real, 4),
              (std::vector<int32_t>{iso, mkv, app, mp4}));
    EXPECT_EQ(TreeBreakdown::largestFiles(tree, src, TreeSortKey::real, 10),
              (std::vector<int32_t>{gz, readme, cpp, bashrc}));
    const TreeBreakdown::Filter videos = [](const FileTree& t, int32_t node) {
        return TreeBreakdown::kindOf(t, node) == FileKind::video;
    };
    EXPECT_EQ(TreeBreakdown::largestFiles(tree, 0, TreeSortKey::logical, 1, videos),
              std::vector<int32_t>{mkv});
    EXPECT_TRUE(TreeBreakdown::largestFiles(tree, 0, TreeSortKey::real, 0).empty());
}

// Against sorting everything, on random trees with many equal sizes.
TEST(TreeBreakdownRandom, LargestFilesMatchAFullSort) {
    std::mt19937 random(7);
    for (int round = 0; round < 20; ++round) {
        FileTree tree("/r", "r");
        tree.append(-1, kDir, 0, 0, 0, "r");
        std::vector<int32_t> folders{0};
        // Breadth first, each folder's children together.
        for (size_t next = 0; next < folders.size() && tree.size() < 3000; ++next) {
            const int children = int(random() % 12);
            for (int i = 0; i < children; ++i) {
                const bool folder = random() % 4 == 0;
                const int32_t node = tree.append(folders[next], folder ? kDir : 0,
                                                 folder ? 0 : int64_t(random() % 50), 0, 0, "n");
                if (folder)
                    folders.push_back(node);
            }
        }
        tree.sumFolderSizes();
        const int32_t folder = folders[random() % folders.size()];
        std::vector<int32_t> all;
        for (int32_t node = 1; node < tree.size(); ++node) {
            int32_t up = node;
            while (up > 0 && up != folder)
                up = tree.parent(up);
            if (up == folder && node != folder && !tree.hasFlag(node, kDir))
                all.push_back(node);
        }
        std::stable_sort(all.begin(), all.end(),
                         [&](int32_t a, int32_t b) { return tree.alloc(a) > tree.alloc(b); });
        const size_t count = random() % 40;
        all.resize(std::min(all.size(), count));
        EXPECT_EQ(TreeBreakdown::largestFiles(tree, folder, TreeSortKey::real, count), all)
            << "round " << round;
    }
}

TEST_F(Breakdown, TypesGroupByKindAndExtension) {
    const QList<KindTotal> kinds = TreeBreakdown::fileTypes(tree, 0);
    ASSERT_EQ(kinds.size(), 9);
    const auto kind = [&](FileKind which) { return kinds[qsizetype(which)]; };
    EXPECT_EQ(
        kind(FileKind::video),
        (KindTotal{
            FileKind::video, 8000, 8000, 2, {{"mkv", 5000, 5000, 1}, {"mp4", 3000, 3000, 1}}}));
    EXPECT_EQ(kind(FileKind::packages).allocated, 4000);
    EXPECT_EQ(kind(FileKind::packages).items, 1);
    EXPECT_EQ(kind(FileKind::diskImages).allocated, 9000);
    EXPECT_EQ(kind(FileKind::archives).extensions, (QList<ExtensionTotal>{{"gz", 700, 690, 1}}));
    EXPECT_EQ(kind(FileKind::code).items, 1);
    // Names without an extension, a leading dot included, are "other" with no extension.
    EXPECT_EQ(kind(FileKind::other).extensions, (QList<ExtensionTotal>{{"", 25, 25, 2}}));
    EXPECT_EQ(kind(FileKind::audio).items, 0);
    int64_t sum = 0;
    for (const KindTotal& total : kinds)
        sum += total.allocated;
    EXPECT_EQ(sum, tree.alloc(0));

    EXPECT_EQ(TreeBreakdown::fileTypes(tree, src)[qsizetype(FileKind::video)].items, 0);
    EXPECT_EQ(TreeBreakdown::extensionOf("x.TAR.GZ"), "gz");
    EXPECT_EQ(TreeBreakdown::extensionOf("name."), "");
    EXPECT_EQ(TreeBreakdown::extensionOf("a.sixteencharsxxxx"), "");
    EXPECT_EQ(fileKindFromString(toString(FileKind::diskImages)), FileKind::diskImages);
}
