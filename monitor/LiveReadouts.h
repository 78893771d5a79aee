#pragma once

#include "monitor/SystemStats.h"
#include "platform/NamedSensorSource.h"

#include <QObject>
#include <optional>

namespace velmox {

class SystemMonitorEngine;

// One line of the tray popover's live figures: a title, the figure as text and, where
// there is one, the history to draw behind it.
struct Readout {
    QString title;
    QString value;
    QList<double> history;
    bool operator==(const Readout&) const = default;
};

// The live figures the tray popover and the tray title show, as text, kept up to date from
// the engine's records. Views bind to rows() and changed().
class LiveReadouts : public QObject {
    Q_OBJECT
public:
    explicit LiveReadouts(SystemMonitorEngine& engine, QObject* parent = nullptr);

    const QList<Readout>& rows() const { return rows_; }
    // A short text for the tray icon's title or tool tip: "12% CPU · 2.1 GiB".
    const QString& trayTitle() const { return trayTitle_; }

    // `sensors` is absent until the first sensor read has come back.
    static QList<Readout> rowsFor(const SystemStats& stats,
                                  const std::optional<QList<SensorReading>>& sensors);
    static QString trayTitleFor(const SystemStats& stats);

signals:
    void changed();

private:
    void update();

    SystemMonitorEngine& engine_;
    QList<Readout> rows_;
    QString trayTitle_;
};

} // namespace velmox
