#pragma once

#include "services/Result.h"

#include <QList>
#include <QString>
#include <functional>
#include <optional>

namespace velmox {

class KeychainHelper;

// A named shell line the user saved to run from the palette. `signature` is the lower-case
// hexadecimal HMAC-SHA256 of signedBytes() under the keyring's integrity key: a record whose
// signature does not verify was changed outside Velmox and is never run.
struct PaletteCommand {
    QString id; // a UUID without braces; the palette entry is "command:<id>"
    QString name;
    QString command;
    QString signature;
    bool operator==(const PaletteCommand&) const = default;

    QByteArray signedBytes() const;
};

// What running a custom command came to: a whole sentence for the status line and the
// activity log, and whether it ran cleanly.
struct PaletteCommandOutcome {
    bool success = false;
    QString message;
    // The signature did not verify; nothing was run.
    bool changedOutside = false;
    bool operator==(const PaletteCommandOutcome&) const = default;
};

// The user's custom commands, "Palette Commands.json" in the app data folder. The window and
// the command line may change it at the same time, so every change re-reads the file under
// a lock file and writes it whole and atomically. Blocking (disk, keyring): call from worker
// threads or the command line. Holds no state but its path, so one store may be used from
// several threads.
class PaletteCommandStore {
public:
    // The default file is in PlatformPaths::appDataFolder().
    explicit PaletteCommandStore(QString filePath = {});

    const QString& filePath() const { return filePath_; }

    struct Loaded {
        QList<PaletteCommand> commands;
        // A whole sentence when the file exists but could not be read; no commands then.
        QString problem;
    };
    Loaded load() const;
    // The commands in the file's bytes; a record without an id is left out. `source` names
    // the file in the sentence of a failure.
    static Loaded parse(const QByteArray& bytes, const QString& source);
    std::optional<PaletteCommand> find(const QString& id) const;

    // Saves a new command signed under the integrity key; refused when the key cannot be
    // had, since an unsigned command could never run.
    Result<PaletteCommand> add(KeychainHelper& keychain, const QString& name,
                               const QString& command);
    // Signs the command as it now stands: the user has seen it and wants it run.
    Status approve(KeychainHelper& keychain, const QString& id);
    Status remove(const QString& id);

    static bool verified(KeychainHelper& keychain, const PaletteCommand& command);
    // Checks the signature (refused, as not checked, when the keyring cannot be read), then
    // runs the line through the task runner (zsh, fixed search path, 120-second time-out).
    static PaletteCommandOutcome run(KeychainHelper& keychain, const PaletteCommand& command);
    static QString changedOutsideMessage(const QString& name);

private:
    Status change(const std::function<Status(QList<PaletteCommand>&)>& edit);

    QString filePath_;
};

} // namespace velmox
