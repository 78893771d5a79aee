#include "network/HostsBackupManager.h"

#include "platform/PlatformPaths.h"
#include "services/KeychainHelper.h"

#include <QDir>
#include <QFile>
#include <QSaveFile>
#include <algorithm>

namespace velmox {

namespace {

constexpr const char* kBackupFile = "hosts.bak";
constexpr const char* kSignatureFile = "hosts.bak.sig";

bool writeWhole(const QString& path, const QByteArray& bytes) {
    QSaveFile file(path);
    return file.open(QIODevice::WriteOnly) && file.write(bytes) == bytes.size() && file.commit();
}

} // namespace

QString HostsBackupRecord::name() const {
    return QFileInfo(folder).fileName();
}

HostsBackupManager::HostsBackupManager(KeychainHelper& keychain, QStringList folders)
    : keychain_(keychain), folders_(std::move(folders)) {
    if (folders_.isEmpty())
        folders_ = {PlatformPaths::appDataFolder() + QStringLiteral("/HostsBackups"),
                    PlatformPaths::appDataParent() + QStringLiteral("/Warrantis/HostsBackups")};
}

Result<HostsBackupRecord> HostsBackupManager::backUp(const QByteArray& hostsText) {
    const QString failed = QStringLiteral("Could not back up the hosts file to “%1”.");
    if (!QDir().mkpath(writeFolder()))
        return failure(failed.arg(writeFolder()));
    // Two backups within one millisecond get the next free millisecond's name.
    QDateTime when = QDateTime::currentDateTime();
    QString folder;
    for (;; when = when.addMSecs(1)) {
        folder = writeFolder() + QLatin1Char('/') + when.toString(QLatin1String(kDateFormat));
        if (QDir().mkdir(folder))
            break;
        if (!QFileInfo::exists(folder))
            return failure(failed.arg(writeFolder()));
    }
    if (!writeWhole(folder + QLatin1Char('/') + QLatin1String(kBackupFile), hostsText)) {
        QDir(folder).removeRecursively();
        return failure(failed.arg(folder));
    }
    const QString signature = keychain_.sign(hostsText);
    const bool signedBackup =
        !signature.isEmpty() &&
        writeWhole(folder + QLatin1Char('/') + QLatin1String(kSignatureFile), signature.toUtf8());

    const QList<HostsBackupRecord> all = list();
    for (qsizetype i = kKept; i < all.size(); ++i)
        QDir(all.at(i).folder).removeRecursively(); // one that cannot go is left alone
    return HostsBackupRecord{folder, when, signedBackup};
}

QList<HostsBackupRecord> HostsBackupManager::list() const {
    QList<HostsBackupRecord> records;
    for (const QString& parent : folders_) {
        const QDir dir(parent);
        for (const QString& name : dir.entryList(QDir::Dirs | QDir::NoDotAndDotDot)) {
            const QDateTime created = QDateTime::fromString(name, QLatin1String(kDateFormat));
            const QString folder = dir.filePath(name);
            if (!created.isValid() ||
                !QFileInfo::exists(folder + QLatin1Char('/') + QLatin1String(kBackupFile)))
                continue;
            records.append(
                {folder, created,
                 QFileInfo::exists(folder + QLatin1Char('/') + QLatin1String(kSignatureFile))});
        }
    }
    // Newest first; the same time in both places: the current place first.
    std::stable_sort(records.begin(), records.end(),
                     [](const HostsBackupRecord& a, const HostsBackupRecord& b) {
                         return a.created > b.created;
                     });
    return records;
}

std::optional<HostsBackupRecord> HostsBackupManager::find(const QString& name) const {
    for (const HostsBackupRecord& record : list())
        if (record.name() == name)
            return record;
    return std::nullopt;
}

QString HostsBackupManager::unsignedQuestion() {
    return QStringLiteral("Restore a backup that can't be verified?");
}

QString HostsBackupManager::unsignedDetail() {
    return QStringLiteral("This backup was made by an older version and has no signature, so "
                          "Velmox can't tell whether it was changed. Only continue if you trust "
                          "it.");
}

Result<QByteArray> HostsBackupManager::verifiedContents(const HostsBackupRecord& backup,
                                                        const ConfirmUnsigned& confirmUnsigned) {
    QFile file(backup.folder + QLatin1Char('/') + QLatin1String(kBackupFile));
    if (!file.open(QIODevice::ReadOnly))
        return failure(QStringLiteral("The backup file could not be read."));
    const QByteArray contents = file.readAll();
    if (file.error() != QFileDevice::NoError)
        return failure(QStringLiteral("The backup file could not be read."));

    QFile signatureFile(backup.folder + QLatin1Char('/') + QLatin1String(kSignatureFile));
    if (signatureFile.exists()) {
        if (!signatureFile.open(QIODevice::ReadOnly))
            return failure(QStringLiteral("The backup file could not be read."));
        const QString signature = QString::fromUtf8(signatureFile.readAll()).trimmed();
        if (!keychain_.verify(contents, signature))
            return failure(QStringLiteral(
                "This backup was changed after it was made, so it was not restored."));
        return contents;
    }
    if (!confirmUnsigned || !confirmUnsigned(unsignedQuestion(), unsignedDetail()))
        return failure(
            QStringLiteral("The restore was canceled: this backup could not be verified."));
    return contents;
}

} // namespace velmox
