#include "automation/AutomationSchedule.h"

namespace velmox {

namespace {

// `time` on `date` in local time, resolved the way the calendar matches times.
QDateTime localSlot(const QDate& date, const QTime& time) {
    QDateTime slot(date, time, Qt::LocalTime);
    if (!slot.isValid()) {
        // Inside a spring-forward gap: the first minute after it that exists.
        for (int minutes = 1; minutes <= 24 * 60 && !slot.isValid(); ++minutes)
            slot = QDateTime(date, time.addSecs(minutes * 60), Qt::LocalTime);
        return slot;
    }
    // In a repeated hour the same wall time exists twice; take the earlier one.
    for (const int shift : {3600, 1800, 7200}) {
        const QDateTime earlier = slot.addSecs(-shift);
        if (earlier.date() == date && earlier.time() == time)
            return earlier;
    }
    return slot;
}

} // namespace

std::optional<QDateTime> latestSlot(const AutomationSchedulePlan& plan, const QDateTime& now) {
    if (plan.kind == AutomationScheduleKind::off)
        return std::nullopt;
    const QDateTime local = now.toLocalTime();
    const QTime time(qBound(0, plan.hour, 23), qBound(0, plan.minute, 59));
    QDate date = local.date();
    int step = 1;
    if (plan.kind == AutomationScheduleKind::weekly) {
        // Plans count 1 = Sunday ... 7 = Saturday; Qt counts 1 = Monday ... 7 = Sunday.
        const int wanted = plan.weekday == 1 ? 7 : qBound(1, plan.weekday, 7) - 1;
        date = date.addDays(-((date.dayOfWeek() - wanted + 7) % 7));
        step = 7;
    }
    QDateTime slot = localSlot(date, time);
    if (slot > local)
        slot = localSlot(date.addDays(-step), time);
    return slot;
}

bool isDue(const AutomationSchedulePlan& plan, const QDateTime& now) {
    const auto slot = latestSlot(plan, now);
    return slot && plan.lastRun && *plan.lastRun < *slot;
}

} // namespace velmox
