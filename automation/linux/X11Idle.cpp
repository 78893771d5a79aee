#include "automation/linux/X11Idle.h"

#include <QByteArray>
#include <QMutex>
#include <QtGlobal>

// Kept apart: Xlib's macros (Bool, Status, None ...) clash with names elsewhere.
#include <X11/Xlib.h>
#include <X11/extensions/scrnsaver.h>

namespace velmox {

namespace {

// The open connection and the display it was opened for.
struct Connection {
    QMutex mutex;
    QByteArray name;
    Display* display = nullptr;
    bool hasExtension = false;

    ~Connection() { close(); }
    void close() {
        if (display)
            XCloseDisplay(display);
        display = nullptr;
        hasExtension = false;
    }
    // The connection to `wanted`, opened on first use or when DISPLAY has changed.
    Display* to(const QByteArray& wanted) {
        if (display && name == wanted)
            return display;
        close();
        name = wanted;
        display = XOpenDisplay(wanted.constData());
        int eventBase = 0;
        int errorBase = 0;
        hasExtension = display && XScreenSaverQueryExtension(display, &eventBase, &errorBase);
        return display;
    }
};

} // namespace

std::optional<double> x11IdleSeconds() {
    const QByteArray name = qgetenv("DISPLAY");
    if (name.isEmpty())
        return std::nullopt;
    static Connection connection;
    QMutexLocker lock(&connection.mutex);
    Display* display = connection.to(name);
    if (!display || !connection.hasExtension)
        return std::nullopt;
    std::optional<double> idle;
    if (XScreenSaverInfo* info = XScreenSaverAllocInfo()) {
        if (XScreenSaverQueryInfo(display, DefaultRootWindow(display), info))
            idle = static_cast<double>(info->idle) / 1000.0;
        XFree(info);
    }
    return idle;
}

} // namespace velmox
