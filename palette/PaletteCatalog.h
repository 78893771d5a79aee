#pragma once

#include "automation/AutomationCatalogue.h"
#include "cleaning/OptimizationTask.h"
#include "palette/PaletteCommandStore.h"
#include "palette/PaletteEntry.h"

#include <QList>

namespace velmox {

class OptimizationRegistry;

// What the palette lists besides its fixed pages, tabs and settings.
struct PaletteSources {
    QList<OptimizationTask> maintenanceTasks;
    QList<AutomationTask> automationTasks;
    QList<AutomationChain> chains;
    QList<AutomationProfile> profiles; // built-in ones first, then the user's
    QList<PaletteCommand> commands;
};

// This system's maintenance tasks, automation tasks and built-in profiles; the user's
// routines, profiles and commands are the caller's to add.
PaletteSources builtInPaletteSources(const OptimizationRegistry& registry);

// Every row of the palette, written once as data: each page with its keyword string, each
// tab and sub-view, each setting of the settings window (section "settings"), the
// maintenance and automation tasks, routines, profiles and custom commands, and the row that
// adds a custom command ("command:new"). Each row carries where it leads or what it asks
// before it runs.
QList<PaletteEntry> paletteEntries(const PaletteSources& sources);

// A question followed, after a blank line, by what was found just before asking it: what a
// maintenance task deletes for good and how much, or which apps it ends.
QString questionWithFindings(const QString& question, const QString& findings);

// The rows of builtInPaletteSources(registry).
QList<PaletteEntry> builtInPaletteEntries(const OptimizationRegistry& registry);

// "command:new": the row that adds a custom command.
inline const QString kNewCommandId = QStringLiteral("command:new");

} // namespace velmox
