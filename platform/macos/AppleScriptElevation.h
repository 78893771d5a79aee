#pragma once

#include "platform/PromptElevation.h"

namespace velmox {

// The macOS prompt: osascript runs `do shell script "..." with administrator privileges`,
// which shows the system's own password dialog. The script goes in on standard input.
class AppleScriptElevation final : public PromptElevation {
public:
    CommandResult run(const QString& shellLine) override;
    CommandResult runOneShot(const QString& shellLine) override;

    // Backslashes doubled first, then every double quote escaped.
    static QString escapeForStringLiteral(const QString& text);
    static QString script(const QString& shellLine);
    // The failure for osascript's trimmed error text.
    static CommandExecutorError classify(const QString& errorText);
    // The failure of a one-shot run from its combined output.
    static CommandExecutorError classifyOneShot(const QString& combinedOutput);

private:
    static ChildProcess::Launch launch(const QString& shellLine, ChildProcess::ErrorStream errors);
};

} // namespace velmox
