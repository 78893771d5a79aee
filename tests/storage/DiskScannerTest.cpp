#include "storage/DiskScanner.h"

#include "ScanTestSupport.h"
#include "storage/DirectoryReader.h"

#include <QDir>
#include <QFile>
#include <QProcess>
#include <QScopeGuard>
#include <QTemporaryDir>
#include <cstring>
#include <gtest/gtest.h>
#include <linux/capability.h>
#include <sys/mount.h>
#include <sys/stat.h>
#include <sys/syscall.h>
#include <unistd.h>

using namespace velmox;
using namespace velmox::test;

namespace {

// A tree with the awkward cases a real disk has: hard links, symbolic links (to a file,
// to a folder, dangling), a sparse file, names with a newline and with bytes that are not
// UTF-8, deep nesting, hidden names, a pipe, a package and empty folders.
class GeneratedTree : public ::testing::Test {
protected:
    void SetUp() override {
        ASSERT_TRUE(dir_.isValid());
        root_ = dir_.path().toUtf8() + "/tree";
        makeFolder(root_);
        makeFolder(root_ + "/docs");
        for (int i = 0; i < 40; ++i)
            writeFile(root_ + "/docs/file" + QByteArray::number(i), i * 1111);
        writeFile(root_ + "/docs/shared", 50000);
        ASSERT_EQ(::link((root_ + "/docs/shared").constData(), (root_ + "/linked-a").constData()),
                  0);
        ASSERT_EQ(::link((root_ + "/docs/shared").constData(), (root_ + "/linked-b").constData()),
                  0);
        ASSERT_EQ(::symlink("docs/file3", (root_ + "/to-file").constData()), 0);
        ASSERT_EQ(::symlink("docs", (root_ + "/to-folder").constData()), 0);
        ASSERT_EQ(::symlink("/nowhere/at/all", (root_ + "/dangling").constData()), 0);
        const int sparse = ::open((root_ + "/sparse").constData(), O_WRONLY | O_CREAT, 0644);
        ASSERT_GE(sparse, 0);
        ASSERT_EQ(::pwrite(sparse, "x", 1, 64 * 1024 * 1024), 1);
        ::close(sparse);
        makeFolder(root_ + "/new\nline");
        writeFile(root_ + "/new\nline/bad\xff\xfe name", 3000);
        makeFolder(root_ + "/.hidden");
        writeFile(root_ + "/.hidden/.dot", 10);
        makeFolder(root_ + "/Tool.app");
        writeFile(root_ + "/Tool.app/binary", 7000);
        ASSERT_EQ(::mkfifo((root_ + "/pipe").constData(), 0644), 0);
        makeFolder(root_ + "/empty folder");
        QByteArray deep = root_ + "/deep";
        for (int level = 0; level < 300; ++level) {
            makeFolder(deep);
            deep += "/d";
        }
        writeFile(deep, 123);
    }

    int32_t node(const FileTree& tree, const QByteArray& relative) {
        const auto found = tree.findPath(root_ + relative);
        EXPECT_TRUE(found.has_value()) << relative.constData();
        return found.value_or(0);
    }

    QTemporaryDir dir_;
    QByteArray root_;
};

// Takes the overrides of file permissions out of this thread's effective capabilities
// while it lives, so that root meets a folder's permissions like any other user; threads
// started meanwhile keep the reduced set. Does nothing for other users.
class FilePermissionsApply {
public:
    FilePermissionsApply() {
        if (::geteuid() != 0)
            return;
        header_.version = _LINUX_CAPABILITY_VERSION_3;
        EXPECT_EQ(::syscall(SYS_capget, &header_, saved_), 0);
        __user_cap_data_struct reduced[2];
        std::memcpy(reduced, saved_, sizeof(reduced));
        reduced[0].effective &= ~((1u << CAP_DAC_OVERRIDE) | (1u << CAP_DAC_READ_SEARCH));
        EXPECT_EQ(::syscall(SYS_capset, &header_, reduced), 0);
    }
    ~FilePermissionsApply() {
        if (::geteuid() == 0)
            ::syscall(SYS_capset, &header_, saved_);
    }

private:
    __user_cap_header_struct header_{};
    __user_cap_data_struct saved_[2]{};
};

int failOnBad(int folderFd, const char* name, struct stat* status, int flags) {
    if (std::strcmp(name, "bad") == 0) {
        errno = EIO;
        return -1;
    }
    return ::fstatat(folderFd, name, status, flags);
}

// Runs a tool to its end; false with its error output in `error` when it fails.
bool run(const QString& program, const QStringList& args, QByteArray* out = nullptr,
         QByteArray* error = nullptr) {
    QProcess process;
    process.start(program, args);
    const bool ok = process.waitForFinished(120000) &&
                    process.exitStatus() == QProcess::NormalExit && process.exitCode() == 0;
    if (out)
        *out = process.readAllStandardOutput().trimmed();
    if (error)
        *error = process.readAllStandardError();
    return ok;
}

} // namespace

