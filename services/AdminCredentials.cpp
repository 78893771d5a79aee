#include "services/AdminCredentials.h"

#include "platform/PlatformPaths.h"
#include "platform/PromptElevation.h"
#include "services/KeychainHelper.h"
#include "services/Settings.h"
#include "services/ShellHelper.h"
#include "services/SudoRunner.h"
#include "services/ToolRunner.h"

#include <QRegularExpression>

namespace velmox {

namespace {

bool isAdministrator(const QString& name) {
    const ToolRunResult groups = ToolRunner::run(QStringLiteral("/usr/bin/id"),
                                                 {QStringLiteral("-Gn"), name}, std::nullopt, 10.0);
    const QStringList adminGroups = PromptElevation::administratorGroups();
    const QStringList memberOf =
        groups.standardOutput.split(QRegularExpression(QStringLiteral("\\s+")), Qt::SkipEmptyParts);
    for (const QString& group : memberOf) {
        if (adminGroups.contains(group))
            return true;
    }
    return false;
}

} // namespace

QString AdminCredentials::save(KeychainHelper& keychain, Settings& settings, const QString& name,
                               const QString& password) {
    if (name.isEmpty() || password.isEmpty())
        return QStringLiteral("Enter the administrator name and password.");
    const QString current = ShellHelper::currentLoginName();
    if (name != current)
        return QStringLiteral("Use the account you are logged in as ('%1'). The password of "
                              "another account can't be stored, because it could only be used "
                              "by putting it in a command.")
            .arg(current);
    if (!isAdministrator(name))
        return QStringLiteral("'%1' is not an administrator account.").arg(name);

    const PrivilegedRunResult check = SudoRunner::run(password, QStringLiteral("/usr/bin/true"));
    if (!check.succeeded) {
        const QString reason = check.errorMessage.value_or(QString());
        return QStringLiteral("The password was not accepted for '%1'.").arg(name) +
               (reason.isEmpty() ? QString() : QStringLiteral(" (%1)").arg(reason));
    }
    if (!keychain.savePassword(password))
        return QStringLiteral("Failed: the password is right but couldn't be saved to %1.")
            .arg(PlatformPaths::secretStoreDisplay());
    if (const Status saved = settings.setValue(QLatin1String(ShellHelper::kAdminUsernameKey), name);
        !saved)
        return QStringLiteral("The password was saved, but not the account name. ") +
               saved.error();
    return QStringLiteral("Credentials securely stored for '%1'").arg(name);
}

QString AdminCredentials::test(ShellHelper& shell) {
    const CommandResult result = shell.runPrivileged(QStringLiteral("/usr/bin/id -u"), false);
    if (!result)
        return result.error().description();
    if (*result != QLatin1String("0"))
        return QStringLiteral("The administrator command ran, but not as root.");
    return QStringLiteral("Success: Administrator privileges verified (commands run as %1)")
        .arg(shell.adminUsername());
}

} // namespace velmox
