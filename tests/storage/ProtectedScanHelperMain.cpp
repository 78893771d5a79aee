// The administrator pass's child, on its own, for tests that cannot start the whole app.
#include "storage/ProtectedScan.h"

#include <QCoreApplication>
#include <QStringList>

int main(int argc, char** argv) {
    QStringList args;
    for (int i = 0; i < argc; ++i)
        args << QString::fromLocal8Bit(argv[i]);
    return velmox::runProtectedScanHelper(args);
}
