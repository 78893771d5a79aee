#pragma once

#include <QWidget>
#include <functional>

class QComboBox;
class QLabel;
class QProgressBar;
class QPushButton;
class QStackedWidget;
class QToolButton;
class QTreeWidget;

namespace velmox {

class HistoryChart;
class NetworkSpeedTestViewModel;

// The "Network Speed Test" page: the three figures large, the unit picker, start and cancel
// with the progress, and the history of past tests as a chart and a list that can be sorted
// either way by date and cleared. A view over the model, which outlives the page (a test keeps
// running when the page goes).
class SpeedTestPage : public QWidget {
    Q_OBJECT
public:
    explicit SpeedTestPage(NetworkSpeedTestViewModel& model, QWidget* parent = nullptr);

    // Asks before "Clear All History" empties the history; a message box unless replaced.
    void setClearConfirmation(std::function<bool()> confirm) { confirmClear_ = std::move(confirm); }
    bool isNewestFirst() const { return newestFirst_; }

private:
    void showFigures();
    void showHistory();
    void clearHistory();

    NetworkSpeedTestViewModel& model_;
    std::function<bool()> confirmClear_;
    bool newestFirst_ = true;
    QLabel* download_;
    QLabel* upload_;
    QLabel* latency_;
    QComboBox* unit_;
    QPushButton* start_;
    QPushButton* cancel_;
    QProgressBar* progress_;
    QLabel* status_;
    QToolButton* sort_;
    QPushButton* clear_;
    HistoryChart* chart_;
    QLabel* chartCaption_;
    QStackedWidget* historyStack_;
    QTreeWidget* list_;
    QLabel* empty_;
};

} // namespace velmox
