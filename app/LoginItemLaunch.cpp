#include "app/LoginItemLaunch.h"

#include "app/LaunchAtLogin.h"

namespace velmox {

bool LoginItemLaunch::decide(const Facts& facts) {
    if (facts.arguments.contains(LaunchAtLogin::kLoginItemArgument))
        return true;
    if (facts.entryPassesArgument || !facts.launchAtLoginOn || !facts.sessionStart)
        return false;
    return facts.sessionStart->secsTo(facts.now) < kFreshSessionSeconds;
}

} // namespace velmox
