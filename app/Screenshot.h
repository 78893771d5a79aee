#pragma once

#include <QImage>
#include <QString>
#include <QStringList>

namespace velmox {

class AppServices;
class SystemMonitorEngine;

// `velmox --screenshot PAGE FILE.png [--theme dark|light]`: renders one page (a Category
// raw value, "settings" or "popover") offscreen at a fixed size and saves it as PNG.
struct Screenshot {
    static constexpr QSize kWindowSize{1100, 720};

    static bool isRequested(const QStringList& args);
    // Returns the process exit status; messages go to standard error.
    static int run(const QStringList& args);
    // Renders `target` with `services`; a null image for an unknown target.
    static QImage render(AppServices& services, const QString& target);
    static QStringList targets();
    // The option and every target with the title it goes by in the window, for --help.
    static QString help();

    // Pages with live figures are grabbed once these are in, or after this long.
    static constexpr int kFiguresDeadlineMs = 3000;
    static bool figuresReady(const SystemMonitorEngine& engine);
    // Runs the event loop until figuresReady or the deadline; answers figuresReady.
    static bool waitForFigures(SystemMonitorEngine& engine, int deadlineMilliseconds);
};

} // namespace velmox
