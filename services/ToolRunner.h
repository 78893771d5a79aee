#pragma once

#include <QByteArray>
#include <QString>
#include <QStringList>
#include <optional>

namespace velmox {

struct ToolRunResult {
    // The exit code, or the number of the signal that ended the program; -1 when it could
    // not be started (standardError then says why).
    int status = 0;
    // Both streams decoded as UTF-8; an undecodable stream is empty.
    QString standardOutput;
    QString standardError;
    // The run was stopped because it exceeded its time-out.
    bool timedOut = false;
    // Standard output as the program wrote it, for output that carries paths or names
    // (which need not be UTF-8).
    QByteArray outputBytes;

    bool operator==(const ToolRunResult&) const = default;
};

// Runs one outside program by absolute path and captures what it prints. Every
// unprivileged outside program goes through here.
class ToolRunner {
public:
    // Blocking; call from worker threads. No standard input given = the null device.
    // Past the time-out the program gets SIGTERM, and SIGKILL 2 seconds later if it is
    // still running. Once it has exited, output still held open by a grandchild is waited
    // for at most 3 seconds.
    static ToolRunResult run(const QString& executable, const QStringList& arguments,
                             const std::optional<QByteArray>& standardInput = std::nullopt,
                             double timeoutSeconds = 60.0);
};

} // namespace velmox
