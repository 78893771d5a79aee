#pragma once

#include "platform/PromptElevation.h"
#include "platform/QtKeychainSecretStore.h"
#include "services/KeychainHelper.h"
#include "services/Settings.h"
#include "services/ShellHelper.h"
#include "tests/support/TestAccounts.h"

#include <QStringList>
#include <gtest/gtest.h>

namespace velmox::test {

// Stands in for the system's password prompt, which needs a polkit agent in a desktop
// session that this machine does not have; records the lines it was asked to run.
class RecordingPrompt final : public PromptElevation {
public:
    QStringList lines;
    CommandResult run(const QString& shellLine) override {
        lines << shellLine;
        return QStringLiteral("ran after the prompt");
    }
    CommandResult runOneShot(const QString& shellLine) override { return run(shellLine); }
};

// The real secret store, settings under the test's private HOME, and a ShellHelper on them.
struct PrivilegeWorld {
    QtKeychainSecretStore store;
    KeychainHelper keychain{store};
    Settings settings;
    RecordingPrompt prompt;
    ShellHelper shell{keychain, settings, prompt};

    // Every test starts with nothing saved.
    PrivilegeWorld() {
        keychain.deletePassword();
        EXPECT_TRUE(settings.remove(ShellHelper::kAdminUsernameKey));
    }
};

} // namespace velmox::test
