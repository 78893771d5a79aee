#include "app/WeeklyAutoClean.h"

#include "services/Clock.h"
#include "services/Settings.h"

#include <QThread>

namespace velmox {

WeeklyAutoClean::WeeklyAutoClean(Settings& settings, Clock& clock, MaintenanceTaskLookup lookup,
                                 QObject* parent)
    : QObject(parent), settings_(settings), clock_(clock), lookup_(std::move(lookup)) {}

WeeklyAutoClean::~WeeklyAutoClean() = default;

void WeeklyAutoClean::start() {
    if (!settings_.value(kLastRunKey).toDateTime().isValid())
        settings_.setValue(kLastRunKey, clock_.now());
    scheduleNext();
}

void WeeklyAutoClean::scheduleNext() {
    const QDateTime lastRun = settings_.value(kLastRunKey).toDateTime();
    nextRun_ = lastRun.addSecs(kInterval.count());
    const qint64 wait = std::max<qint64>(0, clock_.now().msecsTo(nextRun_));
    // A week's wait fits a timer; an hour of slack lets the system batch the wake-up.
    job_ = clock_.schedule(
        std::chrono::milliseconds(wait), [this] { runNow(); }, false, std::chrono::hours(1));
}

void WeeklyAutoClean::runNow() {
    if (running_)
        return;
    settings_.setValue(kLastRunKey, clock_.now());
    std::function<void()> task;
    if (settings_.boolValue(kEnabledKey, false) && lookup_)
        task = lookup_(kTaskName);
    if (!task) {
        finish(false);
        return;
    }
    running_ = true;
    QThread* worker = QThread::create(std::move(task));
    worker->setObjectName(QStringLiteral("velmox-auto-clean"));
    connect(worker, &QThread::finished, this, [this, worker] {
        worker->deleteLater();
        finish(true);
    });
    worker->start(QThread::LowPriority);
}

void WeeklyAutoClean::finish(bool ranTask) {
    running_ = false;
    scheduleNext();
    emit runFinished(ranTask);
}

} // namespace velmox
