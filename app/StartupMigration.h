#pragma once

#include <QString>
#include <QStringList>

namespace velmox {

class Settings;

// The two start-up migrations from earlier names of the product. Both swallow every
// failure: start-up goes on whatever happens here.
struct StartupMigration {
    // Earlier names of the app data folder, in the order they are merged.
    static const QStringList kLegacyFolderNames;
    // The settings domain of an earlier build, read once per user.
    static inline const QString kLegacyDomain = QStringLiteral("com.quarnet.brisk-tyde");
    static inline const QString kDoneKey = QStringLiteral("legacyDefaultsMigrated");

    // Runs both migrations unless `runningAsRoot`; returns whether they ran
    // (renameMigrationDone).
    static bool run(Settings& settings, bool runningAsRoot);

    // Moves the contents of each legacy folder under `parent` into `parent`/Velmox, never
    // replacing anything already there, and removes a legacy folder once it is empty.
    static void migrateFolders(const QString& parent);
    // Copies every key of the legacy settings file that the current settings lack, once.
    static void migrateDefaults(Settings& settings, const QString& legacyFile);
    // The legacy domain's INI file: beside the current settings folder.
    static QString legacyDefaultsFile();
};

} // namespace velmox
