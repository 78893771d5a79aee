#include "storage/FileTree.h"

#include "storage/ChartSegment.h"

#include <gtest/gtest.h>

using namespace velmox;

namespace {

constexpr uint16_t kDir = NodeFlag::directory;

// root/ { a/ { x (50), y (30) }, b (15), c (5) } with 1 byte of own size per folder.
FileTree smallTree() {
    FileTree tree(QStringLiteral("/data"), QStringLiteral("data"));
    tree.append(-1, kDir, 1, 1, 100, "data");
    const int32_t a = tree.append(0, kDir, 1, 1, 300, "a");
    tree.append(0, 0, 15, 150, 200, "b");
    tree.append(0, 0, 5, 50, 400, "c");
    tree.append(a, 0, 50, 500, 10, "x");
    tree.append(a, 0, 30, 300, 20, "y");
    return tree;
}

FileTree folderWithFiles(const std::vector<int64_t>& sizes) {
    FileTree tree(QStringLiteral("/f"), QString());
    tree.append(-1, kDir, 0, 0, 0, "f");
    for (size_t i = 0; i < sizes.size(); ++i)
        tree.append(0, 0, sizes[i], sizes[i], 0, QByteArray::number(qulonglong(i)));
    tree.sumFolderSizes();
    return tree;
}

} // namespace

TEST(FileTree, SumsFolderSizesAndItemsAndUndoesThem) {
    FileTree tree = smallTree();
    tree.sumFolderSizes();
    tree.sumFolderSizes(); // a second call adds nothing
    EXPECT_EQ(tree.alloc(0), 102);
    EXPECT_EQ(tree.logical(0), 1002);
    EXPECT_EQ(tree.alloc(1), 81);
    EXPECT_EQ(tree.items(0), 5u);
    EXPECT_EQ(tree.items(1), 2u);

    tree.unsumFolderSizes();
    EXPECT_EQ(tree.alloc(0), 1);
    EXPECT_EQ(tree.alloc(1), 1);
    EXPECT_EQ(tree.items(0), 0u);
    EXPECT_TRUE(tree.validate().has_value());
}

TEST(FileTree, FindsPathsAndNamesAsRawBytes) {
    FileTree tree(QStringLiteral("/"), QStringLiteral("Disk"));
    tree.append(-1, kDir, 0, 0, 0, "");
    const int32_t odd = tree.append(0, kDir, 0, 0, 0, QByteArray("bad\xff\nname"));
    const int32_t inner = tree.append(odd, 0, 0, 0, 0, "file");
    EXPECT_EQ(tree.pathBytes(inner), QByteArray("/bad\xff\nname/file"));
    EXPECT_EQ(tree.findPath(QByteArray("/bad\xff\nname/file")), inner);
    EXPECT_EQ(tree.findPath("/"), 0);
    EXPECT_EQ(tree.findPath("/bad"), std::nullopt);
    EXPECT_EQ(tree.findPath("/elsewhere/file"), std::nullopt);
}

TEST(FileTree, RejectsDamagedColumnsWithTheFirstProblem) {
    const FileTreeColumns good = smallTree().columns();
    const auto check = [&](auto damage, const QString& message) {
        FileTreeColumns columns = good;
        damage(columns);
        const auto tree = FileTree::fromColumns(QStringLiteral("/data"), {}, columns, false);
        ASSERT_FALSE(tree.has_value()) << message.toStdString();
        EXPECT_EQ(tree.error(), message);
    };
    ASSERT_TRUE(FileTree::fromColumns(QStringLiteral("/data"), {}, good, false).has_value());
    check([](FileTreeColumns& c) { c.mtime.pop_back(); },
          QStringLiteral("inconsistent array sizes"));
    // A child range that runs past the end of the columns, as from a damaged saved copy.
    check([](FileTreeColumns& c) { c.childCount[1] = 5; },
          QStringLiteral("node 6 is outside its parent's child range"));
    check([](FileTreeColumns& c) { c.parent[5] = 0; },
          QStringLiteral("node 5 is outside its parent's child range"));
    check([](FileTreeColumns& c) { c.logical[3] = -1; }, QStringLiteral("negative size at 3"));
    check([](FileTreeColumns& c) { c.flags[1] = 0; },
          QStringLiteral("the parent of node 4 is not a directory"));
    check([](FileTreeColumns& c) { c.nameLength[2] = 200; }, QStringLiteral("bad name range at 2"));
    // The root claiming a's first child as its own: the ranges overlap.
    check([](FileTreeColumns& c) { c.childCount[0] = 4; },
          QStringLiteral("node 4 is outside its parent's child range"));
    check(
        [](FileTreeColumns& c) {
            c.firstChild[1] = 3;
            c.childCount[1] = 3;
        },
        QStringLiteral("node 3 is outside its parent's child range"));
    // An offset that wraps past zero when the length is added.
    check([](FileTreeColumns& c) { c.nameOffset[2] = ~uint64_t{0}; },
          QStringLiteral("bad name range at 2"));
}

