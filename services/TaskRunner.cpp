#include "services/TaskRunner.h"

namespace velmox {

namespace {

const QString kShell = QStringLiteral("/bin/zsh");
const QString kSearchPath = QStringLiteral(
    "export PATH=\"/opt/homebrew/bin:/opt/homebrew/sbin:/usr/local/bin:/usr/bin:/bin:/usr/sbin:"
    "/sbin:$PATH\"; ");

QString userLine(const QString& shellLine) {
    return kSearchPath + QStringLiteral("setopt +o nomatch 2>/dev/null; ") + shellLine;
}

QString systemLine(const QString& shellLine) {
    return kSearchPath + shellLine;
}

} // namespace

ToolRunResult TaskRunner::run(const QString& shellLine) {
    return ToolRunner::run(kShell, {QStringLiteral("-c"), userLine(shellLine)}, std::nullopt,
                           kUserLineTimeoutSeconds);
}

CommandResult TaskRunner::runSystemLine(const QString& shellLine) {
    const ToolRunResult result =
        ToolRunner::run(kShell, {QStringLiteral("-c"), systemLine(shellLine)}, std::nullopt,
                        kSystemLineTimeoutSeconds);
    if (result.timedOut)
        return commandFailure(QStringLiteral("Timed out after %1 seconds.")
                                  .arg(static_cast<int>(kSystemLineTimeoutSeconds)));
    const QString output = result.standardOutput.trimmed();
    if (result.status == 0)
        return output;
    const QString error = result.standardError.trimmed();
    if (!error.isEmpty())
        return commandFailure(error);
    if (!output.isEmpty())
        return commandFailure(output);
    return commandFailure(
        QStringLiteral("The command ended with exit status %1.").arg(result.status));
}

} // namespace velmox