TEST_F(GeneratedTree, TotalsEqualDuWithOneOrSeveralWorkers) {
    const auto [duAllocated, duLogical] = duTotals(QString::fromUtf8(root_));
    for (int workers : {1, 3}) {
        const auto tree = scanFolder(QString::fromUtf8(root_), workers);
        ASSERT_TRUE(tree);
        EXPECT_EQ(tree->alloc(0), duAllocated) << workers << " workers";
        EXPECT_EQ(tree->logical(0), duLogical) << workers << " workers";
        // docs 42, links 2 + 3, sparse, 2 folders of 2, Tool.app 2, pipe, empty, deep 301.
        EXPECT_EQ(tree->items(0), 357u) << workers << " workers";
        EXPECT_TRUE(tree->validate().has_value());
    }
}

TEST_F(GeneratedTree, MarksEachKindOfEntry) {
    const auto tree = scanFolder(QString::fromUtf8(root_));
    ASSERT_TRUE(tree);
    const FileTree& t = *tree;

    // The three names of one file: exactly one carries its size.
    int64_t linkedBytes = 0;
    for (const char* name : {"/docs/shared", "/linked-a", "/linked-b"}) {
        EXPECT_TRUE(t.hasFlag(node(t, name), NodeFlag::multiplyLinked)) << name;
        linkedBytes += t.logical(node(t, name));
    }
    EXPECT_EQ(linkedBytes, 50000);

    EXPECT_EQ(t.kind(node(t, "/to-folder")), NodeKind::symbolicLink);
    EXPECT_EQ(t.childCount(node(t, "/to-folder")), 0u);
    EXPECT_EQ(t.kind(node(t, "/dangling")), NodeKind::symbolicLink);
    EXPECT_EQ(t.kind(node(t, "/pipe")), NodeKind::other);
    EXPECT_EQ(t.kind(node(t, "/Tool.app")), NodeKind::package);
    EXPECT_TRUE(t.hasFlag(node(t, "/.hidden"), NodeFlag::hidden));
    EXPECT_FALSE(t.hasFlag(node(t, "/docs"), NodeFlag::hidden));
    EXPECT_EQ(t.logical(node(t, "/sparse")), 64 * 1024 * 1024 + 1);
    EXPECT_LT(t.alloc(node(t, "/sparse")), 1024 * 1024);
    EXPECT_EQ(t.logical(node(t, "/new\nline/bad\xff\xfe name")), 3000);
    EXPECT_EQ(t.items(node(t, "/deep")), 300u);
    EXPECT_EQ(t.childCount(node(t, "/empty folder")), 0u);
}

