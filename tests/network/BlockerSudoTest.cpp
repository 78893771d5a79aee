#include "network/BlockApplier.h"
#include "network/BlockChainFiles.h"
#include "network/HostsFile.h"
#include "platform/PromptElevation.h"
#include "platform/QtKeychainSecretStore.h"
#include "services/KeychainHelper.h"
#include "services/Settings.h"
#include "services/ShellHelper.h"
#include "tests/support/TestAccounts.h"

#include <QFile>
#include <QFileInfo>
#include <QTemporaryDir>
#include <gtest/gtest.h>

using namespace velmox;
using namespace velmox::test;

// Runs as velmox-test-admin: the whole apply goes through the real sudo with the saved
// password, once. Root then enters a private network and mount namespace before the chain
// runs, with a file of the test's own mounted over /etc/hosts, so the machine's hosts file
// and firewall stay untouched.
TEST(BlockerSudo, TheWholeApplyRunsAsOneChainThroughSudo) {
    QtKeychainSecretStore store;
    KeychainHelper keychain(store);
    Settings settings;
    const std::unique_ptr<PromptElevation> prompt = PromptElevation::forThisSystem();
    ShellHelper shell(keychain, settings, *prompt);
    ASSERT_TRUE(keychain.savePassword(kAccountPassword));

    QTemporaryDir folder;
    const QString hosts = folder.filePath("hosts");
    {
        QFile file(hosts);
        ASSERT_TRUE(file.open(QIODevice::WriteOnly));
    }
    QStringList chains;
    QString output;
    HostsBackupManager backups(keychain);
    BlockApplier applier(backups, [&](const QString& chain) {
        chains << chain;
        const QString inside =
            QStringLiteral("/bin/mount --bind %1 /etc/hosts && /sbin/ip link set lo up && { %2; "
                           "}; /usr/sbin/nft list tables")
                .arg(shellQuoted(hosts), chain);
        const CommandResult result = shell.runPrivileged(
            "/usr/bin/unshare --net --mount /bin/sh -c " + shellQuoted(inside), false);
        output = result ? *result : result.error().description();
        return result;
    });

    const QList<BlockRule> rules{*parseBlockInput("sudo.example"), *parseBlockInput("10.0.0.0/8")};
    const Result<QString> applied = applier.apply(rules, true);
    ASSERT_TRUE(applied) << applied.error().toStdString();
    EXPECT_EQ(*applied, "Blocking is on: 2 names in the hosts file, 1 address in the firewall.");
    EXPECT_EQ(chains.size(), 1);
    EXPECT_TRUE(output.endsWith("TK_BLOCKER_OK\ntable inet velmox_blocker")) << output.toStdString();

    QFile real(BlockApplier::hostsPath());
    ASSERT_TRUE(real.open(QIODevice::ReadOnly));
    QFile written(hosts);
    ASSERT_TRUE(written.open(QIODevice::ReadOnly));
    EXPECT_EQ(written.readAll(), HostsFile::rewrite(real.readAll(), rules, true));
    EXPECT_EQ(QFileInfo(hosts).ownerId(), 0u);
    EXPECT_EQ(backups.list().size(), 1);
    EXPECT_TRUE(backups.list().first().signedBackup);
}
