#pragma once

#include "app/pages/StorageChildModel.h"
#include "app/pages/StorageManagerPage.h"
#include "services/AppNavigationState.h"
#include "services/AppStatusCenter.h"
#include "storage/ScanCenter.h"
#include "tests/support/ManualClock.h"

#include <QCoreApplication>
#include <QDeadlineTimer>
#include <QDir>
#include <fcntl.h>
#include <gtest/gtest.h>
#include <sys/stat.h>
#include <unistd.h>

namespace velmox::test {

template <typename Condition> bool waitFor(Condition condition, int milliseconds = 60000) {
    const QDeadlineTimer deadline(milliseconds);
    while (!condition() && !deadline.hasExpired())
        QCoreApplication::processEvents(QEventLoop::AllEvents, 20);
    return condition();
}

inline void writeFile(const QString& path, qsizetype bytes) {
    QDir().mkpath(QFileInfo(path).path());
    QFile file(path);
    ASSERT_TRUE(file.open(QIODevice::WriteOnly)) << path.toStdString();
    ASSERT_EQ(file.write(QByteArray(bytes, 'v')), bytes);
}

inline struct stat statOf(const QString& path) {
    struct stat status {};
    EXPECT_EQ(::lstat(QFile::encodeName(path).constData(), &status), 0) << path.toStdString();
    return status;
}

inline QString cell(const StorageChildModel& model, int row, int column) {
    return model.data(model.index(row, column), Qt::DisplayRole).toString();
}

inline int rowNamed(const StorageChildModel& model, const QString& name) {
    for (int row = 0; row < model.rowCount(); ++row)
        if (cell(model, row, StorageChildModel::name) == name)
            return row;
    return -1;
}

// A page over its own scan centre, the scan's root a generated tree in the temporary home:
//   big/ (a.bin, b.bin, sub/c.bin), medium.bin, small.txt, and sparse.img, a file with a
//   large logical size and almost nothing allocated.
struct StoragePageFixture : ::testing::Test {
    ManualClock clock;
    AppNavigationState navigation;
    AppStatusCenter status{navigation, clock};
    ScanCenter center{clock, &status};
    QString root = QDir::homePath() + QStringLiteral("/fixture");
    QStringList privilegedLines;

    StoragePageFixture() {
        QDir(root).removeRecursively();
        writeFile(root + "/big/a.bin", 300'000);
        writeFile(root + "/big/b.bin", 200'000);
        writeFile(root + "/big/sub/c.bin", 100'000);
        writeFile(root + "/medium.bin", 150'000);
        writeFile(root + "/small.txt", 10);
        QFile sparse(root + "/sparse.img");
        EXPECT_TRUE(sparse.open(QIODevice::WriteOnly));
        EXPECT_TRUE(sparse.resize(8'000'000));
    }

    // `catalogs`: where the page opens saved catalogs from.
    std::unique_ptr<StorageManagerPage> makePage(StorageCatalogStore* catalogs = nullptr) {
        auto page = std::make_unique<StorageManagerPage>(
            center, navigation,
            [this](const QString& line) -> CommandResult {
                privilegedLines << line;
                return std::unexpected(CommandExecutorError::withMessage(QStringLiteral(
                    "Error executing command as another user: No authentication agent found.")));
            },
            nullptr, catalogs);
        page->resize(1000, 640);
        return page;
    }

    // Scans `path` on `page` and waits for the result.
    void scan(StorageManagerPage& page, const QString& path) {
        page.setScope(StorageManagerPage::folderScope(path));
        page.startScan();
        ASSERT_TRUE(waitFor([&] { return page.job()->state() == ScanJob::State::finished; }));
    }

    static QStringList names(const StorageChildModel& model) {
        QStringList list;
        for (int row = 0; row < model.rowCount(); ++row)
            list << model.data(model.index(row, StorageChildModel::name), Qt::DisplayRole)
                        .toString();
        return list;
    }
};

} // namespace velmox::test
