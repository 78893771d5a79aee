#pragma once

#include "automation/AutomationTaskPerformer.h"

#include <memory>

namespace velmox {

class KeychainHelper;
class ShellHelper;

// The automation tasks of the system Velmox runs on, with the keep-awake lock they hold.
// The keychain and the shell helper must outlive it.
std::unique_ptr<AutomationTaskPerformer> makeSystemTaskPerformer(KeychainHelper& keychain,
                                                                 ShellHelper& shell);

} // namespace velmox
