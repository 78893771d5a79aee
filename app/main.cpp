#include "app/AppIdentity.h"
#include "app/HelperModes.h"
#include "app/Screenshot.h"
#include "cli/CliCommand.h"
#include "storage/ProtectedScan.h"

#include <QApplication>
#include <QCoreApplication>

int main(int argc, char** argv) {
    QStringList args;
    for (int i = 0; i < argc; ++i)
        args << QString::fromLocal8Bit(argv[i]);

    if (velmox::isHeadlessInvocation(args)) {
        QCoreApplication app(argc, argv);
        velmox::applyAppIdentity();
        return velmox::runCommandLine(app.arguments());
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

    QApplication app(argc, argv);
    velmox::applyAppIdentity();
    return velmox::runWindowedApp(app);
}
