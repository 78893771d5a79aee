#include "tests/support/ManualClock.h"

#include <algorithm>

namespace velmox::test {

struct ManualClock::Entry {
    QDateTime due;
    std::chrono::milliseconds interval;
    bool repeating;
    bool pending = true;
    std::function<void()> job;
};

class ManualJob final : public ScheduledJob {
public:
    ManualJob(ManualClock& clock, ManualClock::Entry* entry) : clock_(clock), entry_(entry) {}
    ~ManualJob() override {
        auto& entries = clock_.entries_;
        entries.erase(std::remove(entries.begin(), entries.end(), entry_), entries.end());
        delete entry_;
    }
    void cancel() override { entry_->pending = false; }
    bool isPending() const override { return entry_->pending; }

private:
    ManualClock& clock_;
    ManualClock::Entry* entry_;
};

ManualClock::ManualClock(QDateTime start) : now_(std::move(start)) {}

ManualClock::~ManualClock() = default;

std::unique_ptr<ScheduledJob> ManualClock::schedule(std::chrono::milliseconds delay,
                                                    std::function<void()> job, bool repeating,
                                                    std::chrono::milliseconds) {
    auto* entry = new Entry{now_.addMSecs(delay.count()), delay, repeating, true, std::move(job)};
    entries_.push_back(entry);
    return std::make_unique<ManualJob>(*this, entry);
}

void ManualClock::advance(std::chrono::milliseconds by) {
    const QDateTime target = now_.addMSecs(by.count());
    for (;;) {
        Entry* next = nullptr;
        for (Entry* entry : entries_)
            if (entry->pending && entry->due <= target && (!next || entry->due < next->due))
                next = entry;
        if (!next)
            break;
        steady_ += std::chrono::milliseconds(now_.msecsTo(next->due));
        now_ = next->due;
        if (next->repeating)
            next->due = next->due.addMSecs(std::max<qint64>(1, next->interval.count()));
        else
            next->pending = false;
        // Copy: the job may destroy its own handle (and so its entry) while it runs.
        auto job = next->job;
        job();
    }
    steady_ += std::chrono::milliseconds(now_.msecsTo(target));
    now_ = target;
}

void ManualClock::setWallClock(const QDateTime& time) {
    const qint64 step = now_.msecsTo(time);
    for (Entry* entry : entries_)
        entry->due = entry->due.addMSecs(step);
    now_ = time;
}

int ManualClock::pendingJobs() const {
    return static_cast<int>(std::count_if(entries_.begin(), entries_.end(),
                                          [](const Entry* e) { return e->pending; }));
}

} // namespace velmox::test
