#pragma once

#include "automation/AutomationCatalogue.h"
#include "automation/AutomationTaskPerformer.h"

namespace velmox {

// Stands in where no system performer is linked: dry runs describe the task, real runs fail
// with a sentence that says so.
class UnavailableTaskPerformer final : public AutomationTaskPerformer {
public:
    AutomationTaskOutcome perform(const QString& taskId, bool dryRun) override {
        const AutomationTask task = findAutomationTask(taskId).value_or(AutomationTask{});
        if (dryRun)
            return {true, task.dryRunMessage.isEmpty()
                              ? QStringLiteral("Dry run: would run “%1”. Nothing was changed.")
                                    .arg(task.title)
                              : task.dryRunMessage};
        return {false, QStringLiteral("“%1” can't run on this system yet.").arg(task.title)};
    }
};

} // namespace velmox
