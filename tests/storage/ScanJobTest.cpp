#include "ScanTestSupport.h"
#include "services/AppNavigationState.h"
#include "services/AppStatusCenter.h"
#include "storage/ScanCenter.h"

#include <QCoreApplication>
#include <QElapsedTimer>
#include <QTemporaryDir>
#include <gtest/gtest.h>

using namespace velmox;
using namespace velmox::test;

namespace {

class ScanJobTest : public ::testing::Test {
protected:
    void SetUp() override {
        ASSERT_TRUE(dir_.isValid());
        root_ = dir_.path().toUtf8() + "/Music";
        makeFolder(root_);
        makeFolder(root_ + "/albums");
        for (int i = 0; i < 20; ++i)
            writeFile(root_ + "/albums/track" + QByteArray::number(i), 10000);
    }
    ScanScope scope() const {
        return {ScanScope::Kind::folder, QString::fromUtf8(root_), QStringLiteral("Music"), {}};
    }

    QTemporaryDir dir_;
    QByteArray root_;
    AppNavigationState navigation_;
    AppStatusCenter status_{navigation_, SystemClock::shared()};
    ScanCenter center_{SystemClock::shared(), &status_};
};

} // namespace

TEST_F(ScanJobTest, OneJobPerScopeScansAndReportsOnTheStatusLine) {
    ScanJob* job = center_.job(scope());
    EXPECT_EQ(center_.job(scope()), job);
    EXPECT_NE(center_.job({ScanScope::Kind::home, QString::fromUtf8(root_), {}, {}}), job);

    job->start();
    EXPECT_EQ(job->state(), ScanJob::State::scanning);
    EXPECT_EQ(status_.message(), QStringLiteral("Scanning Storage: Music..."));
    EXPECT_TRUE(status_.isActive());
    ASSERT_TRUE(processEventsUntil([&] { return job->state() == ScanJob::State::finished; }));
    ASSERT_TRUE(job->tree());
    EXPECT_EQ(job->tree()->items(0), 21u);
    EXPECT_EQ(job->progress().folders, 2);
    EXPECT_EQ(status_.message(), QStringLiteral("Success: Scanned Music."));
    EXPECT_FALSE(job->canResume());
}

TEST_F(ScanJobTest, ALaterStartDropsTheResultsOfTheEarlierRun) {
    ScanJob* job = center_.job(scope());
    job->start();
    const int first = job->generation();
    writeFile(root_ + "/added", 50000);
    job->start();
    EXPECT_EQ(job->generation(), first + 1);
    int trees = 0;
    QObject::connect(job, &ScanJob::treeChanged, [&] { trees += job->tree() ? 1 : 0; });
    ASSERT_TRUE(processEventsUntil([&] { return job->state() == ScanJob::State::finished; }));
    QCoreApplication::processEvents();
    EXPECT_EQ(trees, 1);
    EXPECT_EQ(job->tree()->items(0), 22u);

    job->start();
    job->cancel();
    EXPECT_EQ(job->state(), ScanJob::State::idle);
    QCoreApplication::processEvents(QEventLoop::AllEvents, 200);
    EXPECT_EQ(job->state(), ScanJob::State::idle);
    EXPECT_FALSE(job->tree());
}

TEST_F(ScanJobTest, RescanningAFolderReplacesItsSubtree) {
    ScanJob* job = center_.job(scope());
    job->start();
    ASSERT_TRUE(processEventsUntil([&] { return job->state() == ScanJob::State::finished; }));
    const int64_t before = job->tree()->logical(0);
    for (int i = 0; i < 5; ++i)
        writeFile(root_ + "/albums/bonus" + QByteArray::number(i), 1000);
    const int32_t albums = job->tree()->findPath(root_ + "/albums").value();
    job->rescanFolder(albums);
    EXPECT_EQ(job->rescanningFolder(), albums);
    ASSERT_TRUE(processEventsUntil([&] { return !job->rescanningFolder(); }));
    EXPECT_EQ(job->tree()->logical(0), before + 5000);
    EXPECT_EQ(job->tree()->items(0), 26u);
    EXPECT_TRUE(job->tree()->validate().has_value());

    QString message;
    QObject::connect(job, &ScanJob::messageChanged, [&](const QString& text) { message = text; });
    ASSERT_TRUE(QDir(QString::fromUtf8(root_ + "/albums")).removeRecursively());
    job->rescanFolder(job->tree()->findPath(root_ + "/albums").value());
    EXPECT_EQ(message, QStringLiteral("\"albums\" could not be opened, so it was not rescanned "
                                      "and the previous result is kept."));
    EXPECT_EQ(job->tree()->items(0), 26u);
}

TEST_F(ScanJobTest, OnlyAPausedScanResumesAndARefusedPassIsReported) {
    ScanJob* job = center_.job(scope());
    job->start();
    ASSERT_TRUE(processEventsUntil([&] { return job->state() == ScanJob::State::finished; }));
    EXPECT_FALSE(job->resume());

    job->readBlockedFolders(failure(QStringLiteral("Could not find the app's own executable.")),
                            [](const QString&) { return CommandResult(QString()); });
    ASSERT_TRUE(job->protectedScan().outcome);
    EXPECT_EQ(job->protectedScan().outcome->message,
              QStringLiteral("Could not find the app's own executable."));
}
