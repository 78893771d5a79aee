#pragma once

#include "services/Category.h"

#include <QHash>
#include <QMainWindow>

class QAction;
class QMenu;
class QStackedWidget;

namespace velmox {

class AppServices;
class GlobalStatusBar;
class PaletteWindow;
class SidebarView;

// The main window: the sidebar, the page of the current `Category` (made the first time
// it is shown) and the status line.
class MainWindow : public QMainWindow {
    Q_OBJECT
public:
    static constexpr QSize kDefaultSize{1100, 720};
    static constexpr auto kGeometryKey = "mainWindow/geometry";

    explicit MainWindow(AppServices& services, QWidget* parent = nullptr);

    SidebarView* sidebar() const { return sidebar_; }
    GlobalStatusBar* statusLine() const { return statusLine_; }
    // The page's widget, made now if it has not been shown yet.
    QWidget* page(Category category);
    QWidget* currentPage() const;
    void showPage(Category category);
    // The command palette over this window, made the first time it is asked for.
    PaletteWindow* commandPalette();
    void showPalette();
    // Ctrl+K: works wherever this action is added (the settings window, page windows) while
    // one of its windows is in view, even with this window hidden.
    QAction* paletteAction() const { return paletteAction_; }
    void showAbout();

signals:
    void settingsRequested();
    // After settingsRequested: the settings window is to focus the setting with this title.
    void settingFocusRequested(const QString& title);
    void quitRequested();
    // "Open Page in New Window" for the page shown now.
    void pageWindowRequested(Category category);

protected:
    void closeEvent(QCloseEvent* event) override;

private:
    void buildMenus();
    void buildLanguageMenu(QMenu* menu);
    void buildAppearanceMenu(QMenu* menu);
    void followNavigation(const QString& page);

    AppServices& services_;
    SidebarView* sidebar_;
    QStackedWidget* pages_;
    GlobalStatusBar* statusLine_;
    PaletteWindow* commandPalette_ = nullptr;
    QAction* paletteAction_ = nullptr;
    QHash<int, QWidget*> made_;
};

} // namespace velmox
