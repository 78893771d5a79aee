#pragma once

#include "automation/AutomationModel.h"

#include <QDateTime>
#include <optional>

namespace velmox {

// The plan's most recent slot not later than `now` on the local calendar: today's time (daily)
// or that time on the latest matching weekday (weekly). A time that a clock change skips moves
// to the first valid time after it; a time that a clock change repeats counts at its first
// occurrence. None for `off`.
std::optional<QDateTime> latestSlot(const AutomationSchedulePlan& plan, const QDateTime& now);

// Due when the plan has run before and its last run lies before the latest slot. A plan that
// never ran is never due: it first gets a lastRun when it is saved.
bool isDue(const AutomationSchedulePlan& plan, const QDateTime& now);

} // namespace velmox
