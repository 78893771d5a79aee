#include "services/SudoRunner.h"

#include "platform/ChildProcess.h"
#include "platform/PromptElevation.h"

#include <csignal>
#include <unistd.h>

namespace velmox {

namespace {

// sudo's ways of saying the password (or the account) is no good.
bool isRejection(const QString& errorText) {
    const QString lower = errorText.toLower();
    for (const char* phrase : {"incorrect password", "sorry, try again", "no password was provided",
                               "not in the sudoers", "may not run sudo"}) {
        if (lower.contains(QLatin1String(phrase)))
            return true;
    }
    return false;
}

PrivilegedRunResult failed(QString message, bool passwordRejected = false) {
    PrivilegedRunResult result;
    result.errorMessage = std::move(message);
    result.passwordRejected = passwordRejected;
    return result;
}

// The text the root shell runs. It first lets go of the standard input it inherited: when
// sudo does not ask (a NOPASSWD rule), the unread password line is still waiting there.
QString rootShellText(const QString& shellLine) {
    return QStringLiteral("exec </dev/null; PATH=/usr/bin:/bin:/usr/sbin:/sbin; export PATH; ") +
           shellLine;
}

ChildProcess::Launch launchFor(const QString& password, const QString& shellLine) {
    // Root needs no sudo, and gets no password to leave lying around.
    if (::geteuid() == 0)
        return {QStringLiteral("/bin/sh"),
                {QStringLiteral("-c"), rootShellText(shellLine)},
                std::nullopt};
    QByteArray input = password.toUtf8();
    input.append('\n');
    return {QStringLiteral("/usr/bin/sudo"), SudoRunner::arguments(shellLine), input};
}

} // namespace

QStringList SudoRunner::arguments(const QString& shellLine) {
    return {QStringLiteral("-S"),      QStringLiteral("-k"), QStringLiteral("-p"),    QString(),
            QStringLiteral("/bin/sh"), QStringLiteral("-c"), rootShellText(shellLine)};
}

PrivilegedRunResult SudoRunner::run(const QString& password, const QString& shellLine,
                                    std::chrono::milliseconds timeout) {
    ChildProcess::Launch launch = launchFor(password, shellLine);
    auto started = ChildProcess::start(launch);
    if (launch.standardInput)
        launch.standardInput->fill('\0');
    if (!started)
        return failed(started.error());
    ChildProcess& child = **started;

    // sudo and the root shell hold the streams until they end, so their closing is the
    // sign that the line has finished.
    const auto deadline = std::chrono::steady_clock::now() + timeout;
    const auto left = [&] {
        return std::max(std::chrono::milliseconds(0),
                        std::chrono::ceil<std::chrono::milliseconds>(
                            deadline - std::chrono::steady_clock::now()));
    };
    if (!child.waitForStreamsClosed(timeout) || !child.waitForExit(left())) {
        child.sendSignal(SIGTERM);
        child.waitForExit(std::chrono::seconds(5));
        return failed(PromptElevation::timedOutMessage());
    }

    const QString output = ChildProcess::decodeUtf8(child.standardOutput()).trimmed();
    const QString error = ChildProcess::decodeUtf8(child.standardError()).trimmed();
    if (child.status() != 0)
        return failed(error.isEmpty() ? output : error, isRejection(error));
    PrivilegedRunResult result;
    result.succeeded = true;
    result.output = output;
    return result;
}

} // namespace velmox
