#pragma once

#include <QDateTime>
#include <chrono>
#include <functional>
#include <memory>

namespace velmox {

// A job the clock will run later; destroying the handle or calling cancel() stops it.
class ScheduledJob {
public:
    virtual ~ScheduledJob() = default;
    virtual void cancel() = 0;
    virtual bool isPending() const = 0;
};

// Everything that waits, schedules or compares times takes a Clock, so tests can drive
// time by hand instead of sleeping.
class Clock {
public:
    virtual ~Clock() = default;
    virtual QDateTime now() const = 0;
    // Time for measuring intervals: it only moves forward, at a steady pace, and does not
    // jump when the wall clock is set. Counted from an arbitrary start.
    virtual std::chrono::steady_clock::time_point steadyNow() const = 0;
    // Runs `job` on the calling thread's event loop after `delay`, once, or every `delay`
    // when `repeating`. `tolerance` lets the system coalesce wake-ups.
    virtual std::unique_ptr<ScheduledJob> schedule(std::chrono::milliseconds delay,
                                                   std::function<void()> job,
                                                   bool repeating = false,
                                                   std::chrono::milliseconds tolerance = {}) = 0;
};

// Wall-clock time, the system's steady clock, and QTimer-based jobs (which run on the
// steady clock too).
class SystemClock final : public Clock {
public:
    QDateTime now() const override;
    std::chrono::steady_clock::time_point steadyNow() const override;
    std::unique_ptr<ScheduledJob> schedule(std::chrono::milliseconds delay,
                                           std::function<void()> job, bool repeating,
                                           std::chrono::milliseconds tolerance) override;
    static SystemClock& shared();
};

} // namespace velmox