TEST(FileTree, SortsChildrenByEachKeyAndCachesTheOrder) {
    FileTree tree = smallTree();
    tree.sumFolderSizes();
    EXPECT_EQ(*tree.sortedChildren(0, TreeSortKey::real), (std::vector<int32_t>{1, 2, 3}));
    EXPECT_EQ(*tree.sortedChildren(0, TreeSortKey::logical), (std::vector<int32_t>{1, 2, 3}));
    EXPECT_EQ(*tree.sortedChildren(0, TreeSortKey::date), (std::vector<int32_t>{3, 1, 2}));
    EXPECT_EQ(*tree.sortedChildren(1, TreeSortKey::name), (std::vector<int32_t>{4, 5}));
    EXPECT_EQ(tree.sortCacheElements(), 11u);
    EXPECT_EQ(tree.sortedChildren(0, TreeSortKey::real), tree.sortedChildren(0, TreeSortKey::real));

    const QList<ChildRow> rows = tree.childRows(0, TreeSortKey::real);
    ASSERT_EQ(rows.size(), 3);
    EXPECT_EQ(rows[0],
              (ChildRow{QStringLiteral("a"), 81, QDateTime::fromSecsSinceEpoch(300, Qt::UTC),
                        NodeKind::folder, 1, true}));
    EXPECT_EQ(rows[2].kind, NodeKind::file);
    EXPECT_FALSE(rows[2].hasChildren);
}

TEST(FileTree, ReplacesASubtreeAndKeepsChildRangesContiguous) {
    FileTree tree = smallTree();
    tree.sumFolderSizes();
    FileTree fresh(QStringLiteral("/data/a"), {});
    fresh.append(-1, kDir, 2, 2, 999, "a");
    const int32_t sub = fresh.append(0, kDir, 4, 4, 0, "sub");
    fresh.append(0, 0, 100, 100, 0, "z");
    fresh.append(sub, 0, 7, 7, 0, "deep");
    fresh.sumFolderSizes();

    tree.replaceSubtree(1, fresh);
    ASSERT_TRUE(tree.validate().has_value()) << tree.validate().error().toStdString();
    EXPECT_EQ(tree.size(), 7);
    const auto a = tree.findPath("/data/a");
    ASSERT_TRUE(a);
    EXPECT_EQ(tree.alloc(*a), 113);
    EXPECT_EQ(tree.mtime(*a), 999);
    EXPECT_EQ(tree.alloc(0), 1 + 113 + 15 + 5);
    EXPECT_EQ(tree.items(0), 6u);
    EXPECT_TRUE(tree.findPath("/data/a/sub/deep").has_value());
    EXPECT_FALSE(tree.findPath("/data/a/x").has_value());
}

TEST(FileTree, ReplacingASubtreeStillCountsEachLinkedFileOnce) {
    // Four files with two names each, one inside and one outside the folder "a" that is
    // replaced: K1 counted inside, K2 outside, K3 inside but gone from the fresh copy,
    // K4 counted inside in both copies.
    constexpr uint16_t kLinked = NodeFlag::multiplyLinked;
    FileTree tree(QStringLiteral("/r"), {});
    tree.append(-1, kDir, 0, 0, 0, "r");
    const int32_t a = tree.append(0, kDir, 0, 0, 0, "a");
    const int32_t out1 = tree.append(0, kLinked, 0, 0, 0, "out1");
    const int32_t out2 = tree.append(0, kLinked, 200, 200, 0, "out2");
    const int32_t out3 = tree.append(0, kLinked, 0, 0, 0, "out3");
    const int32_t out4 = tree.append(0, kLinked, 0, 0, 0, "out4");
    const int32_t in1 = tree.append(a, kLinked, 100, 100, 0, "in1");
    const int32_t in2 = tree.append(a, kLinked, 0, 0, 0, "in2");
    const int32_t in3 = tree.append(a, kLinked, 300, 300, 0, "in3");
    const int32_t in4 = tree.append(a, kLinked, 400, 400, 0, "in4");
    // In node order, as a scan adds them.
    tree.addLinkedFile({out1, false, 1, 100, 100});
    tree.addLinkedFile({out2, true, 2, 200, 200});
    tree.addLinkedFile({out3, false, 3, 300, 300});
    tree.addLinkedFile({out4, false, 4, 400, 400});
    tree.addLinkedFile({in1, true, 1, 100, 100});
    tree.addLinkedFile({in2, false, 2, 200, 200});
    tree.addLinkedFile({in3, true, 3, 300, 300});
    tree.addLinkedFile({in4, true, 4, 400, 400});
    tree.sumFolderSizes();
    ASSERT_EQ(tree.alloc(0), 1000);

    // Read again on its own, "a" counts everything it holds.
    FileTree fresh(QStringLiteral("/r/a"), {});
    fresh.append(-1, kDir, 0, 0, 0, "a");
    fresh.append(0, kLinked, 100, 100, 0, "in1");
    fresh.append(0, kLinked, 200, 200, 0, "in2");
    fresh.append(0, kLinked, 400, 400, 0, "in4");
    for (int32_t node : {1, 2, 3})
        fresh.addLinkedFile(
            {node, true, LinkKey(node == 3 ? 4 : node), fresh.alloc(node), fresh.logical(node)});
    fresh.sumFolderSizes();

    tree.replaceSubtree(a, fresh);
    ASSERT_TRUE(tree.validate().has_value());
    EXPECT_EQ(tree.alloc(0), 1000);
    EXPECT_EQ(tree.logical(0), 1000);
    const auto sizeAt = [&](const char* path) {
        return tree.alloc(tree.findPath(QByteArray("/r/") + path).value_or(0));
    };
    EXPECT_EQ(sizeAt("a/in1"), 100); // counted nowhere else
    EXPECT_EQ(sizeAt("a/in2"), 0);   // already counted at out2
    EXPECT_EQ(sizeAt("out3"), 300);  // its counted name went away
    EXPECT_EQ(sizeAt("a/in4"), 400);
    EXPECT_EQ(sizeAt("a"), 500);
    EXPECT_EQ(tree.linkedFiles().size(), 7u);
    const FileTree copy = tree.copy();
    EXPECT_EQ(copy.linkedFiles(), tree.linkedFiles());
}

