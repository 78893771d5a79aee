#pragma once

#include "app/pages/PlaceholderPage.h"

namespace velmox {

class AppNavigationState;

// The Maintenance page; for now its way to the Power User page (activity log, automation).
class MaintenancePage : public PlaceholderPage {
    Q_OBJECT
public:
    explicit MaintenancePage(AppNavigationState& navigation, QWidget* parent = nullptr);
};

} // namespace velmox
