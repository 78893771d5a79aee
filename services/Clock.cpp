#include "services/Clock.h"

#include <QTimer>

namespace velmox {

namespace {

class TimerJob final : public ScheduledJob {
public:
    TimerJob(std::chrono::milliseconds delay, std::function<void()> job, bool repeating,
             std::chrono::milliseconds tolerance)
        : job_(std::move(job)) {
        timer_.setSingleShot(!repeating);
        // Qt's coarse timers allow about 5% of slack, which is what a tolerance asks for.
        timer_.setTimerType(tolerance.count() > 0 ? Qt::CoarseTimer : Qt::PreciseTimer);
        timer_.setInterval(delay);
        QObject::connect(&timer_, &QTimer::timeout, [this] { job_(); });
        timer_.start();
    }
    void cancel() override { timer_.stop(); }
    bool isPending() const override { return timer_.isActive(); }

private:
    QTimer timer_;
    std::function<void()> job_;
};

} // namespace

QDateTime SystemClock::now() const {
    return QDateTime::currentDateTimeUtc();
}

std::chrono::steady_clock::time_point SystemClock::steadyNow() const {
    return std::chrono::steady_clock::now();
}

std::unique_ptr<ScheduledJob> SystemClock::schedule(std::chrono::milliseconds delay,
                                                    std::function<void()> job, bool repeating,
                                                    std::chrono::milliseconds tolerance) {
    return std::make_unique<TimerJob>(delay, std::move(job), repeating, tolerance);
}

SystemClock& SystemClock::shared() {
    static SystemClock clock;
    return clock;
}

} // namespace velmox