TEST(StorageChart, GivesLargeChildrenTheirOwnSegmentsUpToNine) {
    const FileTree twelve = folderWithFiles(std::vector<int64_t>(12, 1000));
    const QList<ChartSegment> segments = StorageChart::segments(twelve, 0, TreeSortKey::real);
    ASSERT_EQ(segments.size(), 10);
    for (int i = 0; i < 9; ++i) {
        EXPECT_EQ(segments[i].kind, ChartSegment::Kind::item);
        EXPECT_EQ(segments[i].colorIndex, i);
    }
    EXPECT_EQ(segments[9], (ChartSegment{QStringLiteral("Other files"), 3000, 9,
                                         ChartSegment::Kind::other, -1}));

    // 150 children of under 1 % each: nothing gets a segment of its own.
    const FileTree crumbs = folderWithFiles(std::vector<int64_t>(150, 10));
    const auto crumbSegments = StorageChart::segments(crumbs, 0, TreeSortKey::logical);
    ASSERT_EQ(crumbSegments.size(), 1);
    EXPECT_EQ(crumbSegments[0].label, QStringLiteral("Other files"));
    EXPECT_EQ(crumbSegments[0].bytes, 1500);

    // Exactly 1 % is enough; an empty folder yields nothing.
    const auto edge = StorageChart::segments(folderWithFiles({99, 1}), 0, TreeSortKey::real);
    EXPECT_EQ(edge.size(), 2);
    EXPECT_TRUE(StorageChart::segments(folderWithFiles({}), 0, TreeSortKey::real).isEmpty());
}

TEST(StorageChart, AddsUnscannedPurgeableAndFreeSpaceForAVolume) {
    const FileTree tree = folderWithFiles({600, 400});
    VolumeInfo volume;
    volume.total = 10000;
    volume.freeAvailable = 5000;
    volume.freeImportant = 4000;
    const auto segments = StorageChart::segments(tree, 0, TreeSortKey::real, volume);
    ASSERT_EQ(segments.size(), 5);
    EXPECT_EQ(segments[2].label, QStringLiteral("System & other (not scanned)"));
    EXPECT_EQ(segments[2].bytes, 10000 - 5000 - 1000);
    EXPECT_EQ(segments[3], (ChartSegment{QStringLiteral("Purgeable"), 1000, 11,
                                         ChartSegment::Kind::purgeable, -1}));
    EXPECT_EQ(segments[4].kind, ChartSegment::Kind::free);
    EXPECT_EQ(segments[4].bytes, 4000);

    const auto slices = StorageChart::slices(segments);
    EXPECT_DOUBLE_EQ(slices.first().startAngle, 0);
    EXPECT_DOUBLE_EQ(slices.last().endAngle, 360);
}

TEST(StorageChart, LabelsPercentagesAndItemCounts) {
    EXPECT_EQ(StorageChart::percentLabel(5, 10000), QStringLiteral("<0.1%"));
    EXPECT_EQ(StorageChart::percentLabel(10, 10000), QStringLiteral("0.1%"));
    EXPECT_EQ(StorageChart::percentLabel(996, 10000), QStringLiteral("10.0%"));
    EXPECT_EQ(StorageChart::percentLabel(1000, 10000), QStringLiteral("10%"));
    EXPECT_EQ(StorageChart::percentLabel(5, 0), QStringLiteral("<0.1%"));
    EXPECT_EQ(StorageChart::itemCount(1), QStringLiteral("1 item"));
    EXPECT_EQ(StorageChart::itemCount(0), QStringLiteral("0 items"));
    EXPECT_EQ(StorageChart::itemCount(12345), QStringLiteral("12345 items"));
}
