#pragma once

#include "automation/AutomationModel.h"
#include "services/Result.h"

#include <QString>

namespace velmox {

// The automation store file, "Automation Rules.json" in the app data folder. Several Velmox
// processes keep a store on the same file (the window, the command line, the background
// agent's commands), so a save merges: under a lock file that every writer takes, it reads
// what the file holds now and applies to it only what this process changed since it last
// loaded or saved, record by record (by id) and list entry by list entry. What another
// process changed in the meantime survives.
class AutomationStore {
public:
    // The default file is in PlatformPaths::appDataFolder().
    explicit AutomationStore(QString filePath = {});

    static QString defaultFilePath();
    const QString& filePath() const { return filePath_; }

    struct Loaded {
        AutomationStoreData data;
        // A whole sentence when the file exists but could not be read or decoded; the data
        // is then the defaults and the file stays as it is until the next save replaces it.
        QString problem;
    };
    // Reads the file; becomes the base that the next save merges against.
    Loaded load();
    // Writes `data` merged with what the file holds now, atomically, and returns what was
    // written. On failure the file is unchanged.
    Result<AutomationStoreData> save(const AutomationStoreData& data);

    // The three-way merge a save makes: `mine` changed from `base`, applied to `theirs`.
    static AutomationStoreData merge(const AutomationStoreData& base,
                                     const AutomationStoreData& mine,
                                     const AutomationStoreData& theirs);

private:
    QString filePath_;
    AutomationStoreData base_;
};

} // namespace velmox