TEST_F(GeneratedTree, StopsAtTheMemoryCapAndResumesWhereItStopped) {
    const auto whole = scanFolder(QString::fromUtf8(root_));
    ScanConfiguration config =
        ScanConfiguration::build({ScanScope::Kind::folder, QString::fromUtf8(root_), {}, {}});
    config.workerCount = 2;
    DiskScanner scanner(config, 30);
    int finishes = 0;
    scanner.onFinish = [&](DiskScanner&) { ++finishes; };
    ASSERT_TRUE(scanner.start());
    scanner.waitForFinished();
    ASSERT_EQ(scanner.state(), DiskScanner::State::stoppedForSize);
    const int64_t stoppedAt = scanner.entries();
    EXPECT_GE(stoppedAt, 30);
    EXPECT_LT(stoppedAt, whole->size());
    EXPECT_TRUE(scanner.note().startsWith(
        QStringLiteral("The scan was paused after %1 items to protect").arg(stoppedAt)));
    {
        const auto partial = scanner.tree();
        EXPECT_EQ(partial->flags(0) & NodeFlag::incompleteRoot, NodeFlag::incompleteRoot);
        EXPECT_TRUE(partial->validate().has_value());
    }

    ASSERT_TRUE(scanner.resume());
    scanner.waitForFinished();
    EXPECT_EQ(scanner.entryCap(), stoppedAt + 1'000'000);
    EXPECT_EQ(scanner.state(), DiskScanner::State::finished);
    EXPECT_EQ(finishes, 2);
    const auto tree = scanner.tree();
    EXPECT_EQ(tree->size(), whole->size());
    EXPECT_EQ(tree->alloc(0), whole->alloc(0));
    EXPECT_EQ(tree->logical(0), whole->logical(0));
    EXPECT_EQ(tree->flags(0), NodeFlag::directory);
    EXPECT_FALSE(scanner.resume());
}

TEST_F(GeneratedTree, RescannedFoldersKeepTotalsEqualToAFreshScanAndDu) {
    // One file with names in "docs", in "other" and at the top; one with both names in
    // "docs". Whichever name a scan counts, rescanning "docs" and then "other" would count
    // the first file a second time if a rescan forgot what the rest of the tree counted.
    makeFolder(root_ + "/other");
    ASSERT_EQ(::link((root_ + "/docs/shared").constData(), (root_ + "/other/shared").constData()),
              0);
    ASSERT_EQ(
        ::link((root_ + "/docs/file7").constData(), (root_ + "/docs/file7-again").constData()), 0);
    auto tree = scanFolder(QString::fromUtf8(root_));
    ASSERT_TRUE(tree);
    const auto rescan = [&](const QByteArray& relative) {
        const auto fresh = scanFolder(QString::fromUtf8(root_ + relative));
        ASSERT_TRUE(fresh);
        tree->replaceSubtree(node(*tree, relative), *fresh);
    };
    const auto expectFreshTotals = [&](const char* step) {
        const auto whole = scanFolder(QString::fromUtf8(root_));
        const auto [duAllocated, duLogical] = duTotals(QString::fromUtf8(root_));
        EXPECT_EQ(tree->alloc(0), whole->alloc(0)) << step;
        EXPECT_EQ(tree->alloc(0), duAllocated) << step;
        EXPECT_EQ(tree->logical(0), duLogical) << step;
        EXPECT_EQ(tree->items(0), whole->items(0)) << step;
    };
    rescan("/docs");
    rescan("/other");
    expectFreshTotals("after rescanning docs and other");

    // Whichever name carried the size, removing one and rescanning its folder leaves the
    // file counted once at a name that is left.
    ASSERT_EQ(::unlink((root_ + "/docs/shared").constData()), 0);
    rescan("/docs");
    ASSERT_EQ(::unlink((root_ + "/other/shared").constData()), 0);
    rescan("/other");
    expectFreshTotals("after removing two names");
}

