#include "app/StartupMigration.h"

#include "platform/PlatformPaths.h"
#include "services/Settings.h"

#include <QDir>
#include <QFileInfo>
#include <QSettings>

namespace velmox {

const QStringList StartupMigration::kLegacyFolderNames{
    QStringLiteral("Warrantis"), QStringLiteral("BriskTide"), QStringLiteral("Brisk Tyde"),
    QStringLiteral("Tideworks")};

namespace {

// Moves what `from` holds into `to`. A name taken in `to` is merged when both are
// folders and otherwise left where it was, so nothing is ever replaced.
void mergeInto(const QString& from, const QString& to) {
    QDir().mkpath(to);
    QDir source(from);
    const QFileInfoList entries =
        source.entryInfoList(QDir::AllEntries | QDir::Hidden | QDir::System | QDir::NoDotAndDotDot);
    for (const QFileInfo& entry : entries) {
        const QString target = to + QLatin1Char('/') + entry.fileName();
        const QFileInfo existing(target);
        if (!existing.exists() && !existing.isSymLink()) {
            QDir().rename(entry.filePath(), target);
        } else if (entry.isDir() && !entry.isSymLink() && existing.isDir() &&
                   !existing.isSymLink()) {
            mergeInto(entry.filePath(), target);
            QDir().rmdir(entry.filePath());
        }
    }
}

} // namespace

bool StartupMigration::run(Settings& settings, bool runningAsRoot) {
    if (runningAsRoot)
        return false;
    migrateFolders(PlatformPaths::appDataParent());
    migrateDefaults(settings, legacyDefaultsFile());
    return true;
}

void StartupMigration::migrateFolders(const QString& parent) {
    const QString velmox = parent + QStringLiteral("/Velmox");
    for (const QString& name : kLegacyFolderNames) {
        const QString legacy = parent + QLatin1Char('/') + name;
        const QFileInfo info(legacy);
        if (!info.isDir() || info.isSymLink())
            continue;
        mergeInto(legacy, velmox);
        QDir().rmdir(legacy); // only succeeds when everything moved
    }
}

void StartupMigration::migrateDefaults(Settings& settings, const QString& legacyFile) {
    if (settings.boolValue(kDoneKey, false))
        return;
    if (QFileInfo::exists(legacyFile)) {
        const QSettings legacy(legacyFile, QSettings::IniFormat);
        for (const QString& key : legacy.allKeys())
            if (!settings.contains(key))
                (void)settings.setValue(key, legacy.value(key));
    }
    // Migration failures are swallowed: start-up goes on, and an unsaved flag only means the
    // copy is tried again at the next start.
    (void)settings.setValue(kDoneKey, true);
}

QString StartupMigration::legacyDefaultsFile() {
    // The settings file sits in <config>/Velmox/; the legacy one directly in <config>.
    const QString velmoxFolder = QFileInfo(PlatformPaths::settingsFile()).absolutePath();
    return QFileInfo(velmoxFolder).absolutePath() + QLatin1Char('/') + kLegacyDomain +
           QStringLiteral(".conf");
}

} // namespace velmox
