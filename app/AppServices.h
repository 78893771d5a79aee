#pragma once

#include <memory>

#include "app/AppNotifications.h"
#include "services/AppNavigationState.h"
#include "services/AppStatusCenter.h"
#include "services/Settings.h"

namespace velmox {

class ActionHistoryStore;
class Clock;
class KeychainHelper;
class PromptElevation;
class SecretStore;
class ShellHelper;

// The composition root: every object the window, the pages and the tray share is made
// here once and handed on. Services that cost something to start (the activity log's
// load, the secret store's thread) are made on first use.
class AppServices {
public:
    // `settingsFile` empty: the user's settings file.
    explicit AppServices(Clock& clock, const QString& settingsFile = {});
    ~AppServices();
    AppServices(const AppServices&) = delete;
    AppServices& operator=(const AppServices&) = delete;

    Clock& clock() { return clock_; }
    Settings& settings() { return settings_; }
    AppNavigationState& navigation() { return navigation_; }
    AppStatusCenter& status() { return status_; }
    AppNotifications& notifications() { return notifications_; }

    ActionHistoryStore& history();
    KeychainHelper& keychain();
    ShellHelper& shell();

private:
    Clock& clock_;
    Settings settings_;
    AppNavigationState navigation_;
    AppStatusCenter status_;
    AppNotifications notifications_;
    std::unique_ptr<ActionHistoryStore> history_;
    std::unique_ptr<SecretStore> secretStore_;
    std::unique_ptr<KeychainHelper> keychain_;
    std::unique_ptr<PromptElevation> promptElevation_;
    std::unique_ptr<ShellHelper> shell_;
};

} // namespace velmox
