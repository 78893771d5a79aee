#include "services/ShellHelper.h"

#include "platform/PlatformPaths.h"
#include "platform/PromptElevation.h"
#include "services/KeychainHelper.h"
#include "services/Settings.h"
#include "services/SudoRunner.h"

#include <pwd.h>
#include <unistd.h>

namespace velmox {

ShellHelper::ShellHelper(KeychainHelper& keychain, Settings& settings, PromptElevation& prompt)
    : keychain_(keychain), settings_(settings), prompt_(prompt) {}

QString ShellHelper::currentLoginName() {
    if (const passwd* entry = ::getpwuid(::getuid()))
        return QString::fromLocal8Bit(entry->pw_name);
    return qEnvironmentVariable("USER");
}

QString ShellHelper::adminUsername() const {
    const QString saved = settings_.stringValue(QLatin1String(kAdminUsernameKey));
    return saved.isEmpty() ? currentLoginName() : saved;
}

CommandResult ShellHelper::runPrivileged(const QString& shellLine, bool allowPrompt) {
    // Root (`sudo velmox ...`) needs neither a saved password nor a prompt.
    if (::geteuid() == 0) {
        const PrivilegedRunResult result = SudoRunner::run(QString(), shellLine);
        if (result.succeeded)
            return result.output;
        return commandFailure(result.errorMessage.value_or(QString()));
    }
    const QString access = PlatformPaths::accessSettingsDisplay();
    const QString noPassword =
        QStringLiteral("No administrator password is saved. Add it in %1.").arg(access);
    const Result<bool> saved = keychain_.hasSavedPassword();
    if (!saved || !*saved) {
        if (!allowPrompt)
            return commandFailure(saved ? noPassword : saved.error());
        return prompt_.run(shellLine);
    }

    const QString name = adminUsername();
    const QString current = currentLoginName();
    if (name != current) {
        if (!allowPrompt)
            return commandFailure(
                QStringLiteral("The saved administrator account ('%1') is not the account you "
                               "are logged in as. Open %2, remove it and save the password for "
                               "'%3'.")
                    .arg(name, access, current));
        return prompt_.run(shellLine);
    }

    const Result<std::optional<QString>> password = keychain_.readPassword();
    if (!password || !*password) {
        if (!allowPrompt)
            return commandFailure(password ? noPassword : password.error());
        return prompt_.run(shellLine);
    }
    const PrivilegedRunResult result = SudoRunner::run(**password, shellLine);
    if (result.succeeded)
        return result.output;
    if (result.passwordRejected) {
        if (!allowPrompt)
            return commandFailure(
                QStringLiteral("The administrator password saved in %1 was rejected for "
                               "'%2'. Open %3, remove it and enter the current password.")
                    .arg(PlatformPaths::secretStoreDisplay(), name, access));
        return prompt_.run(shellLine);
    }
    return commandFailure(result.errorMessage.value_or(QString()));
}

void ShellHelper::setConfirmHandler(ConfirmHandler handler) {
    confirmHandler_ = std::move(handler);
}

bool ShellHelper::confirm(const QString& message, const QString& informative) const {
    return confirmHandler_ && confirmHandler_(message, informative);
}

} // namespace velmox
