#pragma once

#include "platform/ChildProcess.h"
#include "services/CommandExecutorError.h"

#include <chrono>
#include <memory>

namespace velmox {

// Runs a shell line as root after the system's own administrator prompt: osascript on
// macOS, pkexec (polkit) on Linux. Blocking; call from worker threads.
class PromptElevation {
public:
    static constexpr std::chrono::seconds kTimeout{900};

    virtual ~PromptElevation() = default;

    // The trimmed standard output, or why it failed: "Authentication canceled." when the
    // user dismissed the prompt, a "was not accepted" text when the system refused.
    virtual CommandResult run(const QString& shellLine) = 0;
    // For one-shot system tools: output and error arrive as one text, which is the failure
    // message when the line fails.
    virtual CommandResult runOneShot(const QString& shellLine) = 0;

    // The back end of the system this build runs on.
    static std::unique_ptr<PromptElevation> forThisSystem();
    // The groups whose members may become root on this system (macOS: "admin").
    static QStringList administratorGroups();

    static QString timedOutMessage() {
        return QStringLiteral(
            "The administrator command did not finish within 15 minutes and was stopped.");
    }

protected:
    // What an elevation tool left behind once it ended.
    struct Outcome {
        int status = 0;
        QString output; // trimmed
        QString error;  // trimmed
    };
    // Runs the tool for at most kTimeout; past it, terminates the tool, gives it 5 more
    // seconds and fails with timedOutMessage().
    static std::expected<Outcome, CommandExecutorError> runTool(const ChildProcess::Launch& launch);
};

} // namespace velmox
