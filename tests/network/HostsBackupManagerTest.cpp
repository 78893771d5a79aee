#include "network/HostsBackupManager.h"
#include "platform/PlatformPaths.h"
#include "platform/QtKeychainSecretStore.h"
#include "services/KeychainHelper.h"

#include <QDir>
#include <QFile>
#include <QMessageAuthenticationCode>
#include <gtest/gtest.h>

using namespace velmox;

// These run with the real Secret Service on a private bus.

namespace {

QByteArray readAll(const QString& path) {
    QFile file(path);
    return file.open(QIODevice::ReadOnly) ? file.readAll() : QByteArray("<unreadable>");
}

void writeAll(const QString& path, const QByteArray& bytes) {
    QDir().mkpath(QFileInfo(path).path());
    QFile file(path);
    ASSERT_TRUE(file.open(QIODevice::WriteOnly));
    file.write(bytes);
}

// Every case starts with no backups in either place.
struct BackupWorld {
    BackupWorld() {
        QDir(PlatformPaths::appDataFolder()).removeRecursively();
        QDir(PlatformPaths::appDataParent() + "/Warrantis").removeRecursively();
    }
    QtKeychainSecretStore store;
    KeychainHelper keychain{store};
    HostsBackupManager backups{keychain};
};

} // namespace

TEST(HostsBackupManager, BackupIsSignedWithTheIntegrityKeyAndRestoresAsIs) {
    BackupWorld world;
    const QByteArray hosts = "127.0.0.1 localhost\n\xff\xfe bytes that are not UTF-8\n";
    const auto made = world.backups.backUp(hosts);
    ASSERT_TRUE(made) << made.error().toStdString();
    EXPECT_TRUE(made->signedBackup);
    EXPECT_EQ(QFileInfo(made->folder).path(),
              PlatformPaths::appDataFolder() + "/HostsBackups");
    EXPECT_EQ(made->name(), made->created.toString("yyyy-MM-dd_HH-mm-ss-zzz"));
    EXPECT_EQ(readAll(made->folder + "/hosts.bak"), hosts);

    const auto key = world.keychain.readOrCreateIntegrityKey();
    ASSERT_TRUE(key);
    EXPECT_EQ(readAll(made->folder + "/hosts.bak.sig"),
              QMessageAuthenticationCode::hash(hosts, *key, QCryptographicHash::Sha256).toHex());

    bool asked = false;
    const auto ask = [&](const QString&, const QString&) { return asked = true; };
    EXPECT_EQ(world.backups.verifiedContents(*made, ask), hosts);
    EXPECT_FALSE(asked);

    // One changed byte, or a changed signature, and nothing is handed out.
    writeAll(made->folder + "/hosts.bak", "127.0.0.1 localhost\n\xff\xfe bytes that are not UTF-9\n");
    const auto changed = world.backups.verifiedContents(*made, ask);
    ASSERT_FALSE(changed);
    EXPECT_EQ(changed.error(), "This backup was changed after it was made, so it was not restored.");
    EXPECT_FALSE(asked);

    QFile::remove(made->folder + "/hosts.bak");
    EXPECT_EQ(world.backups.verifiedContents(*made, ask).error(),
              "The backup file could not be read.");
}

TEST(HostsBackupManager, AnUnsignedBackupIsHandedOutOnlyAfterTheQuestion) {
    BackupWorld world;
    // An older version's backup, in the earlier product's folder, without a signature.
    const QString legacy = PlatformPaths::appDataParent() +
                           "/Warrantis/HostsBackups/2020-01-02_03-04-05-006";
    writeAll(legacy + "/hosts.bak", "old hosts\n");
    const auto found = world.backups.find("2020-01-02_03-04-05-006");
    ASSERT_TRUE(found);
    EXPECT_FALSE(found->signedBackup);

    QStringList questions;
    const auto answer = [&](bool yes) {
        return [&questions, yes](const QString& question, const QString& detail) {
            questions << question << detail;
            return yes;
        };
    };
    const auto declined = world.backups.verifiedContents(*found, answer(false));
    ASSERT_FALSE(declined);
    EXPECT_EQ(declined.error(), "The restore was canceled: this backup could not be verified.");
    EXPECT_EQ(questions,
              (QStringList{"Restore a backup that can't be verified?",
                           "This backup was made by an older version and has no signature, so "
                           "Velmox can't tell whether it was changed. Only continue if you "
                           "trust it."}));
    EXPECT_EQ(world.backups.verifiedContents(*found, answer(true)), "old hosts\n");
    EXPECT_FALSE(world.backups.verifiedContents(*found, {}));
}

// Backups made in one burst get distinct names; the list is newest first across both folders;
// past 30 the oldest go, wherever they are, and a backup's folder that holds no hosts.bak or
// is not named by a time is not a backup at all.
TEST(HostsBackupManager, ThirtyNewestAreKeptNewestFirst) {
    BackupWorld world;
    const QString legacy = PlatformPaths::appDataParent() + "/Warrantis/HostsBackups/";
    writeAll(legacy + "2019-05-05_05-05-05-005/hosts.bak", "legacy\n");
    writeAll(PlatformPaths::appDataFolder() + "/HostsBackups/notes/hosts.bak", "not a backup\n");
    QDir().mkpath(PlatformPaths::appDataFolder() + "/HostsBackups/2019-01-01_00-00-00-000");

    QStringList made;
    for (int i = 0; i < 32; ++i) {
        const auto backup = world.backups.backUp(QByteArray::number(i));
        ASSERT_TRUE(backup) << backup.error().toStdString();
        made.prepend(backup->name());
    }
    const QList<HostsBackupRecord> list = world.backups.list();
    ASSERT_EQ(list.size(), HostsBackupManager::kKept);
    QStringList names;
    for (const HostsBackupRecord& record : list)
        names << record.name();
    EXPECT_EQ(names, made.mid(0, 30));
    EXPECT_EQ(readAll(list.first().folder + "/hosts.bak"), "31");
    EXPECT_FALSE(QFileInfo::exists(legacy + "2019-05-05_05-05-05-005"));
    EXPECT_TRUE(QFileInfo::exists(PlatformPaths::appDataFolder() + "/HostsBackups/notes"));
}
