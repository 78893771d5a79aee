#pragma once

#include "services/Result.h"

#include <QByteArray>
#include <QDateTime>
#include <QList>
#include <QString>
#include <functional>

namespace velmox {

class KeychainHelper;

// One saved copy of the hosts file.
struct HostsBackupRecord {
    QString folder;    // absolute path of the backup's own folder
    QDateTime created; // local time, from the folder's name
    bool signedBackup = false;

    QString name() const;
    bool operator==(const HostsBackupRecord&) const = default;
};

// The backups taken before every write of the hosts file: one folder per backup, named by
// the local time to the millisecond ("2026-11-22_09-15-02-417"), holding "hosts.bak" and,
// when the integrity key could be had, "hosts.bak.sig" (lower-case hexadecimal HMAC-SHA256).
// At most 30 are kept. Used from one thread at a time; every call reads the disk afresh and
// may wait for the keyring, so the window calls it from a worker.
class HostsBackupManager {
public:
    static constexpr int kKept = 30;
    static constexpr const char* kDateFormat = "yyyy-MM-dd_HH-mm-ss-zzz";

    // `folders`: where backups are written (the first) and listed (all); by default the
    // application's data folder and the one of the earlier product name.
    explicit HostsBackupManager(KeychainHelper& keychain, QStringList folders = {});

    // Saves `hostsText` as a new backup, then deletes every backup past the 30 newest.
    Result<HostsBackupRecord> backUp(const QByteArray& hostsText);
    // Every backup found, newest first.
    QList<HostsBackupRecord> list() const;
    std::optional<HostsBackupRecord> find(const QString& name) const;

    // Whether a restore may go on, and with which bytes.
    // `confirmUnsigned` is asked only for a backup without a signature, with the question and
    // its explanation; it returns true to go on.
    static QString unsignedQuestion();
    static QString unsignedDetail();
    using ConfirmUnsigned = std::function<bool(const QString& question, const QString& detail)>;
    Result<QByteArray> verifiedContents(const HostsBackupRecord& backup,
                                        const ConfirmUnsigned& confirmUnsigned);

    QString writeFolder() const { return folders_.first(); }

private:
    KeychainHelper& keychain_;
    QStringList folders_;
};

} // namespace velmox
