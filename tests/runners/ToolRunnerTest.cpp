#include "services/ToolRunner.h"

#include <QElapsedTimer>
#include <QTemporaryDir>
#include <csignal>
#include <fcntl.h>
#include <future>
#include <gtest/gtest.h>
#include <sys/stat.h>
#include <unistd.h>

using namespace velmox;

namespace {

const QString kShell = QStringLiteral("/bin/sh");

ToolRunResult shell(const QString& line, double timeoutSeconds = 20.0,
                    const std::optional<QByteArray>& input = std::nullopt) {
    return ToolRunner::run(kShell, {"-c", line}, input, timeoutSeconds);
}

double secondsSince(const QElapsedTimer& timer) {
    return timer.elapsed() / 1000.0;
}

} // namespace

TEST(ToolRunner, CapturesMoreThanAPipeBufferOnBothStreamsAtOnce) {
    const ToolRunResult result = shell("head -c 300000 /dev/zero | tr '\\0' o & "
                                       "head -c 200000 /dev/zero | tr '\\0' e >&2; wait");
    EXPECT_EQ(result.status, 0);
    EXPECT_FALSE(result.timedOut);
    EXPECT_EQ(result.standardOutput, QString(300000, 'o'));
    EXPECT_EQ(result.standardError, QString(200000, 'e'));
}

TEST(ToolRunner, StandardInputIsTheNullDeviceUnlessBytesAreGiven) {
    EXPECT_EQ(ToolRunner::run("/usr/bin/readlink", {"/proc/self/fd/0"}).standardOutput,
              "/dev/null\n");

    QByteArray input;
    for (int i = 0; input.size() < 1'000'000; ++i)
        input += QByteArray::number(i) + " grüße\n";
    const ToolRunResult echoed = ToolRunner::run("/bin/cat", {}, input);
    EXPECT_EQ(echoed.status, 0);
    EXPECT_EQ(echoed.standardOutput.toUtf8(), input);
    // A child that leaves its input unread ends the pipe, which must not signal this process.
    EXPECT_EQ(ToolRunner::run("/bin/true", {}, QByteArray(1'000'000, 'x')).status, 0);
}

TEST(ToolRunner, ReportsExitCodesSignalsAndTimeouts) {
    EXPECT_EQ(shell("exit 7").status, 7);
    EXPECT_EQ(shell("kill -USR1 $$").status, SIGUSR1);
    const ToolRunResult terminated = ToolRunner::run("/bin/sleep", {"30"}, std::nullopt, 0.3);
    EXPECT_TRUE(terminated.timedOut);
    EXPECT_EQ(terminated.status, SIGTERM);

    // A child that ignores SIGTERM is killed after its grace time.
    QElapsedTimer timer;
    timer.start();
    const ToolRunResult result = shell("trap '' TERM; echo ready; exec sleep 30", 0.3);
    EXPECT_TRUE(result.timedOut);
    EXPECT_EQ(result.status, SIGKILL);
    EXPECT_EQ(result.standardOutput, "ready\n");
    EXPECT_GT(secondsSince(timer), 2.2) << "the child had its grace time";
}

TEST(ToolRunner, AGrandchildHoldingTheOutputOpenDoesNotHoldUpTheCaller) {
    const ToolRunResult result = shell("sleep 30 & echo $!");
    const pid_t grandchild = result.standardOutput.trimmed().toInt();
    ASSERT_GT(grandchild, 0);
    EXPECT_EQ(::kill(grandchild, SIGKILL), 0) << "the run ended while the grandchild lived";
    EXPECT_EQ(result.status, 0);
    EXPECT_FALSE(result.timedOut);
}

TEST(ToolRunner, UndecodableOutputBecomesEmptyAndEachStreamIsDecodedOnItsOwn) {
    const ToolRunResult result = shell("printf 'ok\\377'; printf 'caf\\303\\251' >&2");
    EXPECT_EQ(result.standardOutput, QString());
    EXPECT_EQ(result.standardError, QString::fromUtf8("café"));
    // A multi-byte character cut off at the end is undecodable too.
    EXPECT_EQ(shell("printf 'caf\\303'").standardOutput, QString());
}

TEST(ToolRunner, NoDescriptorOfTheParentReachesTheChild) {
    QTemporaryDir folder;
    const QString marker = folder.filePath("leak-marker");
    const int file = ::open(marker.toLocal8Bit().constData(), O_CREAT | O_RDWR, 0600);
    int plainPipe[2];
    ASSERT_GE(file, 0);
    ASSERT_EQ(::pipe(plainPipe), 0);
    struct stat pipeInfo {};
    ::fstat(plainPipe[0], &pipeInfo);

    const ToolRunResult listing = ToolRunner::run("/bin/ls", {"-l", "/proc/self/fd"});
    ::close(file);
    ::close(plainPipe[0]);
    ::close(plainPipe[1]);

    EXPECT_EQ(listing.status, 0);
    EXPECT_TRUE(listing.standardOutput.contains("/dev/null"))
        << listing.standardOutput.toStdString();
    EXPECT_FALSE(listing.standardOutput.contains(marker)) << listing.standardOutput.toStdString();
    EXPECT_FALSE(listing.standardOutput.contains(QStringLiteral("pipe:[%1]").arg(pipeInfo.st_ino)))
        << listing.standardOutput.toStdString();
}

TEST(ToolRunner, ConcurrentRunsKeepTheirOwnStreams) {
    // A pipe end leaking into a sibling child would keep that `cat` waiting for input.
    std::vector<std::future<std::pair<QByteArray, ToolRunResult>>> runs;
    for (int i = 0; i < 8; ++i) {
        runs.push_back(std::async(std::launch::async, [i] {
            const QByteArray input = QByteArray::number(i).repeated(100'000);
            return std::pair(input, ToolRunner::run("/bin/cat", {}, input, 20.0));
        }));
    }
    for (auto& run : runs) {
        const auto [input, result] = run.get();
        EXPECT_FALSE(result.timedOut);
        EXPECT_EQ(result.standardOutput.toUtf8(), input);
    }
}

TEST(ToolRunner, AProgramThatCannotStartIsReportedInAWholeSentence) {
    const ToolRunResult result = ToolRunner::run("/nonexistent/tool", {"--help"});
    EXPECT_EQ(result.status, -1);
    EXPECT_EQ(result.standardError,
              "Could not start /nonexistent/tool: No such file or directory.");
}