TEST_F(GeneratedTree, AnEntryThatCannotBeLookedAtCostsOnlyItself) {
    // The reader keeps the rest of the folder when one entry fails.
    DirectoryReader reader(&failOnBad);
    const QByteArray folder = dir_.path().toUtf8() + "/listing";
    makeFolder(folder);
    writeFile(folder + "/a", 1000);
    makeFolder(folder + "/bad");
    writeFile(folder + "/c", 10);
    DirListing listing;
    const auto result = reader.read(AT_FDCWD, folder.constData(), listing, false, false);
    ASSERT_EQ(result.outcome, DirectoryReader::Outcome::listing);
    ASSERT_EQ(listing.size(), 3u);
    ASSERT_EQ(listing.failedEntries.size(), 1u);
    EXPECT_EQ(listing.failedErrors, std::vector<int>{EIO});
    const uint32_t bad = listing.failedEntries[0];
    EXPECT_EQ(listing.flags[bad], NodeFlag::directory | NodeFlag::notRead);
    EXPECT_EQ(listing.alloc[bad] + listing.logical[bad], 0);
    EXPECT_EQ(listing.logical[0] + listing.logical[1] + listing.logical[2], 1010);

    // The walk: a folder that can be listed but not searched (read without execute
    // permission) opens fine, but nothing in it can be looked at.
    const QByteArray locked = root_ + "/Tool.app";
    ASSERT_EQ(::chmod(locked.constData(), 0644), 0);
    DiskScanner scanner(
        ScanConfiguration::build({ScanScope::Kind::folder, QString::fromUtf8(root_), {}, {}}));
    std::shared_ptr<FileTree> tree;
    {
        const FilePermissionsApply asAnyUser;
        tree = scanFolder(QString::fromUtf8(root_), 0, &scanner);
    }
    ::chmod(locked.constData(), 0755);
    ASSERT_TRUE(tree);
    const int32_t folderNode = node(*tree, "/Tool.app");
    EXPECT_FALSE(tree->hasFlag(folderNode, NodeFlag::blocked));
    const int32_t binary = node(*tree, "/Tool.app/binary");
    EXPECT_TRUE(tree->hasFlag(binary, NodeFlag::blocked | NodeFlag::notRead));
    EXPECT_EQ(scanner.blockedNodes(), std::vector<int32_t>{binary});
    EXPECT_EQ(scanner.unreadableCount(), 1);
    ASSERT_EQ(scanner.unreadableSamples().size(), 1);
    EXPECT_EQ(scanner.unreadableSamples()[0].path, locked + "/binary");
    EXPECT_EQ(scanner.unreadableSamples()[0].reason.label(),
              QStringLiteral("Needs administrator rights"));
    EXPECT_EQ(tree->items(0), 357u);
}

TEST_F(GeneratedTree, KeepsMountedFileSystemsAsMountPointsWithoutEnteringThem) {
    if (::geteuid() != 0)
        GTEST_SKIP() << "mounting needs root";
    // The blank in the name reaches the mount table escaped.
    const QByteArray tmpfs = root_ + "/empty folder";
    const QByteArray bound = root_ + "/Tool.app";
    // What the scan should see: everything but the two folders that get covered.
    const int64_t expected = duTotals(QString::fromUtf8(root_)).first -
                             duTotals(QString::fromUtf8(tmpfs)).first -
                             duTotals(QString::fromUtf8(bound)).first;
    ASSERT_EQ(::mount("velmox-test", tmpfs.constData(), "tmpfs", 0, "size=4m"), 0);
    writeFile(tmpfs + "/on-tmpfs", 100000);
    // A bind mount shares the device of the tree, so only the mount table reveals it.
    ASSERT_EQ(::mount((root_ + "/docs").constData(), bound.constData(), nullptr, MS_BIND, nullptr),
              0);

    const auto tree = scanFolder(QString::fromUtf8(root_));
    const auto mount = MountTable::current().mountOf(tmpfs + "/on-tmpfs");
    ::umount(tmpfs.constData());
    ::umount(bound.constData());
    ASSERT_TRUE(mount);
    EXPECT_EQ(mount->mountPoint, tmpfs);
    EXPECT_EQ(mount->fileSystemType, QStringLiteral("tmpfs"));
    EXPECT_EQ(mount->source, QByteArray("velmox-test"));
    ASSERT_TRUE(tree);
    for (const QByteArray& path : {tmpfs, bound}) {
        const auto mounted = tree->findPath(path);
        ASSERT_TRUE(mounted);
        EXPECT_EQ(tree->kind(*mounted), NodeKind::mountPoint);
        EXPECT_EQ(tree->childCount(*mounted), 0u);
        EXPECT_EQ(tree->alloc(*mounted), 0);
    }
    EXPECT_EQ(tree->alloc(0), expected);
}

