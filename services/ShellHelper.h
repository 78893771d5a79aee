#pragma once

#include "services/CommandExecutorError.h"

#include <QString>
#include <functional>

namespace velmox {

class KeychainHelper;
class PromptElevation;
class Settings;

// Runs shell lines as root: through sudo with the saved administrator password, so no
// dialog ever shows, or, where the caller allows it, after the system's own prompt.
// One shared instance; runPrivileged blocks and belongs on worker threads.
class ShellHelper {
public:
    static constexpr const char* kAdminUsernameKey = "adminUsername";

    ShellHelper(KeychainHelper& keychain, Settings& settings, PromptElevation& prompt);

    // Without `allowPrompt` no prompt is ever shown: a missing or rejected password fails.
    CommandResult runPrivileged(const QString& shellLine, bool allowPrompt);

    // The account the saved password belongs to, or else the current login name.
    QString adminUsername() const;
    static QString currentLoginName();

    // The window installs a modal confirmation; it returns true for the confirm button.
    using ConfirmHandler = std::function<bool(const QString& message, const QString& informative)>;
    void setConfirmHandler(ConfirmHandler handler);
    // False when no handler is installed.
    bool confirm(const QString& message, const QString& informative) const;

private:
    KeychainHelper& keychain_;
    Settings& settings_;
    PromptElevation& prompt_;
    ConfirmHandler confirmHandler_;
};

} // namespace velmox
