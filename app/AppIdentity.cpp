#include "app/AppIdentity.h"

#include "app/AppDelegate.h"
#include "app/AppLanguageManager.h"
#include "app/AppServices.h"
#include "app/Appearance.h"
#include "app/LoginItemLaunch.h"
#include "app/MainWindow.h"
#include "app/SingleInstance.h"
#include "app/StartupMigration.h"
#include "app/SymbolIcons.h"
#include "services/Clock.h"

#include <QApplication>
#include <QTimer>
#include <cstdio>
#include <unistd.h>

namespace velmox {

namespace {

// The autostart entry starts Velmox with the login-item argument; nothing else here tells a
// login launch from a start out of a terminal.
bool isLoginItemLaunch() {
    LoginItemLaunch::Facts facts;
    facts.arguments = QCoreApplication::arguments();
    return LoginItemLaunch::decide(facts);
}

// With VELMOX_STARTUP_PROBE set, Velmox quits once its window has been painted, so that
// a benchmark can time a whole start.
void quitAfterFirstPaint(AppDelegate& delegate) {
    if (qEnvironmentVariableIsEmpty("VELMOX_STARTUP_PROBE"))
        return;
    QTimer::singleShot(0, qApp, [&delegate] {
        if (MainWindow* window = delegate.mainWindow())
            window->repaint();
        QCoreApplication::quit();
    });
}

} // namespace

void applyAppIdentity() {
    QCoreApplication::setOrganizationName(QStringLiteral("Velmox"));
    QCoreApplication::setApplicationName(QStringLiteral("Velmox"));
    QCoreApplication::setApplicationVersion(QStringLiteral(VELMOX_VERSION));
    QGuiApplication::setDesktopFileName(QStringLiteral("velmox"));
}

void runStartupMigrations() {
    Settings settings;
    StartupMigration::run(settings, ::geteuid() == 0);
}

int runWindowedApp(QApplication& app) {
    SingleInstance instance;
    if (!instance.claim())
        return 0;

    QGuiApplication::setWindowIcon(appIcon());
    installIconThemeFallback();

    AppServices services(SystemClock::shared());
    AppearanceController appearance(services.settings());
    // Before any window: widgets keep the texts they are built with.
    if (const Status language = services.languages().install(); !language)
        services.status().report(QStringLiteral("Error: ") + language.error(), false);
    AppDelegate::Options options;
    options.executable = QCoreApplication::applicationFilePath();
    options.isLoginItemLaunch = isLoginItemLaunch;
    AppDelegate delegate(services, options);
    instance.serve(delegate);

    delegate.willFinishLaunching();
    appearance.apply();
    delegate.didFinishLaunching();
    quitAfterFirstPaint(delegate);
    return app.exec();
}

} // namespace velmox
