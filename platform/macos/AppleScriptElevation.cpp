#include "platform/macos/AppleScriptElevation.h"

namespace velmox {

namespace {

bool isCancellation(const QString& text) {
    // "User canceled." is the start of the system's own cancel message; -128 its code.
    return text.contains(QLatin1String("User can")) || text.contains(QLatin1String("(-128)"));
}

} // namespace

QString AppleScriptElevation::escapeForStringLiteral(const QString& text) {
    QString escaped = text;
    escaped.replace(QLatin1Char('\\'), QLatin1String("\\\\"));
    escaped.replace(QLatin1Char('"'), QLatin1String("\\\""));
    return escaped;
}

QString AppleScriptElevation::script(const QString& shellLine) {
    return QStringLiteral("do shell script \"") + escapeForStringLiteral(shellLine) +
           QStringLiteral("\" with administrator privileges");
}

CommandExecutorError AppleScriptElevation::classify(const QString& errorText) {
    if (isCancellation(errorText))
        return CommandExecutorError::withMessage(QStringLiteral("Authentication canceled."));
    if (errorText.contains(QLatin1String("incorrect password")) ||
        errorText.contains(QLatin1String("administrator user name")) ||
        errorText.contains(QLatin1String("-60005")))
        return CommandExecutorError::withMessage(
            QStringLiteral("The administrator password was not accepted. (%1)").arg(errorText));
    if (errorText.contains(QLatin1String("Failed to reset LocalNetwork")))
        return CommandExecutorError::withMessage(QStringLiteral(
            "macOS restricts resetting Local Network permissions for individual apps via the "
            "command line. Toggle this app manually in System Settings > Privacy & Security > "
            "Local Network."));

    QString message = errorText;
    const QLatin1String prefix("execution error:");
    if (const qsizetype at = message.indexOf(prefix); at >= 0)
        message = message.mid(at + prefix.size()).trimmed();
    if (message.contains(QLatin1String("OSStatus")))
        message += QStringLiteral(
            "\n\nTip: macOS's 'tccutil' often throws OSStatus errors (-10814) when trying to "
            "reset individual bundle IDs for apps that were already deleted or are system "
            "daemons invisible to LaunchServices. To clear it, you may need to 'Reset All' for "
            "this service.");
    return CommandExecutorError::withMessage(message);
}

CommandExecutorError AppleScriptElevation::classifyOneShot(const QString& combinedOutput) {
    if (combinedOutput.contains(QLatin1String("User canceled")) ||
        combinedOutput.contains(QLatin1String("-128")))
        return CommandExecutorError::withMessage(QStringLiteral("Authentication canceled"));
    return CommandExecutorError::withMessage(combinedOutput);
}

ChildProcess::Launch AppleScriptElevation::launch(const QString& shellLine,
                                                  ChildProcess::ErrorStream errors) {
    return {QStringLiteral("/usr/bin/osascript"),
            {QStringLiteral("-")},
            script(shellLine).toUtf8(),
            errors};
}

CommandResult AppleScriptElevation::run(const QString& shellLine) {
    auto outcome = runTool(launch(shellLine, ChildProcess::ErrorStream::separate));
    if (!outcome)
        return std::unexpected(outcome.error());
    if (outcome->status == 0)
        return outcome->output;
    return std::unexpected(classify(outcome->error));
}

CommandResult AppleScriptElevation::runOneShot(const QString& shellLine) {
    auto outcome = runTool(launch(shellLine, ChildProcess::ErrorStream::intoOutput));
    if (!outcome)
        return std::unexpected(outcome.error());
    if (outcome->status == 0)
        return outcome->output;
    return std::unexpected(classifyOneShot(outcome->output));
}

} // namespace velmox
