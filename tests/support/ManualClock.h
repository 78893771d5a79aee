#pragma once

#include <vector>

#include "services/Clock.h"

namespace velmox::test {

// A clock that moves only when a test calls advance(); due jobs run inside advance(),
// in the order of their due times. setWallClock() sets the wall clock alone, as a user or
// a time server does: the steady time and the jobs' schedule do not move.
class ManualClock final : public Clock {
public:
    explicit ManualClock(QDateTime start = QDateTime(QDate(2026, 1, 1), QTime(12, 0), Qt::UTC));
    ~ManualClock() override;

    QDateTime now() const override { return now_; }
    std::chrono::steady_clock::time_point steadyNow() const override { return steady_; }
    std::unique_ptr<ScheduledJob> schedule(std::chrono::milliseconds delay,
                                           std::function<void()> job, bool repeating,
                                           std::chrono::milliseconds tolerance) override;
    void advance(std::chrono::milliseconds by);
    void setWallClock(const QDateTime& time);
    int pendingJobs() const;

    struct Entry;

private:
    QDateTime now_;
    std::chrono::steady_clock::time_point steady_{std::chrono::hours(1)};
    std::vector<Entry*> entries_;
    friend class ManualJob;
};

} // namespace velmox::test
