#pragma once

#include "services/Result.h"

#include <QByteArray>
#include <QFileDevice>
#include <QJsonObject>
#include <QString>
#include <optional>

namespace velmox {

enum class AgentInterval { daily, weekly };

// What the background agent does on its own, daily or weekly, while Velmox need not run.
struct MaintenanceAgentSettings {
    bool caches = false; // move the user caches to the Trash
    bool trash = false;  // permanently remove Trash items older than 30 days
    bool purge = false;  // drop the page cache, only where sudo needs no password
    AgentInterval interval = AgentInterval::daily;

    bool operator==(const MaintenanceAgentSettings&) const = default;
};

// Texts shared by both systems' agents.
struct MaintenanceAgentTexts {
    static QString notificationTitle() { return QStringLiteral("Automated Maintenance"); }
    static QString installed() { return QStringLiteral("Background agent installed"); }
    static QString installFailed() { return QStringLiteral("Failed to install background agent"); }
    static QString removed() { return QStringLiteral("Background agent removed"); }
    // "Installed: runs daily."
    static QString runs(AgentInterval interval);
};

// The agent as `velmox automation list --json` shows it: {"installed": false}, or the
// installed agent's "interval" ("daily", "weekly") and its "caches", "trash" and "purge".
QJsonObject agentJson(const std::optional<MaintenanceAgentSettings>& installed);

// Replaces `path` with `content` atomically and gives it `permissions`.
Status writeAgentFile(const QString& path, const QByteArray& content,
                      QFileDevice::Permissions permissions);

} // namespace velmox
