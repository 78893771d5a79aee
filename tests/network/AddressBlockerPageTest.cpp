#include "app/pages/AddressBlockerPage.h"
#include "network/BlockChainFiles.h"
#include "network/HostsFile.h"
#include "network/NetworkBlockerModel.h"
#include "platform/QtKeychainSecretStore.h"
#include "services/KeychainHelper.h"
#include "services/Settings.h"
#include "services/SudoRunner.h"

#include <QCheckBox>
#include <QDir>
#include <QFile>
#include <QLabel>
#include <QLineEdit>
#include <QListWidget>
#include <QPushButton>
#include <QTemporaryDir>
#include <QTest>
#include <QTreeWidget>
#include <gtest/gtest.h>
#include <unistd.h>

using namespace velmox;

namespace {

template <typename T> T* find(QWidget& page, const QString& text) {
    for (T* widget : page.findChildren<T*>())
        if constexpr (requires { widget->text(); }) {
            if (widget->text() == text)
                return widget;
        }
    return nullptr;
}

QByteArray readAll(const QString& path) {
    QFile file(path);
    return file.open(QIODevice::ReadOnly) ? file.readAll() : QByteArray();
}

} // namespace

// The page against the real model, keyring and chain; the chain runs as root inside a
// private network and mount namespace with a file of the test's own over /etc/hosts.
TEST(AddressBlockerPage, AddApplyAndRestoreFromThePage) {
    if (::geteuid() != 0)
        GTEST_SKIP() << "Needs root for the namespace.";
    QTemporaryDir folder;
    const QString hosts = folder.filePath("hosts");
    QFile::copy(BlockApplier::hostsPath(), hosts);
    const QByteArray original = readAll(hosts);

    Settings settings;
    QtKeychainSecretStore store;
    KeychainHelper keychain(store);
    NetworkBlockerModel model(settings, keychain, [&](const QString& chain) -> CommandResult {
        const QString inside =
            QStringLiteral("/bin/mount --bind %1 /etc/hosts && /sbin/ip link set lo up && { %2; }")
                .arg(shellQuoted(hosts), chain);
        const PrivilegedRunResult ran =
            SudoRunner::run({}, "/usr/bin/unshare --net --mount /bin/sh -c " + shellQuoted(inside));
        if (!ran.succeeded)
            return commandFailure(ran.errorMessage.value_or(QString()));
        return ran.output;
    });
    AddressBlockerPage page(model);
    QStringList questions;
    page.setQuestion([&](const QString& question, const QString&) {
        questions << question;
        return false;
    });
    page.resize(760, 820);
    page.show();

    auto* input = page.findChild<QLineEdit*>();
    auto* error = page.findChild<QLabel*>("inputError");
    auto* rules = page.findChild<QTreeWidget*>();
    input->setText("999.0.0.1");
    QTest::keyClick(input, Qt::Key_Return);
    EXPECT_TRUE(error->isVisibleTo(&page));
    EXPECT_EQ(error->text(), "“999.0.0.1” is not a valid IP address.");
    EXPECT_EQ(input->text(), "999.0.0.1");
    for (const char* typed : {"https://tracker.example.com/pixel.gif", "203.0.113.0/24",
                              "ads.example", "198.51.100.7"}) {
        input->setText(typed);
        QTest::keyClick(input, Qt::Key_Return);
    }
    EXPECT_FALSE(error->isVisibleTo(&page));
    ASSERT_EQ(rules->topLevelItemCount(), 4);
    EXPECT_EQ(rules->topLevelItem(0)->text(0), "tracker.example.com");
    EXPECT_EQ(rules->topLevelItem(0)->text(2), "https://tracker.example.com/pixel.gif");
    rules->topLevelItem(3)->setCheckState(0, Qt::Unchecked);
    EXPECT_FALSE(loadBlockRules(settings).at(3).enabled);

    find<QCheckBox>(page, "Block these addresses")->setChecked(true);
    find<QPushButton>(page, "Apply")->click();
    auto* status = page.findChild<QLabel*>("blockerStatus");
    EXPECT_EQ(status->text(), "Applying blocking rules...");
    ASSERT_TRUE(QTest::qWaitFor([&] { return !model.pending(); }, 60000));
    EXPECT_EQ(status->text(),
              "Blocking is on: 3 names in the hosts file, 1 address in the firewall.");
    EXPECT_TRUE(settings.boolValue(BlockerKeys::kEnabled, false));
    EXPECT_EQ(readAll(hosts), HostsFile::rewrite(original, loadBlockRules(settings), true));
    EXPECT_TRUE(find<QPushButton>(page, "Apply Again"));

    auto* backups = page.findChild<QListWidget*>();
    ASSERT_EQ(backups->count(), 1);
    page.grab().save(QDir::tempPath() + "/address-blocker-page.png");
    if (const QByteArray shots = qgetenv("VELMOX_SCREENSHOTS"); !shots.isEmpty())
        page.grab().save(QString::fromLocal8Bit(shots) + "/address-blocker-page.png");

    // The backup holds the file as it was before the apply; without its signature the page
    // asks first, and a no leaves the hosts file alone.
    const QString folderOfBackup = model.backups().first().folder;
    ASSERT_TRUE(QFile::remove(folderOfBackup + "/hosts.bak.sig"));
    model.refreshBackups();
    ASSERT_TRUE(QTest::qWaitFor([&] { return !model.backups().first().signedBackup; }, 10000));
    backups->setCurrentRow(0);
    find<QPushButton>(page, "Restore")->click();
    ASSERT_TRUE(QTest::qWaitFor([&] { return !model.pending(); }, 60000));
    EXPECT_EQ(questions, QStringList{"Restore a backup that can't be verified?"});
    EXPECT_EQ(status->text(), "The restore was canceled: this backup could not be verified.");
    EXPECT_NE(readAll(hosts), original);
}
