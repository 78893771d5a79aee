#pragma once

#include <QList>
#include <QWidget>

class QGridLayout;
class QLabel;

namespace velmox {

class HistoryChart;
class LiveReadouts;
class MonitorDemand;

// The live figures in the tray popover: one line per readout (title, figure and, where
// there is a history, a small chart of it). Holds the monitor engine while shown.
class LiveReadoutsView : public QWidget {
    Q_OBJECT
public:
    explicit LiveReadoutsView(MonitorDemand& demand, QWidget* parent = nullptr);

    const LiveReadouts& readouts() const { return *readouts_; }
    // The figure shown for `title`, or empty.
    QString shownValue(const QString& title) const;

private:
    struct Line {
        QLabel* title = nullptr;
        QLabel* value = nullptr;
        HistoryChart* chart = nullptr;
    };
    void refresh();

    LiveReadouts* readouts_;
    QGridLayout* grid_;
    QList<Line> lines_;
};

} // namespace velmox
