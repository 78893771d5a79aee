#pragma once

#include "automation/agent/MaintenanceAgentSettings.h"
#include "services/ToolRunner.h"

#include <optional>

namespace velmox {

// The Linux agent: a generated shell script, run by the systemd user service
// velmox-maintenance.service, which velmox-maintenance.timer starts daily or weekly
// (Persistent=true: a run missed while the computer was off happens at the next start).
// The script moves the user caches to the freedesktop Trash with .trashinfo files, removes
// Trash items deleted more than 30 days ago and, for purge, drops the page cache through
// `sudo -n` only, so it never waits for a password.
//
// The files are the agent's state: the timer says the interval, the script its tasks.
// Paths come from the environment at each call. Blocking (systemctl); not for the main thread.
class LinuxMaintenanceAgent {
public:
    static constexpr const char* kService = "velmox-maintenance.service";
    static constexpr const char* kTimer = "velmox-maintenance.timer";

    static QByteArray script(const MaintenanceAgentSettings& settings);
    static QByteArray serviceUnit(const QString& scriptPath);
    static QByteArray timerUnit(AgentInterval interval);

    // $XDG_DATA_HOME/Velmox/automation.sh
    static QString scriptPath();
    // $XDG_CONFIG_HOME/systemd/user
    static QString unitFolder();

    // Writes the script and both units, enables the timer the way `systemctl enable` does and
    // asks the user's service manager to load and (re)start it. When that manager can't be
    // reached the files stay in place and the failure says so; the timer then starts with the
    // next login.
    static Status install(const MaintenanceAgentSettings& settings);
    // Stops the timer where a service manager runs, and deletes the units and the script.
    static Status remove();
    // What is installed, read back from the files; nothing when the agent is not installed.
    static std::optional<MaintenanceAgentSettings> installed();
    // The same from the timer unit's and the script's contents (the timer empty: none).
    static std::optional<MaintenanceAgentSettings> settingsFromFiles(const QByteArray& timer,
                                                                     const QByteArray& script);
    // One sentence on whether the user's service manager runs the timer now.
    static QString timerState();
    // The same from what `systemctl --user is-active` answered.
    static QString timerState(const ToolRunResult& isActive);
};

} // namespace velmox
