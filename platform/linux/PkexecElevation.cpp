#include "platform/linux/PkexecElevation.h"

namespace velmox {

std::unique_ptr<PromptElevation> PromptElevation::forThisSystem() {
    return std::make_unique<PkexecElevation>();
}

QStringList PromptElevation::administratorGroups() {
    return {QStringLiteral("sudo"), QStringLiteral("wheel"), QStringLiteral("admin")};
}

QStringList PkexecElevation::arguments(const QString& shellLine) {
    // Only the desktop's agent may ask: pkexec's own text agent would wait on a terminal
    // nobody is looking at.
    return {QStringLiteral("--disable-internal-agent"), QStringLiteral("/bin/sh"),
            QStringLiteral("-c"),
            QStringLiteral("PATH=/usr/bin:/bin:/usr/sbin:/sbin; export PATH; ") + shellLine};
}

CommandExecutorError PkexecElevation::classify(int status, const QString& errorText) {
    // pkexec exits with 126 after "Request dismissed", with 127 after "Not authorized";
    // the line itself may exit with either, so the text decides.
    if (errorText.contains(QLatin1String("Request dismissed")))
        return CommandExecutorError::withMessage(QStringLiteral("Authentication canceled."));
    if (errorText.contains(QLatin1String("Not authorized")))
        return CommandExecutorError::withMessage(
            QStringLiteral("The administrator password was not accepted. (%1)").arg(errorText));
    if (errorText.isEmpty())
        return CommandExecutorError::withMessage(
            QStringLiteral("The administrator command ended with exit status %1.").arg(status));
    return CommandExecutorError::withMessage(errorText);
}

ChildProcess::Launch PkexecElevation::launch(const QString& shellLine,
                                             ChildProcess::ErrorStream errors) {
    return {QStringLiteral("/usr/bin/pkexec"), arguments(shellLine), std::nullopt, errors};
}

CommandResult PkexecElevation::run(const QString& shellLine) {
    auto outcome = runTool(launch(shellLine, ChildProcess::ErrorStream::separate));
    if (!outcome)
        return std::unexpected(outcome.error());
    if (outcome->status == 0)
        return outcome->output;
    return std::unexpected(classify(outcome->status, outcome->error));
}

CommandResult PkexecElevation::runOneShot(const QString& shellLine) {
    auto outcome = runTool(launch(shellLine, ChildProcess::ErrorStream::intoOutput));
    if (!outcome)
        return std::unexpected(outcome.error());
    if (outcome->status == 0)
        return outcome->output;
    return std::unexpected(classify(outcome->status, outcome->output));
}

} // namespace velmox
