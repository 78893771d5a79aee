#pragma once

#include <QWidget>

class QTabWidget;

namespace velmox {

class AppServices;

// The Power User page: the activity log now, automation later. Its tab is its sub-view
// in the navigation state ("activity", "automation").
class PowerUserPage : public QWidget {
    Q_OBJECT
public:
    explicit PowerUserPage(AppServices& services, QWidget* parent = nullptr);

    QString currentTab() const;
    void showTab(const QString& tab);

private:
    AppServices& services_;
    QTabWidget* tabs_;
};

} // namespace velmox
