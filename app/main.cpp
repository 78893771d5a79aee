#include <QApplication>
#include <QCoreApplication>

#include "app/AppIdentity.h"
#include "cli/CliCommand.h"

int main(int argc, char** argv) {
    QStringList args;
    for (int i = 0; i < argc; ++i)
        args << QString::fromLocal8Bit(argv[i]);

    if (velmox::isHeadlessInvocation(args)) {
        QCoreApplication app(argc, argv);
        velmox::applyAppIdentity();
        return velmox::runCommandLine(app.arguments());
    }

    QApplication app(argc, argv);
    velmox::applyAppIdentity();
    return velmox::runWindowedApp(app);
}
