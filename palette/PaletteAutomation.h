#pragma once

#include "automation/AutomationEngine.h"
#include "palette/PaletteEntry.h"

namespace velmox {

// Runs an "automation:", "chain:" or "profile:" entry on the engine, by hand ("manual"),
// named by the entry's title in the activity log. `done` gets the result on the engine's
// thread. False, with nothing run, when the entry is of another kind or names a profile the
// engine does not have.
bool runAutomationEntry(AutomationEngine& engine, const PaletteEntry& entry,
                        AutomationEngine::Completion done);

} // namespace velmox
