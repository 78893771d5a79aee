#pragma once

#include "services/Result.h"

#include <QByteArray>
#include <QString>
#include <optional>

namespace velmox {

// Generic-password items keyed by service and account: the Keychain on macOS, the
// Secret Service on Linux. Synchronous and callable from any thread. Nothing read is
// kept beyond the call.
class SecretStore {
public:
    virtual ~SecretStore() = default;
    // The item's bytes, std::nullopt when there is surely no such item, or the store's
    // failure: a store that cannot tell (a locked keyring) fails rather than say "none".
    virtual Result<std::optional<QByteArray>> read(const QString& service,
                                                   const QString& account) = 0;
    // Adds or replaces the item.
    virtual Status write(const QString& service, const QString& account, const QByteArray& data,
                         const QString& label) = 0;
    // Removing an item that does not exist succeeds.
    virtual Status remove(const QString& service, const QString& account) = 0;
};

} // namespace velmox
