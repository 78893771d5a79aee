#pragma once
#include <QString>
#include <QStringList>
namespace velmox {
// What one automation task run did: success and the message shown to the user.
struct AutomationTaskOutcome {
    bool success = false;
    QString message;
    bool operator==(const AutomationTaskOutcome&) const = default;
};
// Runs the system work of one automation task, identified by its catalogue id. Called on
// the automation worker thread, never on the main thread. Implementations never prompt.
class AutomationTaskPerformer {
public:
    virtual ~AutomationTaskPerformer() = default;
    // dryRun: describe, change nothing. Administrator work runs directly when the
    // process is root, else with the saved password; never with a prompt.
    virtual AutomationTaskOutcome perform(const QString& taskId, bool dryRun) = 0;
    // What cache cleaning leaves alone: folders, and items named after these app IDs. The
    // engine sets it on the worker thread before each task.
    virtual void setProtection(const QStringList& folders, const QStringList& appIds) {
        (void)folders;
        (void)appIds;
    }
};
} // namespace velmox
