#include "storage/ScanExclusions.h"

#include "ScanTestSupport.h"
#include "services/Clock.h"
#include "storage/CatalogFormat.h"
#include "storage/TreeBreakdown.h"
#include "tests/support/VelmoxProcess.h"

#include <QJsonArray>
#include <QJsonDocument>
#include <QJsonObject>
#include <QTemporaryDir>
#include <gtest/gtest.h>
#include <map>

using namespace velmox;
using namespace velmox::test;

namespace {

// A tree with something for each kind of pattern, and a copy of it with those items removed.
class ScanExclusionsTest : public ::testing::Test {
protected:
    void SetUp() override {
        ASSERT_TRUE(dir_.isValid());
        root_ = dir_.path().toUtf8() + "/tree";
        for (const char* folder : {"", "/keep", "/keep/deep", "/vms", "/build", "/build/out",
                                   "/build/out/x", "/src", "/src/cache-a", "/src/cache-a/in"})
            makeFolder(root_ + folder);
        writeFile(root_ + "/keep/a.txt", 5000);
        writeFile(root_ + "/keep/deep/disc.iso", 70000); // glob, two levels down
        writeFile(root_ + "/disc.iso", 9000);            // glob, at the root
        writeFile(root_ + "/keep/deep/b", 3000);
        writeFile(root_ + "/vms/big.img", 120000);  // absolute path
        writeFile(root_ + "/build/out/x/o", 40000); // relative path
        writeFile(root_ + "/build/kept", 1000);
        writeFile(root_ + "/src/cache-a/in/c", 20000); // glob on a folder's name
        writeFile(root_ + "/src/main.c", 800);
        // A hard link whose other name is excluded still counts where it is seen.
        ASSERT_EQ(::link((root_ + "/build/out/x/o").constData(), (root_ + "/keep/o2").constData()),
                  0);
        patterns_ = {QString::fromUtf8(root_ + "/vms/"), QStringLiteral("./build//out"),
                     QStringLiteral("*.iso"), QStringLiteral("cache-*")};
        excludedPaths_ = {"/vms", "/build/out", "/keep/deep/disc.iso", "/disc.iso", "/src/cache-a"};
    }

    std::shared_ptr<FileTree> scanWith(const QByteArray& root, const QStringList& patterns) {
        ScanConfiguration config =
            ScanConfiguration::build({ScanScope::Kind::folder, QString::fromUtf8(root), {}, {}});
        config.workerCount = 2;
        config.exclusions = ScanExclusions(patterns, config.rootPath);
        DiskScanner scanner(config);
        EXPECT_TRUE(scanner.start());
        scanner.waitForFinished();
        EXPECT_EQ(scanner.state(), DiskScanner::State::finished);
        return scanner.tree();
    }

    QTemporaryDir dir_;
    QByteArray root_;
    QStringList patterns_;
    QList<QByteArray> excludedPaths_;
};

// Every node below the root by its relative path.
std::map<QByteArray, int32_t> nodesOf(const FileTree& tree) {
    std::map<QByteArray, int32_t> nodes;
    const qsizetype root = tree.pathBytes(0).size();
    for (int32_t node = 1; node < tree.size(); ++node)
        nodes[tree.pathBytes(node).sliced(root)] = node;
    return nodes;
}

// The sizes of the files alone: a folder's own size depends on the file system's bookkeeping
// of the entries it had.
std::pair<int64_t, int64_t> fileTotals(const FileTree& tree) {
    std::pair<int64_t, int64_t> totals;
    for (int32_t node = 1; node < tree.size(); ++node)
        if (!tree.hasFlag(node, NodeFlag::directory)) {
            totals.first += tree.alloc(node);
            totals.second += tree.logical(node);
        }
    return totals;
}

} // namespace

