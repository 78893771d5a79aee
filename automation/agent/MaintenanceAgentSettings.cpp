#include "automation/agent/MaintenanceAgentSettings.h"

#include <QDir>
#include <QFileInfo>
#include <QSaveFile>

namespace velmox {

QString MaintenanceAgentTexts::runs(AgentInterval interval) {
    return interval == AgentInterval::weekly ? QStringLiteral("Installed: runs weekly.")
                                             : QStringLiteral("Installed: runs daily.");
}

QJsonObject agentJson(const std::optional<MaintenanceAgentSettings>& installed) {
    if (!installed)
        return {{QStringLiteral("installed"), false}};
    return {{QStringLiteral("installed"), true},
            {QStringLiteral("interval"), installed->interval == AgentInterval::weekly
                                             ? QStringLiteral("weekly")
                                             : QStringLiteral("daily")},
            {QStringLiteral("caches"), installed->caches},
            {QStringLiteral("trash"), installed->trash},
            {QStringLiteral("purge"), installed->purge}};
}

Status writeAgentFile(const QString& path, const QByteArray& content,
                      QFileDevice::Permissions permissions) {
    const QString folder = QFileInfo(path).path();
    if (!QDir().mkpath(folder))
        return failure(QStringLiteral("The folder “%1” could not be created.").arg(folder));
    QSaveFile file(path);
    if (!file.open(QIODevice::WriteOnly) || file.write(content) != content.size() ||
        !file.setPermissions(permissions) || !file.commit())
        return failure(
            QStringLiteral("“%1” could not be written: %2.").arg(path, file.errorString()));
    return Done{};
}

} // namespace velmox
