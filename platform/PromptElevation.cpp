#include "platform/PromptElevation.h"

#include <csignal>

namespace velmox {

std::expected<PromptElevation::Outcome, CommandExecutorError>
PromptElevation::runTool(const ChildProcess::Launch& launch) {
    auto started = ChildProcess::start(launch);
    if (!started)
        return commandFailure(started.error());
    ChildProcess& child = **started;
    if (!child.waitForExit(kTimeout)) {
        child.sendSignal(SIGTERM);
        child.waitForExit(std::chrono::seconds(5));
        return commandFailure(timedOutMessage());
    }
    child.waitForStreamsClosed(std::chrono::seconds(3));
    return Outcome{child.status(), ChildProcess::decodeUtf8(child.standardOutput()).trimmed(),
                   ChildProcess::decodeUtf8(child.standardError()).trimmed()};
}

} // namespace velmox
