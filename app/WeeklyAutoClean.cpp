#include "app/WeeklyAutoClean.h"

#include "services/Clock.h"
#include "services/Settings.h"

#include <QThread>

namespace velmox {

WeeklyAutoClean::WeeklyAutoClean(Settings& settings, Clock& clock, MaintenanceTaskLookup lookup,
                                 QObject* parent)
    : QObject(parent), settings_(settings), clock_(clock), lookup_(std::move(lookup)) {}

WeeklyAutoClean::~WeeklyAutoClean() {
    // A clean still running at quit is finished first; its finished handler dies with us.
    if (worker_) {
        worker_->wait();
        delete worker_;
    }
}

void WeeklyAutoClean::start() {
    lastRun_ = settings_.value(kLastRunKey).toDateTime();
    if (!lastRun_.isValid())
        markRun();
    scheduleNext();
}

void WeeklyAutoClean::scheduleNext() {
    // The time kept in memory, not the file's: a run whose time could not be saved must not
    // be taken for one that never happened.
    nextRun_ = lastRun_.addSecs(kInterval.count());
    const qint64 wait = std::max<qint64>(0, clock_.now().msecsTo(nextRun_));
    // A week's wait fits a timer; an hour of slack lets the system batch the wake-up.
    job_ = clock_.schedule(
        std::chrono::milliseconds(wait), [this] { runNow(); }, false, std::chrono::hours(1));
}

void WeeklyAutoClean::runNow() {
    if (running_)
        return;
    markRun();
    std::function<void()> task;
    if (settings_.boolValue(kEnabledKey, false) && lookup_)
        task = lookup_(kTaskName);
    if (!task) {
        finish(false);
        return;
    }
    running_ = true;
    worker_ = QThread::create(std::move(task));
    worker_->setObjectName(QStringLiteral("velmox-auto-clean"));
    connect(worker_, &QThread::finished, this, [this] {
        worker_->deleteLater();
        worker_ = nullptr;
        finish(true);
    });
    worker_->start(QThread::LowPriority);
}

void WeeklyAutoClean::markRun() {
    lastRun_ = clock_.now();
    if (const Status saved = settings_.setValue(kLastRunKey, lastRun_); !saved)
        emit saveFailed(saved.error());
}

void WeeklyAutoClean::finish(bool ranTask) {
    running_ = false;
    scheduleNext();
    emit runFinished(ranTask);
}

} // namespace velmox
