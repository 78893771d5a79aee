// The administrator pass's child, on its own, for tests that cannot start the whole app.
#include <QCoreApplication>
#include <QStringList>

#include "storage/ProtectedScan.h"

int main(int argc, char** argv) {
    QStringList args;
    for (int i = 0; i < argc; ++i)
        args << QString::fromLocal8Bit(argv[i]);
    return velmox::runProtectedScanHelper(args);
}
