#include "tests/storagepage/StoragePageFixture.h"

#include <QTreeView>
#include <cerrno>
#include <cstring>
#include <sched.h>
#include <sys/mount.h>

using namespace velmox;
using namespace velmox::test;

namespace {

using StorageMountPointTest = StoragePageFixture;

// As root, with a file system mounted inside the scanned folder. The mount lives in a mount
// namespace of this thread's own (the scan's workers start from it), so it goes with the
// process whatever happens. VELMOX_STORAGEPAGE_SHOTS names a folder for a picture of it.
TEST_F(StorageMountPointTest, AFolderWithAnotherDiskMountedInItSaysWhyItIsNotCounted) {
    if (::geteuid() != 0)
        GTEST_SKIP() << "mounting a file system needs root";
    ASSERT_EQ(::unshare(CLONE_NEWNS), 0) << std::strerror(errno);
    ASSERT_EQ(::mount(nullptr, "/", nullptr, MS_REC | MS_PRIVATE, nullptr), 0)
        << std::strerror(errno);
    ASSERT_TRUE(QDir().mkpath(root + "/disk"));
    const QByteArray disk = QFile::encodeName(root + "/disk");
    ASSERT_EQ(::mount("velmox-test", disk.constData(), "tmpfs", 0, "size=4m"), 0)
        << std::strerror(errno);
    writeFile(root + "/disk/inside.bin", 500'000);

    auto page = makePage();
    page->show();
    ASSERT_NO_FATAL_FAILURE(scan(*page, root));
    const StorageChildModel& model = *page->model();
    const int row = rowNamed(model, "disk");
    ASSERT_GE(row, 0);
    EXPECT_EQ(cell(model, row, StorageChildModel::kind), "Other disk");
    EXPECT_EQ(cell(model, row, StorageChildModel::size), "not scanned");
    EXPECT_EQ(model.tree()->items(0), 9u) << "nothing inside the other disk is counted";

    const QString why =
        QStringLiteral("Another disk is mounted in this folder. It is not part of this scan.");
    EXPECT_EQ(model.data(model.index(row, StorageChildModel::name), Qt::ToolTipRole), why);
    EXPECT_TRUE(page->explanationText().isEmpty());
    page->list()->setCurrentIndex(model.index(row, StorageChildModel::name));
    EXPECT_EQ(page->explanationText(), why);
    QCoreApplication::processEvents();
    if (const QString folder = qEnvironmentVariable("VELMOX_STORAGEPAGE_SHOTS"); !folder.isEmpty())
        page->grab().save(folder + "/storage-page-mount-point.png");

    page->list()->setCurrentIndex(model.index(rowNamed(model, "big"), StorageChildModel::name));
    EXPECT_TRUE(page->explanationText().isEmpty());
    ::umount2(disk.constData(), MNT_DETACH);
}

} // namespace
