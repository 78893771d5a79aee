#pragma once

#include "platform/PromptElevation.h"

namespace velmox {

// The Linux prompt: pkexec asks polkit, whose agent in the desktop session shows the
// password dialog, then runs the line with /bin/sh as root. The line is one argument of
// its own, so it needs no quoting.
class PkexecElevation final : public PromptElevation {
public:
    CommandResult run(const QString& shellLine) override;
    CommandResult runOneShot(const QString& shellLine) override;

    static QStringList arguments(const QString& shellLine);
    // The failure for a non-zero exit with pkexec's (or the line's) trimmed error text.
    static CommandExecutorError classify(int status, const QString& errorText);

private:
    static ChildProcess::Launch launch(const QString& shellLine, ChildProcess::ErrorStream errors);
};

} // namespace velmox
