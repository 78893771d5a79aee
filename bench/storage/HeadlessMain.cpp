// The headless half of the velmox executable (its commands, without the window's
// libraries), so the scanner comparison runs even while the window does not build.
#include <QCoreApplication>

#include "cli/CliCommand.h"

int main(int argc, char** argv) {
    QCoreApplication app(argc, argv);
    return velmox::runCommandLine(app.arguments());
}