TEST_F(ScanExclusionsTest, ScanSkipsWhatAScanOfThePrunedCopyNeverSaw) {
    const QByteArray copy = dir_.path().toUtf8() + "/copy";
    ASSERT_EQ(QProcess::execute(
                  QStringLiteral("/bin/cp"),
                  {QStringLiteral("-a"), QString::fromUtf8(root_), QString::fromUtf8(copy)}),
              0);
    for (const QByteArray& path : excludedPaths_)
        ASSERT_EQ(QProcess::execute(QStringLiteral("/bin/rm"),
                                    {QStringLiteral("-rf"), QString::fromUtf8(copy + path)}),
                  0);

    const auto skipped = scanWith(root_, patterns_);
    const auto pruned = scanWith(copy, {});
    ASSERT_TRUE(skipped && pruned);
    EXPECT_TRUE(skipped->validate());
    EXPECT_EQ(fileTotals(*skipped), fileTotals(*pruned));

    std::map<QByteArray, int32_t> nodes = nodesOf(*skipped);
    for (const QByteArray& path : excludedPaths_) {
        const auto found = nodes.find(path);
        ASSERT_NE(found, nodes.end()) << path.constData();
        const int32_t node = found->second;
        EXPECT_TRUE(skipped->hasFlag(node, NodeFlag::excluded)) << path.constData();
        EXPECT_EQ(skipped->alloc(node), 0);
        EXPECT_EQ(skipped->logical(node), 0);
        EXPECT_EQ(skipped->childCount(node), 0u) << "an excluded folder is not entered";
        nodes.erase(found);
    }
    std::map<QByteArray, int32_t> expected = nodesOf(*pruned);
    EXPECT_EQ(nodes.size(), expected.size());
    for (const auto& [path, node] : nodes) {
        EXPECT_TRUE(expected.contains(path)) << "not in the pruned copy: " << path.constData();
        EXPECT_FALSE(skipped->hasFlag(node, NodeFlag::excluded)) << path.constData();
    }

    // The breakdowns leave the excluded items out; the tree remembers what it skipped.
    for (const int32_t node : TreeBreakdown::largestFiles(*skipped, 0, TreeSortKey::real, 100))
        EXPECT_FALSE(skipped->hasFlag(node, NodeFlag::excluded));
    for (const KindTotal& kind : TreeBreakdown::fileTypes(*skipped, 0)) {
        if (kind.kind == FileKind::diskImages) {
            EXPECT_EQ(kind.items, 0);
        }
    }
    EXPECT_EQ(skipped->exclusions, ScanExclusions::normalized(patterns_));
}

TEST_F(ScanExclusionsTest, RescanOfOneFolderKeepsTheTreesExclusions) {
    QStringList patterns = patterns_;
    ScanJob job({ScanScope::Kind::folder, QString::fromUtf8(root_), {}, {}}, SystemClock::shared());
    job.setExclusionSource([&patterns](const ScanScope&) { return patterns; });
    job.start();
    ASSERT_TRUE(processEventsUntil([&] { return job.state() == ScanJob::State::finished; }));
    const auto scanned = job.tree();
    // Exclusions changed since the scan do not reach into the tree shown.
    patterns.clear();
    job.rescanFolder(*scanned->findPath(root_ + "/keep"));
    ASSERT_TRUE(processEventsUntil([&] { return job.tree() != scanned && !job.isBusy(); }));
    const auto updated = job.tree();
    EXPECT_EQ(fileTotals(*updated), fileTotals(*scanned));
    const auto iso = updated->findPath(root_ + "/keep/deep/disc.iso");
    ASSERT_TRUE(iso);
    EXPECT_TRUE(updated->hasFlag(*iso, NodeFlag::excluded));
    EXPECT_EQ(updated->exclusions, scanned->exclusions);

    // An excluded folder is not read by a rescan either.
    QString message;
    QObject::connect(&job, &ScanJob::messageChanged, [&message](const QString& m) { message = m; });
    job.rescanFolder(*updated->findPath(root_ + "/vms"));
    EXPECT_FALSE(job.isBusy());
    EXPECT_EQ(job.tree(), updated);
    EXPECT_TRUE(message.startsWith(QStringLiteral("\"vms\" is excluded from this scan")))
        << message.toStdString();
}

