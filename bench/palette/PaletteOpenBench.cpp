// How long the command palette takes to open in the app: from Ctrl+K pressed in the main window
// until the palette is on screen with its rows painted. Prints the first opening (which builds
// the palette) and the median of 20 openings after it.
//
//   xvfb-run -a env QT_QPA_PLATFORM=xcb build/release/bench/palette/palette_open_bench
// (without a display it runs offscreen, which leaves out the window system's share).
#include "app/AppServices.h"
#include "app/MainWindow.h"
#include "app/PaletteWindow.h"
#include "services/Clock.h"

#include <QApplication>
#include <QElapsedTimer>
#include <QLineEdit>
#include <QTemporaryDir>
#include <QTest>
#include <algorithm>
#include <cstdio>
#include <vector>

using namespace velmox;

namespace {

double openOnce(MainWindow& window) {
    QElapsedTimer timer;
    timer.start();
    QTest::keyClick(&window, Qt::Key_K, Qt::ControlModifier);
    PaletteWindow* palette = window.commandPalette();
    palette->repaint();
    const double ms = static_cast<double>(timer.nsecsElapsed()) / 1e6;
    if (!palette->isVisible())
        std::fprintf(stderr, "The palette did not open.\n");
    QTest::keyClick(palette->searchField(), Qt::Key_Escape);
    QCoreApplication::processEvents();
    if (palette->isVisible())
        std::fprintf(stderr, "The palette did not close.\n");
    return ms;
}

} // namespace

int main(int argc, char** argv) {
    // A home of its own, so the user's settings, routines and commands are neither read nor
    // changed.
    QTemporaryDir home;
    for (const char* name : {"HOME", "XDG_CONFIG_HOME", "XDG_DATA_HOME", "XDG_CACHE_HOME"})
        qputenv(name, home.path().toUtf8());
    if (qEnvironmentVariableIsEmpty("QT_QPA_PLATFORM"))
        qputenv("QT_QPA_PLATFORM", "offscreen");
    QApplication app(argc, argv);
    AppServices services(SystemClock::shared(), home.filePath(QStringLiteral("Velmox.conf")));
    MainWindow window(services);
    window.show();
    QApplication::setActiveWindow(&window);
    if (!QTest::qWaitForWindowExposed(&window))
        return 1;

    const double first = openOnce(window);
    std::vector<double> times;
    for (int i = 0; i < 20; ++i)
        times.push_back(openOnce(window));
    std::sort(times.begin(), times.end());
    std::printf("palette opening: first %.2f ms, median of 20 %.2f ms (min %.2f, max %.2f)\n",
                first, (times[9] + times[10]) / 2, times.front(), times.back());
    return 0;
}
