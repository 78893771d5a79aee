#include "network/NetworkSpeedTestViewModel.h"

#include "network/SpeedTestFormat.h"
#include "services/Clock.h"
#include "services/Settings.h"

#include <QUuid>
#include <algorithm>

namespace velmox {

NetworkSpeedTestViewModel::NetworkSpeedTestViewModel(SpeedTestBackend& backend, Settings& settings,
                                                     Clock& clock, QObject* parent)
    : QObject(parent), backend_(backend), settings_(settings), clock_(clock) {
    reloadHistory();
}

NetworkSpeedTestViewModel::~NetworkSpeedTestViewModel() = default;

QString NetworkSpeedTestViewModel::unit() const {
    const QString saved = settings_.stringValue(unitKey, defaultSpeedTestUnit);
    return isSpeedTestUnit(saved) ? saved : defaultSpeedTestUnit;
}

Status NetworkSpeedTestViewModel::setUnit(const QString& unit) {
    if (!isSpeedTestUnit(unit))
        return failure(QStringLiteral("“%1” is not a speed unit; choose one of %2.")
                           .arg(unit, speedTestUnits().join(QStringLiteral(", "))));
    if (Status saved = settings_.setValue(unitKey, unit); !saved)
        return saved;
    if (shown_ && !isTesting_)
        show(*shown_);
    emit changed();
    return Done{};
}

void NetworkSpeedTestViewModel::run() {
    if (!backend_.isAvailable()) {
        setStatus(backend_.unavailableMessage());
        return;
    }
    if (testProcess_)
        retire(std::move(testProcess_));
    const int token = ++runToken_;
    isTesting_ = true;
    progress_ = 0.0;
    shown_.reset();
    downloadSpeed_ = uploadSpeed_ = latency_ = QStringLiteral("Testing...");
    statusMessage_ = backend_.runningMessage();
    testProcess_ = backend_.start();
    SpeedTestRun* run = testProcess_.get();
    connect(run, &SpeedTestRun::progress, this,
            [this, token](double fraction, const QString& phase, const SpeedTestSummary& soFar) {
                handleProgress(token, fraction, phase, soFar);
            });
    connect(run, &SpeedTestRun::finished, this,
            [this, run, token](const Result<SpeedTestSummary>& result) {
                handleFinished(run, token, result);
            });
    emit changed();
}

void NetworkSpeedTestViewModel::cancel() {
    if (!testProcess_)
        return;
    retire(std::move(testProcess_));
    isTesting_ = false;
    progress_ = 0.0;
    downloadSpeed_ = uploadSpeed_ = latency_ = QStringLiteral("--");
    statusMessage_ = cancelledMessage;
    emit changed();
}

void NetworkSpeedTestViewModel::retire(std::unique_ptr<SpeedTestRun> run) {
    if (run->cancel())
        run.release()->deleteLater();
    else
        cancelled_.push_back(std::move(run));
}

void NetworkSpeedTestViewModel::handleProgress(int token, double fraction, const QString& phase,
                                               const SpeedTestSummary& soFar) {
    if (token != runToken_ || !isTesting_)
        return;
    progress_ = fraction;
    if (soFar.downloadBitsPerSecond)
        downloadSpeed_ = formatThroughput(soFar.downloadBitsPerSecond, unit());
    if (soFar.uploadBitsPerSecond)
        uploadSpeed_ = formatThroughput(soFar.uploadBitsPerSecond, unit());
    if (soFar.baseRttMilliseconds)
        latency_ = formatLatency(soFar.baseRttMilliseconds);
    if (!phase.isEmpty())
        statusMessage_ = backend_.runningMessage() + QLatin1Char(' ') + phase;
    emit changed();
}

void NetworkSpeedTestViewModel::handleFinished(SpeedTestRun* run, int token,
                                               const Result<SpeedTestSummary>& result) {
    // The run is deleted later: it is still inside its own signal.
    if (testProcess_.get() == run) {
        testProcess_.release()->deleteLater();
    } else {
        const auto retired = std::find_if(
            cancelled_.begin(), cancelled_.end(),
            [run](const std::unique_ptr<SpeedTestRun>& held) { return held.get() == run; });
        if (retired != cancelled_.end()) {
            retired->release()->deleteLater();
            cancelled_.erase(retired);
        }
    }
    if (token != runToken_ || !isTesting_)
        return;
    isTesting_ = false;
    progress_ = 0.0;
    if (!result) {
        downloadSpeed_ = uploadSpeed_ = latency_ = QStringLiteral("--");
        statusMessage_ = result.error();
        emit changed();
        emit runEnded(false);
        return;
    }
    show(*result);
    statusMessage_ = QStringLiteral("Speed test complete.");
    record(*result);
    emit changed();
    emit runEnded(true);
}

void NetworkSpeedTestViewModel::show(const SpeedTestSummary& summary) {
    shown_ = summary;
    const QString shownUnit = unit();
    downloadSpeed_ = formatThroughput(summary.downloadBitsPerSecond, shownUnit);
    uploadSpeed_ = formatThroughput(summary.uploadBitsPerSecond, shownUnit);
    latency_ = formatLatency(summary.baseRttMilliseconds);
}

void NetworkSpeedTestViewModel::record(const SpeedTestSummary& summary) {
    const SpeedTestHistoryEntry entry{QUuid::createUuid(),
                                      clock_.now(),
                                      downloadSpeed_,
                                      uploadSpeed_,
                                      latency_,
                                      summary.downloadBitsPerSecond.value_or(0.0),
                                      summary.uploadBitsPerSecond.value_or(0.0),
                                      wholeMilliseconds(summary.baseRttMilliseconds).value_or(0)};
    QList<SpeedTestHistoryEntry> saved;
    std::optional<QString> unreadable;
    Status written = settings_.update(historyKey, [&](const QVariant& stored) {
        auto read = stored.isValid() ? speedTestHistoryFromJson(stored.toByteArray())
                                     : Result<QList<SpeedTestHistoryEntry>>();
        if (!read) {
            // A history this version cannot read stays as it is.
            unreadable = read.error();
            return stored;
        }
        saved = *read;
        saved.prepend(entry);
        if (saved.size() > kHistoryLimit)
            saved.resize(kHistoryLimit);
        return QVariant(speedTestHistoryToJson(saved));
    });
    if (written && unreadable)
        written = failure(*unreadable);
    if (!written) {
        history_.prepend(entry);
        statusMessage_ = QStringLiteral("Speed test complete, but the result could not be "
                                        "saved: ") +
                         written.error();
    } else {
        history_ = saved;
    }
    emit historyChanged();
}

Status NetworkSpeedTestViewModel::clearHistory() {
    if (Status written = settings_.setValue(historyKey, speedTestHistoryToJson({})); !written)
        return written;
    history_.clear();
    emit historyChanged();
    return Done{};
}

void NetworkSpeedTestViewModel::reloadHistory() {
    settings_.sync();
    const QVariant stored = settings_.value(historyKey);
    history_ = stored.isValid() ? speedTestHistoryFromJson(stored.toByteArray())
                                      .value_or(QList<SpeedTestHistoryEntry>())
                                : QList<SpeedTestHistoryEntry>();
    emit historyChanged();
}

void NetworkSpeedTestViewModel::setStatus(const QString& message) {
    statusMessage_ = message;
    emit changed();
}

} // namespace velmox
