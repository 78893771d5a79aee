#include "app/AppIdentity.h"
#include "app/HelperModes.h"
#include "app/LaunchAtLogin.h"
#include "app/Screenshot.h"
#include "cli/CliCommand.h"
#include "storage/ProtectedScan.h"

#include <QApplication>
#include <QCoreApplication>
#include <cstdio>
#include <cstdlib>

namespace {

// The options handled here rather than by a command.
QStringList appOptions() {
    return {velmox::LaunchAtLogin::kLoginItemArgument, QStringLiteral("--screenshot"),
            QString::fromLatin1(velmox::ProtectedScan::kArgument), QStringLiteral("--probe-fda")};
}

QString appHelp() {
    return QStringLiteral("Window options:\n"
                          "  velmox --login-item\n"
                          "      Starts as the launch-at-login entry does: in the tray when the "
                          "tray icon is on.\n") +
           velmox::Screenshot::help();
}

// Qt ends the process when no window system can be reached, after warnings of its own. While
// the application object is made its messages are held back; should it fail, one sentence is
// said instead, and the exit status is 1.
QStringList heldMessages;

void holdMessage(QtMsgType type, const QMessageLogContext& context, const QString& message) {
    if (type == QtFatalMsg) {
        std::fputs("velmox: The Velmox window needs a graphical session (X11 or Wayland) and "
                   "none could be reached; run “velmox --help” for the commands that work "
                   "without one.\n",
                   stderr);
        std::fflush(stderr);
        std::_Exit(1);
    }
    heldMessages << qFormatLogMessage(type, context, message);
}

void releaseHeldMessages(QtMessageHandler previous) {
    qInstallMessageHandler(previous);
    for (const QString& message : std::as_const(heldMessages))
        std::fprintf(stderr, "%s\n", message.toLocal8Bit().constData());
    heldMessages.clear();
}

} // namespace

int main(int argc, char** argv) {
    QStringList args;
    for (int i = 0; i < argc; ++i)
        args << QString::fromLocal8Bit(argv[i]);

    if (velmox::isHeadlessInvocation(args, appOptions())) {
        QCoreApplication app(argc, argv);
        velmox::applyAppIdentity();
        return velmox::runCommandLine(app.arguments(), appHelp());
    }

    // Migrations and helper modes come before any window and need no display.
    velmox::applyAppIdentity();
    velmox::runStartupMigrations();
    if (velmox::HelperModes::isRequested(args)) {
        QCoreApplication app(argc, argv);
        return velmox::HelperModes::run(app.arguments(), velmox::runProtectedScanHelper)
            .value_or(2);
    }

    if (velmox::Screenshot::isRequested(args)) {
        if (qEnvironmentVariableIsEmpty("QT_QPA_PLATFORM"))
            qputenv("QT_QPA_PLATFORM", "offscreen");
        QApplication app(argc, argv);
        velmox::applyAppIdentity();
        return velmox::Screenshot::run(app.arguments());
    }

    const QtMessageHandler previous = qInstallMessageHandler(holdMessage);
    QApplication app(argc, argv);
    releaseHeldMessages(previous);
    velmox::applyAppIdentity();
    return velmox::runWindowedApp(app);
}
