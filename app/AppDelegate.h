#pragma once

#include "services/Category.h"

#include <QList>
#include <QObject>
#include <QPointer>
#include <functional>
#include <memory>

namespace velmox {

class AppServices;
class MainWindow;
class PageWindow;
class ScanResumeDesktopNotice;
class SettingsWindowPresenter;
class TrayIcon;
class WeeklyAutoClean;

// regular: Velmox has a window in use; accessory: it lives in the tray only.
enum class ActivationPolicy { regular, accessory };

// The application's lifecycle: a windowed or a tray-only start, the tray icon switched on
// and off at run time, what closing the last window does, reopening, and quitting. It
// never leaves Velmox with neither a window nor a tray icon.
class AppDelegate : public QObject {
    Q_OBJECT
public:
    static inline const QString kShowTrayIconKey = QStringLiteral("showMenuBarIcon");

    struct Options {
        QString executable;
        // Whether this start is a login-item launch; asked during start-up.
        std::function<bool()> isLoginItemLaunch;
        // Whether the weekly clean starts (tests of the window leave it out).
        bool startBackgroundServices = true;
        // Ends the event loop; QCoreApplication::quit when not given.
        std::function<void()> quit;
    };

    AppDelegate(AppServices& services, Options options, QObject* parent = nullptr);
    ~AppDelegate() override;

    void willFinishLaunching();
    void didFinishLaunching();

    ActivationPolicy activationPolicy() const { return policy_; }
    bool startingInMenuBar() const { return startingInMenuBar_; }
    TrayIcon* statusItem() const { return statusItem_.get(); }
    // The main window, if it has been made.
    MainWindow* mainWindow() const { return mainWindow_; }
    SettingsWindowPresenter& settings() { return *settings_; }
    WeeklyAutoClean* autoClean() const { return autoClean_.get(); }
    // Brings the window forward at the Storage Manager, where the strip shows the scans to
    // continue (the tray's "Continue Interrupted Scan...").
    void showInterruptedScans();

    // Reopen (a second launch, the tray's "Open Velmox"): shows and raises the window.
    void reopen();
    // Reopens, then shows the command palette over the window (the tray, "velmox palette
    // --window").
    void showPalette();
    // Opens a page, tab or setting entry of the palette: the window comes forward at the page
    // and tab, or the settings window at the pane. False for any other id.
    bool openPaletteEntry(const QString& id);
    void showSettings();
    // Shows the page in a window of its own, reusing the one already open for it.
    PageWindow& openPageWindow(Category category);
    QList<PageWindow*> pageWindows() const;
    // Handles "ToggleMenuBarIcon".
    void toggleMenuBarIcon();
    // Ends every open dialog, then quits.
    void requestQuit();

protected:
    bool eventFilter(QObject* watched, QEvent* event) override;

private:
    bool createStatusItem();
    void removeStatusItem();
    MainWindow& ensureMainWindow();
    // After a window closed: with no other window left, to the tray, or quit without one.
    void windowClosed();
    void setPolicy(ActivationPolicy policy) { policy_ = policy; }

    AppServices& services_;
    Options options_;
    std::unique_ptr<SettingsWindowPresenter> settings_;
    std::unique_ptr<TrayIcon> statusItem_;
    std::unique_ptr<WeeklyAutoClean> autoClean_;
    std::unique_ptr<ScanResumeDesktopNotice> resumeNotice_;
    QPointer<MainWindow> mainWindow_;
    QList<QPointer<PageWindow>> pageWindows_;
    ActivationPolicy policy_ = ActivationPolicy::regular;
    bool startingInMenuBar_ = false;
};

} // namespace velmox
