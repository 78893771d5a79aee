#include "services/KeychainHelper.h"

#include "platform/QtKeychainSecretStore.h"

#include <QRegularExpression>
#include <gtest/gtest.h>

using namespace velmox;

namespace {

const QString kService = QString::fromLatin1(KeychainHelper::kService);

std::optional<QByteArray> stored(SecretStore& store, const char* service, const char* account) {
    auto item = store.read(QString::fromLatin1(service), QString::fromLatin1(account));
    EXPECT_TRUE(item.has_value()) << item.error().toStdString();
    return item ? *item : std::nullopt;
}

} // namespace

// These run against the real Secret Service: gnome-keyring on a private session bus.
TEST(KeychainHelper, SavesReadsAndDeletesThePasswordAsUtf8) {
    QtKeychainSecretStore store;
    KeychainHelper keychain(store);
    EXPECT_FALSE(keychain.hasSavedPassword());
    EXPECT_FALSE(keychain.readPassword().has_value());

    const QString password = QStringLiteral("pässwörd \"with\" quotes\\ and spaces");
    ASSERT_TRUE(keychain.savePassword(password));
    EXPECT_TRUE(keychain.hasSavedPassword());
    EXPECT_EQ(keychain.readPassword(), password);
    EXPECT_EQ(stored(store, KeychainHelper::kService, KeychainHelper::kPasswordAccount),
              password.toUtf8());

    keychain.deletePassword();
    EXPECT_FALSE(keychain.hasSavedPassword());
    EXPECT_FALSE(keychain.readPassword().has_value());
}

TEST(KeychainHelper, MigratesTheFirstLegacyItemInOrderAndDropsTheOthers) {
    QtKeychainSecretStore store;
    ASSERT_TRUE(store.write("com.velmox.adminCredentials", "admin", "third", "old"));
    ASSERT_TRUE(store.write("com.quarnet.brisktide", "LocalAdminPasswordV2", "second", "old"));
    KeychainHelper keychain(store);

    EXPECT_EQ(keychain.readPassword(), QStringLiteral("second"));
    EXPECT_EQ(stored(store, KeychainHelper::kService, KeychainHelper::kPasswordAccount),
              QByteArray("second"));
    for (const auto& legacy : KeychainHelper::kLegacyPasswordItems)
        EXPECT_FALSE(stored(store, legacy.service, legacy.account).has_value()) << legacy.service;
    EXPECT_EQ(keychain.readPassword(), QStringLiteral("second"));
}

TEST(KeychainHelper, TheIntegrityKeyIsMadeOnceAndSurvivesARestartOfTheStore) {
    QByteArray first;
    QString signature;
    {
        QtKeychainSecretStore store;
        KeychainHelper keychain(store);
        first = keychain.readOrCreateIntegrityKey().value_or(QByteArray());
        ASSERT_EQ(first.size(), 32);
        signature = keychain.sign("hosts backup");
        EXPECT_TRUE(signature.contains(QRegularExpression("^[0-9a-f]{64}$")))
            << signature.toStdString();
    }
    QtKeychainSecretStore store;
    KeychainHelper keychain(store);
    EXPECT_EQ(keychain.readOrCreateIntegrityKey(), first);
    EXPECT_TRUE(keychain.verify("hosts backup", signature));
    EXPECT_FALSE(keychain.verify("hosts backup!", signature));
    EXPECT_FALSE(keychain.verify("hosts backup", signature.toUpper()));
    EXPECT_FALSE(keychain.verify("hosts backup", signature.left(63)));
    // Characters that share their low byte with the right ones are still other characters.
    QString wide = signature;
    for (QChar& character : wide)
        character = QChar(character.unicode() | 0x100);
    EXPECT_FALSE(keychain.verify("hosts backup", wide));
}

TEST(KeychainHelper, SignsWithHmacSha256AsInRfc4231) {
    QtKeychainSecretStore store;
    // Test case 2 of RFC 4231, with its key stored as the integrity key.
    ASSERT_TRUE(store.write(kService, KeychainHelper::kIntegrityKeyAccount, "Jefe", "key"));
    KeychainHelper keychain(store);
    EXPECT_EQ(keychain.sign("what do ya want for nothing?"),
              QStringLiteral("5bdcc146bf60754e6a042426089575c75a003f089d2739839dec58b964ec3843"));
}
