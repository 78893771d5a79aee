#pragma once

#include "services/Result.h"

#include <QByteArrayView>
#include <QString>
#include <optional>

namespace velmox {

class SecretStore;

// The saved administrator password and the integrity key that signs stored user data.
// Every call asks the secret store afresh; nothing is cached. A store that cannot be read
// is a failure carrying the store's sentence, never "nothing saved".
class KeychainHelper {
public:
    static constexpr const char* kService = "com.quarnet.velmox";
    static constexpr const char* kPasswordAccount = "LocalAdminPasswordV2";
    static constexpr const char* kPasswordLabel = "Velmox Admin Password";
    static constexpr const char* kIntegrityKeyAccount = "IntegrityKeyV1";
    static constexpr const char* kIntegrityKeyLabel = "Velmox Integrity Key";

    explicit KeychainHelper(SecretStore& store);

    Result<bool> hasSavedPassword();
    // Deletes the current and every legacy item, then adds the current one. A failed add
    // leaves no item: the user saves again.
    bool savePassword(const QString& password);
    // The current item; else the first legacy item found, which is migrated to the current
    // one. Nothing is migrated once any read has failed.
    Result<std::optional<QString>> readPassword();
    Status deletePassword();

    std::optional<QByteArray> readOrCreateIntegrityKey();
    // Lower-case hexadecimal HMAC-SHA256 of `data` under the integrity key; empty when the
    // key cannot be had.
    QString sign(QByteArrayView data);
    bool verify(QByteArrayView data, const QString& signature);

    struct LegacyItem {
        const char* service;
        const char* account;
    };
    static const LegacyItem kLegacyPasswordItems[3];

private:
    SecretStore& store_;
};

} // namespace velmox
