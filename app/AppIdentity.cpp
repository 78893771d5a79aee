#include "app/AppIdentity.h"

#include <QApplication>
#include <QLabel>

namespace velmox {

void applyAppIdentity() {
    QCoreApplication::setOrganizationName(QStringLiteral("Velmox"));
    QCoreApplication::setApplicationName(QStringLiteral("Velmox"));
    QCoreApplication::setApplicationVersion(QStringLiteral(VELMOX_VERSION));
    QGuiApplication::setDesktopFileName(QStringLiteral("velmox"));
}

int runWindowedApp(QApplication& app) {
    QLabel window(QStringLiteral("Velmox"));
    window.resize(400, 200);
    window.show();
    return app.exec();
}

} // namespace velmox
