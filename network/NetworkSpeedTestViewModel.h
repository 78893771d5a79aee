#pragma once

#include "network/SpeedTestBackend.h"
#include "network/SpeedTestHistoryEntry.h"

#include <QObject>
#include <memory>
#include <optional>
#include <vector>

namespace velmox {

class Clock;
class Settings;

// The speed test as the page and the command line see it: the three figures as text, whether
// a test runs, a status sentence, the progress, and the history of finished tests. Main thread
// only; the back end, the settings and the clock must outlive it.
//
// Every run takes a new `runToken`; whatever a run reports after a newer one started or after
// it was cancelled is ignored. A cancelled run is kept until it reports its end, so cancelling
// never waits for the measurement to stop.
//
// The history lives in the settings under historyKey as one JSON array, newest first, at most
// kHistoryLimit entries. Each save re-reads the stored array and adds to it, so tests run by the
// window and by the command line keep each other's results.
class NetworkSpeedTestViewModel : public QObject {
    Q_OBJECT
public:
    static inline const QString historyKey = QStringLiteral("com.quarnet.speedTestHistory");
    static inline const QString unitKey = QStringLiteral("speedTestMetric");
    static constexpr int kHistoryLimit = 100;
    static inline const QString cancelledMessage = QStringLiteral("Speed test cancelled.");

    NetworkSpeedTestViewModel(SpeedTestBackend& backend, Settings& settings, Clock& clock,
                              QObject* parent = nullptr);
    ~NetworkSpeedTestViewModel() override;

    QString downloadSpeed() const { return downloadSpeed_; }
    QString uploadSpeed() const { return uploadSpeed_; }
    QString latency() const { return latency_; }
    bool isTesting() const { return isTesting_; }
    QString statusMessage() const { return statusMessage_; }
    // The part of the running test done, 0...1.
    double progress() const { return progress_; }
    int runToken() const { return runToken_; }
    bool isAvailable() const { return backend_.isAvailable(); }
    // Newest first.
    const QList<SpeedTestHistoryEntry>& history() const { return history_; }

    // The display unit ("speedTestMetric", default "Mbps"). Setting it saves it and shows the
    // current figures in it; an unknown unit is refused with a sentence.
    QString unit() const;
    [[nodiscard]] Status setUnit(const QString& unit);

    void run();
    void cancel();
    [[nodiscard]] Status clearHistory();
    // Reads the stored history again (another process may have added to it).
    void reloadHistory();

signals:
    void changed();
    void historyChanged();
    // A run ended with a result or a failure (not when it was cancelled).
    void runEnded(bool succeeded);

private:
    void show(const SpeedTestSummary& summary);
    void setStatus(const QString& message);
    void handleProgress(int token, double fraction, const QString& phase,
                        const SpeedTestSummary& soFar);
    void handleFinished(SpeedTestRun* run, int token, const Result<SpeedTestSummary>& result);
    void retire(std::unique_ptr<SpeedTestRun> run);
    void record(const SpeedTestSummary& summary);

    SpeedTestBackend& backend_;
    Settings& settings_;
    Clock& clock_;
    QString downloadSpeed_ = QStringLiteral("--");
    QString uploadSpeed_ = QStringLiteral("--");
    QString latency_ = QStringLiteral("--");
    bool isTesting_ = false;
    QString statusMessage_;
    double progress_ = 0.0;
    int runToken_ = 0;
    QList<SpeedTestHistoryEntry> history_;
    std::optional<SpeedTestSummary> shown_; // the figures on show, for a change of unit
    std::unique_ptr<SpeedTestRun> testProcess_;
    std::vector<std::unique_ptr<SpeedTestRun>> cancelled_; // waiting to report their end
};

} // namespace velmox