TEST(DiskScanner, EntersBtrfsSubvolumes) {
    if (::geteuid() != 0)
        GTEST_SKIP() << "attaching a loop device and mounting need root";
    if (!QFile::exists(QStringLiteral("/dev/loop-control")))
        GTEST_SKIP() << "this system has no loop devices";
    QTemporaryDir dir;
    const QByteArray image = dir.path().toUtf8() + "/btrfs.img";
    const QByteArray volume = dir.path().toUtf8() + "/volume";
    const int fd = ::open(image.constData(), O_WRONLY | O_CREAT, 0600);
    ASSERT_GE(fd, 0);
    ASSERT_EQ(::ftruncate(fd, 256 * 1024 * 1024), 0);
    ::close(fd);
    QByteArray loop;
    QByteArray error;
    if (!run(QStringLiteral("/usr/sbin/losetup"),
             {QStringLiteral("--find"), QStringLiteral("--show"), QString::fromUtf8(image)}, &loop,
             &error))
        GTEST_SKIP() << "no loop device could be attached: " << error.toStdString();
    makeFolder(volume);
    const auto detach = qScopeGuard([&] {
        ::umount(volume.constData());
        run(QStringLiteral("/usr/sbin/losetup"), {QStringLiteral("-d"), QString::fromUtf8(loop)});
    });
    ASSERT_TRUE(run(QStringLiteral("/usr/sbin/mkfs.btrfs"),
                    {QStringLiteral("-q"), QString::fromUtf8(loop)}, nullptr, &error))
        << error.toStdString();
    ASSERT_EQ(::mount(loop.constData(), volume.constData(), "btrfs", 0, nullptr), 0);
    writeFile(volume + "/top", 100000);
    ASSERT_TRUE(run(
        QStringLiteral("/usr/bin/btrfs"),
        {QStringLiteral("subvolume"), QStringLiteral("create"), QString::fromUtf8(volume + "/sub")},
        nullptr, &error))
        << error.toStdString();
    makeFolder(volume + "/sub/inner");
    writeFile(volume + "/sub/inner/file", 300000);
    writeFile(volume + "/sub/small", 5000);
    ::sync();
    struct stat top {};
    struct stat sub {};
    ASSERT_EQ(::stat(volume.constData(), &top), 0);
    ASSERT_EQ(::stat((volume + "/sub").constData(), &sub), 0);
    ASSERT_NE(top.st_dev, sub.st_dev) << "a subvolume has a device number of its own";

    const auto tree = scanFolder(QString::fromUtf8(volume));
    ASSERT_TRUE(tree);
    const auto subvolume = tree->findPath(volume + "/sub");
    ASSERT_TRUE(subvolume);
    EXPECT_EQ(tree->kind(*subvolume), NodeKind::folder);
    EXPECT_EQ(tree->items(*subvolume), 3u);
    const auto [duAllocated, duLogical] = duTotals(QString::fromUtf8(volume));
    EXPECT_EQ(tree->alloc(0), duAllocated);
    EXPECT_EQ(tree->logical(0), duLogical);
}

TEST(DiskScanner, ReportsAMissingRootAndCancels) {
    DiskScanner missing(ScanConfiguration::build(
        {ScanScope::Kind::folder, QStringLiteral("/no/such/folder"), {}, {}}));
    const Status started = missing.start();
    ASSERT_FALSE(started);
    EXPECT_EQ(started.error(),
              QStringLiteral("\"/no/such/folder\" does not exist, so it cannot be scanned."));

    DiskScanner scanner(
        ScanConfiguration::build({ScanScope::Kind::folder, QStringLiteral("/usr"), {}, {}}));
    ASSERT_TRUE(scanner.start());
    scanner.cancel();
    ASSERT_TRUE(scanner.waitForFinished(std::chrono::seconds(30)));
    EXPECT_EQ(scanner.state(), DiskScanner::State::cancelled);
    EXPECT_FALSE(scanner.resume());
}

TEST(DiskScanner, RecognisesPackagesByTheirLastExtensionInAnyCase) {
    const auto isPackage = [](std::string_view name) {
        return DirectoryReader::isPackageName(name.data(), name.size());
    };
    for (std::string_view yes : {"Safari.APP", "x.tar.pkg", "Plug In.Plugin", "a.photoslibrary"})
        EXPECT_TRUE(isPackage(yes)) << yes;
    // Hidden names, near misses in length and content, and an extension too long to be one.
    for (std::string_view no :
         {".app", "Mail.ap", "Mail.apps", "x.pkg.gz", "a.photoslibraryx", "a.xphotoslibrary", "a."})
        EXPECT_FALSE(isPackage(no)) << no;
}
