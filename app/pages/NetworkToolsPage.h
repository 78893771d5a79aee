#pragma once

#include <QWidget>

namespace velmox {

class AppServices;
class PageTabs;

// The Network Tools page: the address blocker and the speed test, one tab each ("blocker",
// "speedTest" in the navigation state).
class NetworkToolsPage : public QWidget {
    Q_OBJECT
public:
    explicit NetworkToolsPage(AppServices& services, QWidget* parent = nullptr);

    PageTabs& tabs() { return *tabs_; }

private:
    PageTabs* tabs_;
};

} // namespace velmox
