#pragma once

#include <QWidget>

namespace velmox {

class AppNavigationState;
class AppServices;
class PageTabs;

// The Power User page: the activity log, automation and automation's safety settings. Its tab
// is its sub-view in the navigation state ("activity", "automation", "safety").
class PowerUserPage : public QWidget {
    Q_OBJECT
public:
    explicit PowerUserPage(AppServices& services, QWidget* parent = nullptr);

    // Shows the activity log wherever the user is.
    static void openActivity(AppNavigationState& navigation);
    static bool showsActivity(const AppNavigationState& navigation);
    // Whether `text` sends the user to the activity log ("... from the Activity tab."), so the
    // place showing it offers a way there.
    static bool pointsToActivity(const QString& text);

    QString currentTab() const;
    void showTab(const QString& tab);

private:
    PageTabs* tabs_;
};

} // namespace velmox
