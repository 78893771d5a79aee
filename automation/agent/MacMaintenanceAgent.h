#pragma once

#include "automation/agent/MaintenanceAgentSettings.h"
#include "services/ToolRunner.h"

#include <QStringList>
#include <functional>

namespace velmox {

// The macOS agent: a generated shell script run by a per-user launchd agent, loaded into the
// user's GUI domain with launchctl. Portable: it only writes files and runs launchctl, so
// tests check the texts and the recorded launchctl calls on any system.
class MacMaintenanceAgent {
public:
    static constexpr const char* kLabel = "com.tideworks.automation";
    using Runner = std::function<ToolRunResult(const QString& program, const QStringList& args)>;

    // `home` is the user's home folder, `uid` the numeric user id of the GUI domain.
    MacMaintenanceAgent(QString home, uint uid, Runner runner);

    static QByteArray script(const MaintenanceAgentSettings& settings);
    static QByteArray propertyList(const QString& scriptPath, AgentInterval interval);

    QString scriptPath() const;
    QString propertyListPath() const;

    // Writes the script and the property list, unloads a running copy (whatever that says)
    // and loads the new one. Success and failure are the notification bodies.
    Result<QString> install(const MaintenanceAgentSettings& settings);
    // Unloads the agent and deletes its property list and script.
    Result<QString> remove();

private:
    QStringList launchctl(const QString& verb) const;

    QString home_;
    uint uid_;
    Runner runner_;
};

} // namespace velmox
