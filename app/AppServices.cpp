#include "app/AppServices.h"

#include "platform/PromptElevation.h"
#include "platform/QtKeychainSecretStore.h"
#include "services/ActionHistoryStore.h"
#include "services/KeychainHelper.h"
#include "services/ShellHelper.h"

namespace velmox {

AppServices::AppServices(Clock& clock, const QString& settingsFile)
    : clock_(clock), settings_(settingsFile), status_(navigation_, clock) {}

AppServices::~AppServices() = default;

ActionHistoryStore& AppServices::history() {
    if (!history_)
        history_ = std::make_unique<ActionHistoryStore>(settings_, clock_);
    return *history_;
}

KeychainHelper& AppServices::keychain() {
    if (!keychain_) {
        secretStore_ = std::make_unique<QtKeychainSecretStore>();
        keychain_ = std::make_unique<KeychainHelper>(*secretStore_);
    }
    return *keychain_;
}

ShellHelper& AppServices::shell() {
    if (!shell_) {
        promptElevation_ = PromptElevation::forThisSystem();
        shell_ = std::make_unique<ShellHelper>(keychain(), settings_, *promptElevation_);
    }
    return *shell_;
}

} // namespace velmox
