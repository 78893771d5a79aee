#include "app/HelperModes.h"

#include "platform/PlatformPaths.h"
#include "tests/support/TestFiles.h"

#include <QDir>
#include <QProcess>
#include <QTemporaryDir>
#include <gtest/gtest.h>

using namespace velmox;
using velmox::test::readFile;

namespace {

struct ChildRun {
    int status = -1;
    QString error;
};

ChildRun runVelmox(const QStringList& args) {
    QProcess process;
    process.start(QStringLiteral(VELMOX_BINARY), args);
    process.waitForFinished(30000);
    return {process.exitStatus() == QProcess::NormalExit ? process.exitCode() : -1,
            QString::fromLocal8Bit(process.readAllStandardError())};
}

} // namespace

// These run as a plain account: root could list any folder.
TEST(HelperModesTest, TheProbeAnswersWhetherEveryFolderVelmoxReadsCanBeListed) {
    QTemporaryDir out;
    const QString answer = out.filePath("answer");
    EXPECT_EQ(runVelmox({"--probe-fda", answer}).status, 0);
    EXPECT_EQ(readFile(answer), "1");

    const QString caches = PlatformPaths::userCaches();
    QDir().mkpath(caches);
    QFile::setPermissions(caches, QFileDevice::WriteOwner);
    const ChildRun run = runVelmox({"--probe-fda", answer});
    QFile::setPermissions(caches,
                          QFileDevice::ReadOwner | QFileDevice::WriteOwner | QFileDevice::ExeOwner);
    EXPECT_EQ(run.status, 0);
    EXPECT_EQ(readFile(answer), "0");
}

TEST(HelperModesTest, HelperModesFailWithASentenceWhenTheyCannotDoTheirJob) {
    const ChildRun unwritable = runVelmox({"--probe-fda", "/proc/velmox-answer"});
    EXPECT_EQ(unwritable.status, 1);
    EXPECT_TRUE(unwritable.error.contains("could not be written"))
        << unwritable.error.toStdString();

    const ChildRun noPath = runVelmox({"--probe-fda"});
    EXPECT_EQ(noPath.status, 2);
    EXPECT_TRUE(noPath.error.contains("needs the path")) << noPath.error.toStdString();

    EXPECT_EQ(HelperModes::run({"velmox", "--protected-scan"}, {}), 1);
    EXPECT_EQ(HelperModes::run({"velmox", "--protected-scan", "x"},
                               [](const QStringList& args) { return int(args.size()); }),
              3);
    EXPECT_EQ(HelperModes::run({"velmox"}, {}), std::nullopt);
}
