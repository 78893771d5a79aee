#pragma once

#include "platform/PromptElevation.h"
#include "platform/QtKeychainSecretStore.h"
#include "services/ActionHistoryStore.h"
#include "services/Clock.h"
#include "services/KeychainHelper.h"
#include "services/Settings.h"
#include "services/ShellHelper.h"

#include <memory>

namespace velmox {

// What a command needs to run root work as the window does: the settings, the activity log,
// the saved administrator password and the privileged shell.
struct PrivilegedServices {
    Settings settings;
    ActionHistoryStore history{settings, SystemClock::shared()};
    QtKeychainSecretStore secrets;
    KeychainHelper keychain{secrets};
    std::unique_ptr<PromptElevation> prompt = PromptElevation::forThisSystem();
    ShellHelper shell{keychain, settings, *prompt};
};

} // namespace velmox
