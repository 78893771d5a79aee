#pragma once

#include "platform/SecretStore.h"

namespace velmox {

// SecretStore on QtKeychain. Its jobs finish through an event loop, and on Linux through
// libsecret, whose shared service connection stays bound to the GLib context of the thread
// that first used it. So every job of the process runs on one secrets thread that lives as
// long as the process; callers on any other thread block until their job is done.
class QtKeychainSecretStore final : public SecretStore {
public:
    Result<std::optional<QByteArray>> read(const QString& service, const QString& account) override;
    Status write(const QString& service, const QString& account, const QByteArray& data,
                 const QString& label) override;
    Status remove(const QString& service, const QString& account) override;
};

} // namespace velmox
