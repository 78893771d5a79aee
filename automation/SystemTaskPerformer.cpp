#include "automation/SystemTaskPerformer.h"

#include "automation/linux/LinuxAutomationTaskPerformer.h"
#include "automation/linux/LogindKeepAwake.h"

namespace velmox {

namespace {

class LinuxSystemTaskPerformer final : public AutomationTaskPerformer {
public:
    LinuxSystemTaskPerformer(KeychainHelper& keychain, ShellHelper& shell)
        : tasks_(keychain, shell, keepAwake_) {}

    AutomationTaskOutcome perform(const QString& taskId, bool dryRun) override {
        return tasks_.perform(taskId, dryRun);
    }
    void setProtection(const QStringList& folders, const QStringList& appIds) override {
        tasks_.setProtection(folders, appIds);
    }

private:
    LogindKeepAwake keepAwake_; // before the tasks, which hold on to it
    LinuxAutomationTaskPerformer tasks_;
};

} // namespace

std::unique_ptr<AutomationTaskPerformer> makeSystemTaskPerformer(KeychainHelper& keychain,
                                                                 ShellHelper& shell) {
    return std::make_unique<LinuxSystemTaskPerformer>(keychain, shell);
}

} // namespace velmox
