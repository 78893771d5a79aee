#include "automation/agent/MaintenanceAgentSettings.h"

#include <QDir>
#include <QFileInfo>
#include <QSaveFile>

namespace velmox {

QString MaintenanceAgentTexts::runs(AgentInterval interval) {
    return interval == AgentInterval::weekly ? QStringLiteral("Installed: runs weekly.")
                                             : QStringLiteral("Installed: runs daily.");
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
