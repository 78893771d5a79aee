#include "app/AccessSettingsPane.h"
#include "services/KeychainHelper.h"
#include "services/ShellHelper.h"
#include "tests/app/WindowFixture.h"
#include "tests/support/TestAccounts.h"

#include <QDBusConnection>
#include <QDBusConnectionInterface>
#include <QDBusReply>
#include <QFile>
#include <QLineEdit>
#include <QSignalSpy>
#include <csignal>
#include <gtest/gtest.h>

using namespace velmox;

// Runs as velmox-test-admin with a private, unlocked gnome-keyring: sudo and the Secret
// Service are the real ones.
namespace {

struct AccessSettingsTest : test::WindowFixture {
    AccessSettingsPane pane{services};

    QString finish() {
        QSignalSpy finished(&pane, &AccessSettingsPane::checkFinished);
        if (!finished.wait(60000))
            return QStringLiteral("(no answer)");
        return finished.first().first().toString();
    }
};

} // namespace

TEST_F(AccessSettingsTest, ChecksRunOffTheMainThreadAndSayCheckingMeanwhile) {
    EXPECT_EQ(pane.nameField()->text(), test::kAdminAccount);
    pane.passwordField()->clear();
    pane.save();
    EXPECT_TRUE(pane.isChecking());
    EXPECT_EQ(pane.reportedMessage(), "Checking the password...");
    EXPECT_EQ(finish(), "Enter the administrator name and password.");
    EXPECT_FALSE(pane.isChecking());
}

TEST_F(AccessSettingsTest, ARightPasswordIsSavedTestedAndRemoved) {
    pane.passwordField()->setText(test::kAccountPassword);
    pane.save();
    EXPECT_TRUE(pane.passwordField()->text().isEmpty()) << "the field forgets the password";
    EXPECT_EQ(finish(), QString("Credentials securely stored for '%1'").arg(test::kAdminAccount));
    EXPECT_EQ(services.keychain().hasSavedPassword(), true);
    QFile settingsFile(services.settings().filePath());
    ASSERT_TRUE(settingsFile.open(QIODevice::ReadOnly));
    EXPECT_FALSE(settingsFile.readAll().contains(test::kAccountPassword));

    pane.test();
    EXPECT_EQ(finish(), QString("Success: Administrator privileges verified (commands run as %1)")
                            .arg(test::kAdminAccount));

    pane.remove();
    EXPECT_TRUE(finish().startsWith("Success: "));
    EXPECT_EQ(services.keychain().hasSavedPassword(), false);
}

TEST_F(AccessSettingsTest, ClosingThePaneNeverWaitsForItsCheck) {
    // A keyring that does not answer holds the check up until its pane is long gone.
    const QDBusReply<uint> keyring =
        QDBusConnection::sessionBus().interface()->servicePid("org.freedesktop.secrets");
    ASSERT_TRUE(keyring.isValid()) << keyring.error().message().toStdString();
    auto closing = std::make_unique<AccessSettingsPane>(services);
    closing->passwordField()->setText(test::kAccountPassword);
    ASSERT_EQ(::kill(static_cast<pid_t>(keyring.value()), SIGSTOP), 0);
    closing->save();
    closing.reset();
    ::kill(static_cast<pid_t>(keyring.value()), SIGCONT);

    // The check still ends, and its answer, which has no pane to go to, is dropped.
    EXPECT_TRUE(services.checks().waitForDone(60000));
    QCoreApplication::processEvents();
    EXPECT_EQ(services.settings().stringValue(ShellHelper::kAdminUsernameKey), test::kAdminAccount);
    EXPECT_EQ(services.keychain().hasSavedPassword(), true);
}
