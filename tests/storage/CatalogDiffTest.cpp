#include "storage/CatalogDiff.h"

#include "ScanTestSupport.h"

#include <QDir>
#include <QTemporaryDir>
#include <cstdio>

using namespace velmox;
using namespace velmox::test;

namespace {

// A folder scanned before and after real changes:
//   docs/a grows, docs/b moves to photos/b, photos/p1 shrinks, photos/old/ goes away,
//   videos/ appears, music/ stays as it was, and in shelf/ a file moves from x/ to y/, so
//   shelf keeps its size.
struct DiffFixture : ::testing::Test {
    QTemporaryDir dir;
    QByteArray root = QFile::encodeName(dir.path());
    std::shared_ptr<FileTree> before;
    std::shared_ptr<FileTree> after;

    void SetUp() override {
        for (const char* folder :
             {"/docs", "/photos", "/photos/old", "/music", "/shelf", "/shelf/x", "/shelf/y"})
            makeFolder(root + folder);
        writeFile(root + "/docs/a", 100'000);
        writeFile(root + "/docs/b", 50'000);
        writeFile(root + "/photos/p1", 200'000);
        writeFile(root + "/photos/old/one", 30'000);
        writeFile(root + "/photos/old/two", 25'000);
        writeFile(root + "/music/m", 80'000);
        writeFile(root + "/shelf/x/f", 20'000);
        before = scanFolder(dir.path());
        ASSERT_TRUE(before);

        writeFile(root + "/docs/a", 400'000);
        ASSERT_EQ(std::rename(root + "/docs/b", root + "/photos/b"), 0);
        writeFile(root + "/photos/p1", 10'000);
        ASSERT_TRUE(QDir(dir.path() + QStringLiteral("/photos/old")).removeRecursively());
        makeFolder(root + "/videos");
        writeFile(root + "/videos/v", 500'000);
        ASSERT_EQ(std::rename(root + "/shelf/x/f", root + "/shelf/y/f"), 0);
        after = scanFolder(dir.path());
        ASSERT_TRUE(after);
    }

    static QStringList names(const CatalogDiff& diff, const std::vector<int32_t>& rows) {
        QStringList list;
        for (const int32_t row : rows)
            list << QString::fromUtf8(diff.relativePath(row));
        return list;
    }
};

TEST_F(DiffFixture, SaysPerFolderWhatGrewShrankAppearedAndVanishedLargestFirst) {
    const auto diff = CatalogDiff::compare(*before, *after, TreeSortKey::logical);
    ASSERT_TRUE(diff) << diff.error().toStdString();
    const CatalogDiff::Row& total = diff->row(0);
    EXPECT_EQ(total.before, before->logical(0));
    EXPECT_EQ(total.after, after->logical(0));

    // Unchanged music/ is left out; shelf/ stays because of the move inside it.
    EXPECT_EQ(names(*diff, diff->row(0).children),
              (QStringList{"videos", "docs", "photos", "shelf"}));
    const auto at = [&](const char* path) {
        const auto row = diff->findRelative(path);
        EXPECT_TRUE(row) << path;
        return row ? diff->row(*row) : CatalogDiff::Row{};
    };
    EXPECT_EQ(at("docs/a").change(), 300'000);
    EXPECT_EQ(at("docs/a").kind, CatalogDiff::Kind::grown);
    EXPECT_EQ(at("docs/b").kind, CatalogDiff::Kind::vanished);
    EXPECT_EQ(at("docs/b").before, 50'000);
    EXPECT_EQ(at("photos/b").kind, CatalogDiff::Kind::appeared);
    EXPECT_EQ(at("photos/p1").change(), -190'000);
    EXPECT_EQ(at("photos/old").kind, CatalogDiff::Kind::vanished);
    EXPECT_EQ(at("photos/old/one").kind, CatalogDiff::Kind::vanished);
    EXPECT_EQ(at("videos/v").after, 500'000);
    EXPECT_EQ(at("shelf").kind, CatalogDiff::Kind::unchanged);
    EXPECT_EQ(at("shelf/x/f").kind, CatalogDiff::Kind::vanished);
    EXPECT_EQ(at("shelf/y/f").kind, CatalogDiff::Kind::appeared);
    EXPECT_FALSE(diff->findRelative("music"));
    EXPECT_EQ(names(*diff, at("photos").children), (QStringList{"photos/p1", "photos/old", "photos/b"}));

    // A vanished item keeps the path it had; the folder that went stands for its files.
    EXPECT_EQ(diff->pathBytes(*diff->findRelative("photos/old")), root + "/photos/old");
    const QStringList largest = names(*diff, diff->largestChanges());
    EXPECT_TRUE(largest.contains("photos/old"));
    EXPECT_FALSE(largest.contains("photos/old/one"));
    EXPECT_FALSE(largest.contains("shelf"));
    EXPECT_FALSE(largest.contains("videos/v"));
    EXPECT_EQ(largest.mid(0, 3), (QStringList{"videos", "docs/a", "docs"}));
    EXPECT_EQ(diff->largestChanges(2).size(), 2u);
}

TEST_F(DiffFixture, MatchesRootsInDifferentPlacesAndRefusesAnIncompleteScan) {
    // The same folder copied elsewhere: every item matches by its path below the root.
    QTemporaryDir copy;
    QProcess cp;
    cp.start(QStringLiteral("/bin/cp"),
             {QStringLiteral("-a"), dir.path() + QStringLiteral("/."), copy.path()});
    ASSERT_TRUE(cp.waitForFinished(60000));
    ASSERT_EQ(cp.exitCode(), 0);
    const auto copied = scanFolder(copy.path());
    const auto same = CatalogDiff::compare(*after, *copied, TreeSortKey::logical);
    ASSERT_TRUE(same) << same.error().toStdString();
    EXPECT_EQ(same->size(), 1);
    EXPECT_TRUE(same->largestChanges().empty());

    FileTree paused = after->copy();
    paused.setFlags(0, paused.flags(0) | NodeFlag::incompleteRoot);
    const auto refused = CatalogDiff::compare(*before, paused);
    ASSERT_FALSE(refused);
    EXPECT_EQ(refused.error(), QStringLiteral("Open a finished, complete scan first."));
}

} // namespace
