#include "cleaning/FolderSize.h"

#include "tests/cleaning/CleaningTestSupport.h"

#include <QTemporaryDir>
#include <gtest/gtest.h>
#include <unistd.h>

using namespace velmox;
using namespace velmox::test;

namespace {

constexpr qint64 kMiB = 1024 * 1024;

class FolderSizeTest : public ::testing::Test {
protected:
    QString path(const QString& name) const { return folder.filePath(name); }
    qint64 size(const QString& name) const { return FolderSize::allocatedBytes(path(name)); }

    QTemporaryDir folder;
};

TEST_F(FolderSizeTest, CountsAllocatedBlocksNotLengths) {
    writeFile(path("tree/data/one.bin"), QByteArray(kMiB, 'x'));
    QFile sparse(path("tree/sparse.bin"));
    ASSERT_TRUE(sparse.open(QIODevice::WriteOnly));
    ASSERT_TRUE(sparse.resize(100 * kMiB)); // a hole: long, but takes no space
    sparse.close();
    const qint64 total = size("tree");
    EXPECT_GE(total, kMiB);
    EXPECT_LT(total, kMiB + 256 * 1024);
    EXPECT_EQ(size("missing"), 0);
}

TEST_F(FolderSizeTest, CountsHardLinksOnceAndNeverFollowsSymbolicLinks) {
    writeFile(path("a/big.bin"), QByteArray(2 * kMiB, 'x'));
    writeFile(path("outside/other.bin"), QByteArray(2 * kMiB, 'y'));
    const qint64 alone = size("a");
    ASSERT_TRUE(QDir().mkpath(path("b")));
    for (const char* name : {"a/again.bin", "b/same.bin"})
        ASSERT_EQ(::link(QFile::encodeName(path("a/big.bin")).constData(),
                         QFile::encodeName(path(name)).constData()),
                  0);
    ASSERT_TRUE(QFile::link(path("outside"), path("a/link-to-outside")));
    EXPECT_LT(size("a") - alone, 64 * 1024);
    const qint64 together = FolderSize::allocatedBytes(QStringList{path("a"), path("b")});
    EXPECT_LT(together, size("a") + size("b") - kMiB);
}

} // namespace
