#include "services/ToolRunner.h"

#include "platform/ChildProcess.h"

#include <chrono>
#include <csignal>

namespace velmox {

namespace {

using std::chrono::milliseconds;

constexpr milliseconds kGraceAfterTerminate{2000};
constexpr milliseconds kOutputWaitAfterExit{3000};

milliseconds toMilliseconds(double seconds) {
    constexpr double kLongest = 365.0 * 24 * 3600; // beyond that, a limit means nothing
    if (!(seconds > 0))
        return milliseconds(0);
    return milliseconds(static_cast<long long>(std::min(seconds, kLongest) * 1000.0));
}

} // namespace

ToolRunResult ToolRunner::run(const QString& executable, const QStringList& arguments,
                              const std::optional<QByteArray>& standardInput,
                              double timeoutSeconds) {
    auto started = ChildProcess::start({executable, arguments, standardInput});
    if (!started)
        return {-1, QString(), started.error(), false, {}};
    ChildProcess& child = **started;

    ToolRunResult result;
    if (!child.waitForExit(toMilliseconds(timeoutSeconds))) {
        child.sendSignal(SIGTERM);
        result.timedOut = true;
        if (!child.waitForExit(kGraceAfterTerminate))
            child.sendSignal(SIGKILL);
        child.waitForExit();
    }
    child.waitForStreamsClosed(kOutputWaitAfterExit);
    result.status = child.status();
    result.outputBytes = child.standardOutput();
    result.standardOutput = ChildProcess::decodeUtf8(result.outputBytes);
    result.standardError = ChildProcess::decodeUtf8(child.standardError());
    return result;
}

} // namespace velmox