TEST(ScanExclusionPatterns, BadPatternsAreRefusedWithAReasonAndTheRestAreWrittenOneWay) {
    for (const char* bad : {"", "  ", "/", ".", "./", "../elsewhere", "build/../../x"}) {
        const Status checked = ScanExclusions::check(QString::fromUtf8(bad));
        ASSERT_FALSE(checked) << bad;
        EXPECT_TRUE(checked.error().endsWith(QLatin1Char('.'))) << checked.error().toStdString();
    }
    EXPECT_EQ(
        ScanExclusions::normalized({QStringLiteral(" b/c/ "), QStringLiteral("./b//c"),
                                    QStringLiteral("*.iso"), QStringLiteral("../x"),
                                    QStringLiteral("/abs/./p/")}),
        (QStringList{QStringLiteral("*.iso"), QStringLiteral("/abs/p"), QStringLiteral("b/c")}));
    // Written one way means written the same way again.
    const QStringList blanks = ScanExclusions::normalized({QStringLiteral("x/\v/")});
    EXPECT_EQ(blanks, QStringList{QStringLiteral("x")});
    EXPECT_EQ(ScanExclusions::normalized(blanks), blanks);

    const ScanExclusions exclusions(
        {QStringLiteral("name[0-9]"), QStringLiteral("out/*.o"), QStringLiteral("/elsewhere/x")},
        "/scan");
    EXPECT_TRUE(exclusions.excludes("/scan/a/b/name7"));
    EXPECT_FALSE(exclusions.excludes("/scan/a/name"));
    EXPECT_TRUE(exclusions.excludes("/scan/out/m.o"));
    EXPECT_FALSE(exclusions.excludes("/scan/deeper/out/m.o")) << "a path glob is anchored";
    EXPECT_FALSE(exclusions.excludes("/scan/out/sub/m.o")) << "* does not cross a slash";
    EXPECT_TRUE(exclusions.excludes("/elsewhere/x"));
    EXPECT_FALSE(exclusions.excludes("/elsewhere/x/inside")) << "the walk never gets there";
    EXPECT_FALSE(ScanExclusions({}, "/scan").inFolder("/scan").active());
}

TEST_F(ScanExclusionsTest, CatalogKeepsTheExclusionsAndOlderRecordsHaveNone) {
    const auto skipped = scanWith(root_, patterns_);
    ASSERT_TRUE(skipped);
    CatalogContents contents{skipped->copy(), catalogMetaFor(*skipped, {}, QDateTime()), {}, {}};
    const auto encoded = CatalogFormat::encode(contents);
    ASSERT_TRUE(encoded) << encoded.error().toStdString();
    const auto decoded = CatalogFormat::decode(*encoded, CatalogFormat::maxDecodedSize());
    ASSERT_TRUE(decoded) << decoded.error().message().toStdString();
    EXPECT_EQ(decoded->tree.exclusions, skipped->exclusions);
    EXPECT_EQ(decoded->meta.exclusions, skipped->exclusions);
    EXPECT_EQ(decoded->tree.columns(), skipped->columns()) << "the excluded flag is kept";

    QJsonObject older = toJson(contents.meta);
    older.remove(QStringLiteral("exclusions"));
    const auto meta = catalogMetaFromJson(older);
    ASSERT_TRUE(meta);
    EXPECT_TRUE(meta->exclusions.isEmpty());
    older.insert(QStringLiteral("exclusions"), QJsonArray{3});
    EXPECT_FALSE(catalogMetaFromJson(older)) << "a pattern is text";
}

