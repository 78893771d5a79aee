#pragma once

#include <QObject>

class QWidget;

namespace velmox {

class SystemMonitorEngine;

// Runs the shared monitor engine only while something on screen shows its figures: the
// first watcher starts it, the last one to leave stops it, so a hidden window and a closed
// popover cost no processor time.
class MonitorDemand : public QObject {
    Q_OBJECT
public:
    explicit MonitorDemand(SystemMonitorEngine& engine, QObject* parent = nullptr);

    SystemMonitorEngine& engine() const { return engine_; }
    int watchers() const { return watchers_; }

    void acquire();
    void release();
    // Holds the engine while `widget` is shown; lets go when it is hidden or destroyed.
    void watchWhileShown(QWidget* widget);

protected:
    bool eventFilter(QObject* watched, QEvent* event) override;

private:
    SystemMonitorEngine& engine_;
    int watchers_ = 0;
};

} // namespace velmox
