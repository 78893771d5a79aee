#include "app/SoftwareUpdater.h"

#include <QDir>
#include <QFileInfo>
#include <QProcess>

namespace velmox {

namespace {

struct KnownUpdater {
    const char* executable;
    QStringList arguments;
};

// Best first: each desktop's own tool, opened on its list of updates.
const QList<KnownUpdater>& knownUpdaters() {
    static const QList<KnownUpdater> list{
        {"gnome-software", {QStringLiteral("--mode=updates")}},
        {"update-manager", {}},
        {"plasma-discover", {QStringLiteral("--mode"), QStringLiteral("Update")}},
        {"mintupdate", {}},
        {"pamac-manager", {QStringLiteral("--updates")}},
    };
    return list;
}

} // namespace

QStringList SoftwareUpdater::defaultFolders() {
    return {QStringLiteral("/usr/bin"), QStringLiteral("/usr/local/bin")};
}

std::optional<SoftwareUpdater::Launch> SoftwareUpdater::find(const QStringList& folders) {
    for (const KnownUpdater& updater : knownUpdaters())
        for (const QString& folder : folders) {
            const QFileInfo file(QDir(folder).filePath(QLatin1String(updater.executable)));
            if (file.isFile() && file.isExecutable())
                return Launch{file.absoluteFilePath(), updater.arguments};
        }
    return std::nullopt;
}

Status SoftwareUpdater::open(const QStringList& folders) {
    const auto updater = find(folders);
    if (!updater)
        return failure(noUpdaterMessage());
    if (!QProcess::startDetached(updater->program, updater->arguments))
        return failure(QStringLiteral("The software updater (%1) could not be started. Update "
                                      "Velmox with your system's package manager instead.")
                           .arg(updater->program));
    return Done{};
}

QString SoftwareUpdater::noUpdaterMessage() {
    return QStringLiteral("Velmox is updated together with the rest of your system by its "
                          "package manager, and no software updater is installed here. Run "
                          "“sudo apt update && sudo apt upgrade” in a terminal, or use your "
                          "distribution's update tool.");
}

} // namespace velmox