TEST_F(ScanExclusionsTest, CommandLineExcludesAndSaysWhat) {
    const QString root = QString::fromUtf8(root_);
    QStringList args{QStringLiteral("scan"),      root,
                     QStringLiteral("--json"),    QStringLiteral("--types"),
                     QStringLiteral("--largest"), QStringLiteral("3")};
    for (const QString& pattern : std::as_const(patterns_))
        args << QStringLiteral("--exclude") << pattern;
    const VelmoxRun run = runVelmox(args);
    ASSERT_EQ(run.exitCode, 0) << run.err.toStdString();
    const QJsonObject result = QJsonDocument::fromJson(run.out).object();
    const auto tree = scanWith(root_, patterns_);
    EXPECT_EQ(result.value(QStringLiteral("allocated")).toInteger(), tree->alloc(0));
    EXPECT_EQ(result.value(QStringLiteral("exclusions")).toArray().toVariantList(),
              QVariant(ScanExclusions::normalized(patterns_)).toList());
    for (const QJsonValue& file : result.value(QStringLiteral("largest")).toArray())
        EXPECT_FALSE(file.toObject().value(QStringLiteral("path")).toString().endsWith(".iso"));

    // The cache made with these exclusions answers only for the same ones.
    const VelmoxRun other = runVelmox({QStringLiteral("scan"), root, QStringLiteral("--cached"),
                                       QStringLiteral("--exclude"), QStringLiteral("keep")});
    EXPECT_EQ(other.exitCode, 1);
    EXPECT_TRUE(other.err.contains("skipped other items than these exclusions"))
        << other.err.toStdString();
    const VelmoxRun same = runVelmox({QStringLiteral("scan"), root, QStringLiteral("--cached"),
                                      QStringLiteral("--exclude"), QStringLiteral("*.iso"),
                                      QStringLiteral("--exclude"), QStringLiteral("cache-*"),
                                      QStringLiteral("--exclude"), QStringLiteral("build/out"),
                                      QStringLiteral("--exclude"), root + "/vms"});
    EXPECT_EQ(same.exitCode, 0) << same.err.toStdString();
    EXPECT_TRUE(same.out.contains("Excluded: ")) << same.out.toStdString();

    const VelmoxRun bad = runVelmox(
        {QStringLiteral("scan"), root, QStringLiteral("--exclude"), QStringLiteral("../up")});
    EXPECT_EQ(bad.exitCode, 2);
    EXPECT_TRUE(bad.err.contains("leads out of the scanned folder")) << bad.err.toStdString();
}

TEST_F(ScanExclusionsTest, CheckpointIsContinuedOnlyWithTheSameExclusions) {
    const auto velmox = [&](const QStringList& options, const QStringList& patterns) {
        QStringList args{QStringLiteral("scan"), QString::fromUtf8(root_), QStringLiteral("--json"),
                         QStringLiteral("--workers"), QStringLiteral("1")};
        for (const QString& pattern : patterns)
            args << QStringLiteral("--exclude") << pattern;
        const VelmoxRun run = runVelmox(args + options);
        return std::pair{run.exitCode, QJsonDocument::fromJson(run.out).object()};
    };
    const QStringList capped{QStringLiteral("--max-items"), QStringLiteral("5")};
    ASSERT_EQ(velmox(capped, patterns_).first, 3);
    const auto [status, other] = velmox({QStringLiteral("--resume")}, {QStringLiteral("*.iso")});
    EXPECT_EQ(status, 0);
    EXPECT_EQ(other.value(QStringLiteral("mode")).toString(), QStringLiteral("full"));
    EXPECT_TRUE(other.value(QStringLiteral("note"))
                    .toString()
                    .contains(QStringLiteral("skipped other items than the exclusions now set")))
        << other.value(QStringLiteral("note")).toString().toStdString();

    ASSERT_EQ(velmox(capped, patterns_).first, 3);
    const auto [resumedStatus, resumed] = velmox({QStringLiteral("--resume")}, patterns_);
    EXPECT_EQ(resumedStatus, 0);
    EXPECT_EQ(resumed.value(QStringLiteral("mode")).toString(), QStringLiteral("resumed"));
    const auto full = scanWith(root_, patterns_);
    EXPECT_EQ(resumed.value(QStringLiteral("allocated")).toInteger(), full->alloc(0));
    EXPECT_EQ(resumed.value(QStringLiteral("items")).toInteger(), full->items(0));
}
