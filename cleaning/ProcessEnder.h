#pragma once

#include "services/Result.h"

#include <chrono>
#include <sys/types.h>

namespace velmox {

// Ends a process the way a user's "force quit" does: SIGTERM first, so it may save and leave,
// then SIGKILL when it is still there after `grace`. A stopped process is continued after
// SIGTERM so that it can act on it.
struct ProcessEnder {
    // Done once the process is gone (a process already gone counts as ended).
    static Status end(pid_t pid, std::chrono::milliseconds grace = std::chrono::seconds(2));
};

} // namespace velmox
