// The background agent's state as read back: its timer unit and script (which the user may have
// edited) and what `systemctl --user is-active` answered.
#include "automation/agent/LinuxMaintenanceAgent.h"

#include <cstddef>
#include <cstdint>

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    using velmox::LinuxMaintenanceAgent;
    const QByteArray bytes(reinterpret_cast<const char*>(data), static_cast<qsizetype>(size));
    if (bytes.isEmpty())
        return 0;
    (void)LinuxMaintenanceAgent::settingsFromFiles(bytes, bytes);

    // What the agent writes reads back as it was, whatever follows the script's own lines.
    const uint8_t choice = data[0];
    velmox::MaintenanceAgentSettings settings;
    settings.caches = choice & 1;
    settings.trash = choice & 2;
    settings.purge = choice & 4;
    settings.interval = (choice & 8) ? velmox::AgentInterval::weekly : velmox::AgentInterval::daily;
    if (LinuxMaintenanceAgent::settingsFromFiles(
            LinuxMaintenanceAgent::timerUnit(settings.interval),
            LinuxMaintenanceAgent::script(settings)) != settings)
        __builtin_trap();

    // The status is one sentence on one line, whatever systemctl printed.
    velmox::ToolRunResult run;
    run.status = (choice & 16) ? 3 : 1;
    const qsizetype half = bytes.size() / 2;
    run.standardOutput = QString::fromUtf8(bytes.first(half));
    run.standardError = (choice & 32) ? QString() : QString::fromUtf8(bytes.sliced(half));
    const QString state = LinuxMaintenanceAgent::timerState(run);
    if (!state.endsWith(QLatin1Char('.')) || state.contains(QLatin1Char('\n')))
        __builtin_trap();
    return 0;
}
