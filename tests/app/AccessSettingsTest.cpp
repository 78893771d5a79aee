#include "app/AccessSettingsPane.h"
#include "services/KeychainHelper.h"
#include "tests/app/WindowFixture.h"
#include "tests/support/TestAccounts.h"

#include <QFile>
#include <QLineEdit>
#include <QSignalSpy>
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

TEST_F(AccessSettingsTest, AWrongPasswordIsNotSaved) {
    pane.passwordField()->setText("not-the-password");
    pane.save();
    EXPECT_TRUE(finish().startsWith(
        QString("The password was not accepted for '%1'").arg(test::kAdminAccount)));
    EXPECT_EQ(services.keychain().hasSavedPassword(), false);
}
