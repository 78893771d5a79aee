#include "app/pages/MonitorDemand.h"

#include "monitor/SystemMonitorEngine.h"

#include <QEvent>
#include <QWidget>

namespace velmox {

namespace {
// Set on a watched widget while it holds the engine, so that repeated show events (and
// a hide without a show) never count twice.
const char* const kHolding = "velmoxHoldsMonitor";
} // namespace

MonitorDemand::MonitorDemand(SystemMonitorEngine& engine, QObject* parent)
    : QObject(parent), engine_(engine) {}

void MonitorDemand::acquire() {
    if (watchers_++ == 0)
        engine_.start();
}

void MonitorDemand::release() {
    if (watchers_ == 0)
        return;
    if (--watchers_ == 0)
        engine_.stop();
}

void MonitorDemand::watchWhileShown(QWidget* widget) {
    widget->installEventFilter(this);
    connect(widget, &QObject::destroyed, this, [this](QObject* gone) {
        if (gone->property(kHolding).toBool())
            release();
    });
    if (widget->isVisible()) {
        widget->setProperty(kHolding, true);
        acquire();
    }
}

bool MonitorDemand::eventFilter(QObject* watched, QEvent* event) {
    const bool holding = watched->property(kHolding).toBool();
    if (event->type() == QEvent::Show && !holding) {
        watched->setProperty(kHolding, true);
        acquire();
    } else if (event->type() == QEvent::Hide && holding) {
        watched->setProperty(kHolding, false);
        release();
    }
    return QObject::eventFilter(watched, event);
}

} // namespace velmox
