#include "services/KeychainHelper.h"

#include "platform/PromptElevation.h"
#include "platform/QtKeychainSecretStore.h"
#include "services/Settings.h"
#include "services/ShellHelper.h"

#include <QDBusArgument>
#include <QDBusConnection>
#include <QDBusMessage>
#include <QDBusMetaType>
#include <QDBusObjectPath>
#include <QDBusVariant>
#include <gtest/gtest.h>
#include <unistd.h>

using namespace velmox;

namespace {

const QString kService = QString::fromLatin1(KeychainHelper::kService);

std::optional<QByteArray> stored(SecretStore& store, const char* service, const char* account) {
    auto item = store.read(QString::fromLatin1(service), QString::fromLatin1(account));
    EXPECT_TRUE(item.has_value()) << item.error().toStdString();
    return item ? *item : std::nullopt;
}

// The keyring's own collection, where QtKeychain keeps its items.
const QString kLogin = QStringLiteral("/org/freedesktop/secrets/collection/login");

QDBusMessage callSecretService(const QString& interface, const QString& method,
                               const QVariantList& arguments) {
    QDBusMessage call = QDBusMessage::createMethodCall(
        "org.freedesktop.secrets", "/org/freedesktop/secrets", interface, method);
    call.setArguments(arguments);
    const QDBusMessage reply = QDBusConnection::sessionBus().call(call);
    EXPECT_EQ(reply.type(), QDBusMessage::ReplyMessage) << reply.errorMessage().toStdString();
    return reply;
}

void setDefaultCollection(const QString& collection) {
    callSecretService("org.freedesktop.Secret.Service", "SetAlias",
                      {"default", QVariant::fromValue(QDBusObjectPath(collection))});
}

// As the desktop locks it after a while. No prompt can unlock it here: there is no display.
void lockKeyring() {
    callSecretService("org.freedesktop.Secret.Service", "Lock",
                      {QVariant::fromValue(QList<QDBusObjectPath>{QDBusObjectPath(kLogin)})});
}

// A secret as the Secret Service passes it: session, parameters, value, content type.
struct PlainSecret {
    QDBusObjectPath session;
    QByteArray parameters;
    QByteArray value;
    QString contentType;
};

QDBusArgument& operator<<(QDBusArgument& argument, const PlainSecret& secret) {
    argument.beginStructure();
    argument << secret.session << secret.parameters << secret.value << secret.contentType;
    argument.endStructure();
    return argument;
}

const QDBusArgument& operator>>(const QDBusArgument& argument, PlainSecret& secret) {
    argument.beginStructure();
    argument >> secret.session >> secret.parameters >> secret.value >> secret.contentType;
    argument.endStructure();
    return argument;
}

} // namespace

Q_DECLARE_METATYPE(PlainSecret)

namespace {

// Unlocks the keyring without a prompt, with the password tests/support/run-isolated.sh gave it.
void unlockKeyring() {
    qDBusRegisterMetaType<PlainSecret>();
    const QDBusMessage session =
        callSecretService("org.freedesktop.Secret.Service", "OpenSession",
                          {"plain", QVariant::fromValue(QDBusVariant(QString()))});
    const PlainSecret password{
        session.arguments().value(1).value<QDBusObjectPath>(), {}, "velmox-keyring", "text/plain"};
    callSecretService(
        "org.gnome.keyring.InternalUnsupportedGuiltRiddenInterface", "UnlockWithMasterPassword",
        {QVariant::fromValue(QDBusObjectPath(kLogin)), QVariant::fromValue(password)});
}

} // namespace

// These run against the real Secret Service: gnome-keyring on a private session bus.
TEST(KeychainHelper, SavesReadsAndDeletesThePasswordAsUtf8) {
    QtKeychainSecretStore store;
    KeychainHelper keychain(store);
    EXPECT_EQ(keychain.hasSavedPassword(), false);
    EXPECT_FALSE(keychain.readPassword().value());

    const QString password = QStringLiteral("pässwörd \"with\" quotes\\ and spaces");
    ASSERT_TRUE(keychain.savePassword(password));
    EXPECT_EQ(keychain.hasSavedPassword(), true);
    EXPECT_EQ(keychain.readPassword(), password);
    EXPECT_EQ(stored(store, KeychainHelper::kService, KeychainHelper::kPasswordAccount),
              password.toUtf8());

    keychain.deletePassword();
    EXPECT_EQ(keychain.hasSavedPassword(), false);
    EXPECT_FALSE(keychain.readPassword().value());
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

TEST(KeychainHelper, ALockedKeyringIsNeverTakenForNoPasswordNorReplaced) {
    QtKeychainSecretStore store;
    KeychainHelper keychain(store);
    ASSERT_TRUE(keychain.savePassword("current"));
    // An old item in the keyring's session collection, which no lock reaches.
    setDefaultCollection("/org/freedesktop/secrets/collection/session");
    ASSERT_TRUE(store.write("com.quarnet.brisktide", "LocalAdminPasswordV2", "old", "old"));
    setDefaultCollection(kLogin);
    lockKeyring();

    const QString locked = "The keyring is locked, so what is saved in it cannot be read. Unlock "
                           "the keyring, then try again.";
    const Result<bool> saved = keychain.hasSavedPassword();
    ASSERT_FALSE(saved);
    EXPECT_EQ(saved.error(), locked);
    const Result<std::optional<QString>> password = keychain.readPassword();
    ASSERT_FALSE(password);
    EXPECT_EQ(password.error(), locked);
    Settings settings;
    const auto prompt = PromptElevation::forThisSystem();
    ShellHelper shell(keychain, settings, *prompt);
    // Root needs no password at all; anyone else is told why the keyring gave none.
    const CommandResult run = shell.runPrivileged("id -u", false);
    if (::geteuid() == 0)
        EXPECT_EQ(run, QStringLiteral("0"));
    else
        EXPECT_EQ(run.error().description(), locked);

    unlockKeyring();
    EXPECT_EQ(keychain.readPassword(), QStringLiteral("current"));
    EXPECT_EQ(stored(store, "com.quarnet.brisktide", "LocalAdminPasswordV2"), QByteArray("old"));
    // Leave the keyring empty for the other tests.
    EXPECT_TRUE(keychain.savePassword("current"));
    EXPECT_TRUE(keychain.deletePassword());
}
