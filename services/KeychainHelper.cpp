#include "services/KeychainHelper.h"

#include "platform/SecretStore.h"

#include <QMessageAuthenticationCode>
#include <QRandomGenerator>

namespace velmox {

const KeychainHelper::LegacyItem KeychainHelper::kLegacyPasswordItems[3] = {
    {"Velmox Admin Password", "LocalAdminPasswordV2"},
    {"com.quarnet.brisktide", "LocalAdminPasswordV2"},
    {"com.velmox.adminCredentials", "admin"},
};

namespace {

const QString service() {
    return QString::fromLatin1(KeychainHelper::kService);
}

constexpr qsizetype kIntegrityKeyBytes = 32;

} // namespace

KeychainHelper::KeychainHelper(SecretStore& store) : store_(store) {}

Result<bool> KeychainHelper::hasSavedPassword() {
    const auto item = store_.read(service(), QString::fromLatin1(kPasswordAccount));
    if (!item)
        return failure(item.error());
    return item->has_value();
}

bool KeychainHelper::savePassword(const QString& password) {
    (void)store_.remove(service(), QString::fromLatin1(kPasswordAccount));
    for (const LegacyItem& legacy : kLegacyPasswordItems)
        (void)store_.remove(QString::fromLatin1(legacy.service),
                            QString::fromLatin1(legacy.account));
    return store_
        .write(service(), QString::fromLatin1(kPasswordAccount), password.toUtf8(),
               QString::fromLatin1(kPasswordLabel))
        .has_value();
}

Result<std::optional<QString>> KeychainHelper::readPassword() {
    const auto current = store_.read(service(), QString::fromLatin1(kPasswordAccount));
    if (!current)
        return failure(current.error()); // never let an old item replace one we could not read
    if (current->has_value())
        return QString::fromUtf8(**current);
    for (const LegacyItem& legacy : kLegacyPasswordItems) {
        const auto old =
            store_.read(QString::fromLatin1(legacy.service), QString::fromLatin1(legacy.account));
        // Migrating a later item would delete this one unread.
        if (!old)
            return failure(old.error());
        if (old->has_value()) {
            const QString password = QString::fromUtf8(**old);
            savePassword(password);
            return password;
        }
    }
    return std::optional<QString>();
}

Status KeychainHelper::deletePassword() {
    return store_.remove(service(), QString::fromLatin1(kPasswordAccount));
}

std::optional<QByteArray> KeychainHelper::readOrCreateIntegrityKey() {
    const auto existing = store_.read(service(), QString::fromLatin1(kIntegrityKeyAccount));
    if (!existing)
        return std::nullopt; // the store failed: never replace a key we could not read
    if (existing->has_value() && !(*existing)->isEmpty())
        return **existing;

    QByteArray key(kIntegrityKeyBytes, Qt::Uninitialized);
    QRandomGenerator::system()->fillRange(reinterpret_cast<quint32*>(key.data()),
                                          kIntegrityKeyBytes / 4);
    if (!store_.write(service(), QString::fromLatin1(kIntegrityKeyAccount), key,
                      QString::fromLatin1(kIntegrityKeyLabel)))
        return std::nullopt;
    return key;
}

QString KeychainHelper::sign(QByteArrayView data) {
    const auto key = readOrCreateIntegrityKey();
    if (!key)
        return {};
    return QString::fromLatin1(
        QMessageAuthenticationCode::hash(data.toByteArray(), *key, QCryptographicHash::Sha256)
            .toHex());
}

bool KeychainHelper::verify(QByteArrayView data, const QString& signature) {
    const QByteArray expected = sign(data).toLatin1();
    const QByteArray given = signature.toUtf8();
    if (expected.isEmpty() || expected.size() != given.size())
        return false;
    // Look at every byte, so the time taken says nothing about where they differ.
    unsigned char difference = 0;
    for (qsizetype i = 0; i < expected.size(); ++i)
        difference |= static_cast<unsigned char>(expected.at(i) ^ given.at(i));
    return difference == 0;
}

} // namespace velmox
