#pragma once

#include "cli/CliCommand.h"

namespace velmox {

// A macro, so that the automation command's usage line can be put together from it.
#define VELMOX_AUTOMATION_AGENT_USAGE                                                              \
    "automation agent install --daily|--weekly [--caches] [--trash] [--purge] | "                  \
    "automation agent remove | automation agent status"

// `velmox automation agent ...`: installs, removes or shows the background agent that runs
// maintenance on its own, daily or weekly. `args` follow the word "agent".
int runAutomationAgent(const QStringList& args, CliIO& io);

} // namespace velmox
