#pragma once

#include "app/TrayFigure.h"

#include <QObject>
#include <memory>

namespace velmox {

class LiveReadouts;
class MonitorDemand;
class Settings;

// What the tray icon shows of the live figures: the chosen figure as a short text and
// every readout in the tool tip. It holds the monitor engine only while the icon is shown
// and a figure is chosen, and tells the icon only when a text really changed, so that an
// unchanged figure costs no redraw.
class TrayReadout : public QObject {
    Q_OBJECT
public:
    static inline const QString kIdleToolTip = QStringLiteral("Velmox");

    TrayReadout(Settings& settings, MonitorDemand& demand, QObject* parent = nullptr);
    ~TrayReadout() override;

    void setShown(bool shown);
    TrayFigure figure() const { return figure_; }
    bool isWatching() const { return readouts_ != nullptr; }
    // The figure's text; empty when the icon shows Velmox's own image.
    const QString& text() const { return text_; }
    const QString& toolTip() const { return toolTip_; }

signals:
    void textChanged(const QString& text);
    void toolTipChanged(const QString& toolTip);

private:
    void reconsider();
    void refresh();

    Settings& settings_;
    MonitorDemand& demand_;
    std::unique_ptr<LiveReadouts> readouts_;
    TrayFigure figure_ = TrayFigure::none;
    bool shown_ = false;
    QString text_;
    QString toolTip_ = kIdleToolTip;
};

} // namespace velmox
