#pragma once

#include "services/CommandExecutorError.h"
#include "services/ToolRunner.h"

namespace velmox {

// Runs a shell line with /bin/zsh -c behind a fixed search path, so nothing depends on the
// PATH the application was started with.
class TaskRunner {
public:
    static constexpr double kUserLineTimeoutSeconds = 120.0;
    static constexpr double kSystemLineTimeoutSeconds = 60.0;

    // The user's own commands: unmatched globs stay literal; 120-second time-out.
    static ToolRunResult run(const QString& shellLine);
    // System tools: 60-second time-out. The output is trimmed; a failure carries the
    // program's error text.
    static CommandResult runSystemLine(const QString& shellLine);
};

} // namespace velmox
