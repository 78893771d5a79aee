#pragma once

#include <QString>

namespace velmox {

class KeychainHelper;
class Settings;
class ShellHelper;

// The "Administrator Credentials" actions of the settings window.
struct AdminCredentials {
    // Checks the name and password (current account, administrator group, accepted by
    // sudo) and only then saves them. Returns the message for the pane.
    static QString save(KeychainHelper& keychain, Settings& settings, const QString& name,
                        const QString& password);
    // "Test Admin Access": runs a harmless line as root with the saved password.
    static QString test(ShellHelper& shell);

    static QString checkingMessage() { return QStringLiteral("Checking the password..."); }
};

} // namespace velmox
