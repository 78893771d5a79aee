#include "app/AppDelegate.h"

#include "app/AppServices.h"
#include "app/MainWindow.h"
#include "app/PageWindow.h"
#include "app/PaletteWindow.h"
#include "app/ScanResumeNotice.h"
#include "app/ScanResumeOffers.h"
#include "app/SettingsWindow.h"
#include "app/SettingsWindowPresenter.h"
#include "app/StatusPopover.h"
#include "app/TrayIcon.h"
#include "app/WeeklyAutoClean.h"
#include "app/pages/PowerUserPage.h"
#include "automation/AutomationEngine.h"
#include "diskhealth/DiskHealthMonitor.h"
#include "storage/CatalogReindexer.h"

#include <QApplication>
#include <QDialog>
#include <QEvent>
#include <QWindow>

namespace velmox {

namespace {

// A window the user works in: a titled top-level window that is neither a popup nor a
// tool window, shown or minimised.
bool isOpenTitledWindow(const QWidget* widget) {
    if (!widget->isWindow() || widget->windowType() == Qt::Popup ||
        widget->windowType() == Qt::ToolTip || widget->windowType() == Qt::Tool)
        return false;
    return widget->isVisible() || widget->isMinimized();
}

} // namespace

AppDelegate::AppDelegate(AppServices& services, Options options, QObject* parent)
    : QObject(parent), services_(services), options_(std::move(options)),
      settings_(std::make_unique<SettingsWindowPresenter>(services, options_.executable)) {
    if (!options_.isLoginItemLaunch)
        options_.isLoginItemLaunch = [] { return false; };
    if (!options_.quit)
        options_.quit = [] { QCoreApplication::quit(); };
}

AppDelegate::~AppDelegate() {
    for (PageWindow* window : pageWindows())
        delete window;
    delete mainWindow_;
}

void AppDelegate::willFinishLaunching() {
    services_.settings().writeMissingTrueDefaults({kShowTrayIconKey});
    if (services_.settings().boolValue(kShowTrayIconKey, true) && options_.isLoginItemLaunch()) {
        startingInMenuBar_ = true;
        setPolicy(ActivationPolicy::accessory);
    }
}

void AppDelegate::didFinishLaunching() {
    Settings& settings = services_.settings();
    settings.writeMissingTrueDefaults({kShowTrayIconKey});
    // Velmox decides itself when closing a window ends it (see eventFilter).
    qApp->setQuitOnLastWindowClosed(false);

    if (settings.boolValue(kShowTrayIconKey, true))
        createStatusItem();

    if (options_.startBackgroundServices) {
        autoClean_ = std::make_unique<WeeklyAutoClean>(settings, services_.clock(),
                                                       services_.maintenanceTasks());
        connect(autoClean_.get(), &WeeklyAutoClean::saveFailed, this,
                [this](const QString& message) {
                    services_.status().report(QStringLiteral("Error: ") + message, false);
                });
        autoClean_->start();
        services_.automation().start();
        services_.diskHealth().start();
        services_.startChangeRecorder();
        resumeNotice_ = std::make_unique<ScanResumeDesktopNotice>(
            services_.scanResumeOffers(), QDBusConnection::sessionBus(),
            [this] {
                return mainWindow_ && mainWindow_->isVisible() && !mainWindow_->isMinimized();
            },
            [this] { reopen(); });
        services_.catalogReindexer().schedule(services_.clock());
    }

    connect(&services_.notifications(), &AppNotifications::toggleMenuBarIcon, this,
            &AppDelegate::toggleMenuBarIcon);

    if (!startingInMenuBar_ && settings.boolValue(kShowTrayIconKey, true) &&
        options_.isLoginItemLaunch()) {
        startingInMenuBar_ = true;
        setPolicy(ActivationPolicy::accessory);
    }
    if (!startingInMenuBar_ || !statusItem_) {
        // A windowed start, or a tray-only start without a tray to live in.
        startingInMenuBar_ = false;
        setPolicy(ActivationPolicy::regular);
        ensureMainWindow().show();
    }
}

bool AppDelegate::createStatusItem() {
    if (!statusItem_) {
        auto item = std::make_unique<TrayIcon>(services_.status());
        item->popover().setMonitor(&services_.monitor());
        item->popover().setAutomation(&services_.automation());
        item->showFigures(services_.settings(), services_.monitor());
        if (!item->show())
            return false;
        connect(item.get(), &TrayIcon::openWindowRequested, this, &AppDelegate::reopen);
        connect(item.get(), &TrayIcon::activityRequested, this,
                [this] { PowerUserPage::openActivity(services_.navigation()); });
        connect(item.get(), &TrayIcon::paletteRequested, this, &AppDelegate::showPalette);
        connect(item.get(), &TrayIcon::settingsRequested, this, &AppDelegate::showSettings);
        connect(item.get(), &TrayIcon::quitRequested, this, &AppDelegate::requestQuit);
        connect(item.get(), &TrayIcon::interruptedScanRequested, this,
                &AppDelegate::showInterruptedScans);
        ScanResumeOffers& offers = services_.scanResumeOffers();
        item->setInterruptedScans(!offers.offers().isEmpty());
        connect(&offers, &ScanResumeOffers::changed, item.get(), [item = item.get(), &offers] {
            item->setInterruptedScans(!offers.offers().isEmpty());
        });
        statusItem_ = std::move(item);
    }
    return true;
}

void AppDelegate::removeStatusItem() {
    statusItem_.reset();
}

MainWindow& AppDelegate::ensureMainWindow() {
    if (!mainWindow_) {
        mainWindow_ = new MainWindow(services_);
        mainWindow_->installEventFilter(this);
        connect(mainWindow_, &MainWindow::settingsRequested, this, &AppDelegate::showSettings);
        connect(mainWindow_, &MainWindow::settingFocusRequested, settings_.get(),
                &SettingsWindowPresenter::focusSetting);
        connect(mainWindow_, &MainWindow::quitRequested, this, &AppDelegate::requestQuit);
        connect(mainWindow_, &MainWindow::pageWindowRequested, this,
                [this](Category category) { openPageWindow(category); });
    }
    return *mainWindow_;
}

void AppDelegate::reopen() {
    setPolicy(ActivationPolicy::regular);
    MainWindow& window = ensureMainWindow();
    if (window.isMinimized())
        window.showNormal();
    else
        window.show();
    window.raise();
    window.activateWindow();
}

PageWindow& AppDelegate::openPageWindow(Category category) {
    pageWindows_.removeAll(nullptr);
    PageWindow* window = nullptr;
    for (PageWindow* open : pageWindows())
        if (open->category() == category)
            window = open;
    if (!window) {
        window = new PageWindow(services_, category);
        window->installEventFilter(this);
        window->addAction(ensureMainWindow().paletteAction());
        pageWindows_.append(window);
    }
    setPolicy(ActivationPolicy::regular);
    window->show();
    window->raise();
    window->activateWindow();
    return *window;
}

QList<PageWindow*> AppDelegate::pageWindows() const {
    QList<PageWindow*> open;
    for (const QPointer<PageWindow>& window : pageWindows_)
        if (window)
            open.append(window);
    return open;
}

void AppDelegate::showInterruptedScans() {
    reopen();
    services_.scanResumeOffers().showStorageManager();
}

void AppDelegate::showPalette() {
    reopen();
    ensureMainWindow().showPalette();
}

bool AppDelegate::openPaletteEntry(const QString& id) {
    PaletteWindow* palette = ensureMainWindow().commandPalette();
    const QString place = palette->destination(id);
    if (place.isEmpty())
        return false;
    // Settings open in a window of their own; everything else in the main one.
    if (!place.startsWith(QLatin1String("settings/")))
        reopen();
    return palette->openPlace(id);
}

void AppDelegate::showSettings() {
    setPolicy(ActivationPolicy::regular);
    settings_->show();
    settings_->window()->installEventFilter(this);
    // One action for every window: two with the same keys would cancel each other out.
    settings_->window()->addAction(ensureMainWindow().paletteAction());
}

void AppDelegate::toggleMenuBarIcon() {
    const bool wanted = services_.settings().boolValue(kShowTrayIconKey, true);
    if (wanted && !statusItem_) {
        createStatusItem();
    } else if (!wanted && statusItem_) {
        removeStatusItem();
        if (policy_ != ActivationPolicy::regular)
            reopen();
    }
}

bool AppDelegate::eventFilter(QObject* watched, QEvent* event) {
    // A window in use brings Velmox back from the tray.
    if (event->type() == QEvent::WindowActivate && !startingInMenuBar_ &&
        policy_ != ActivationPolicy::regular)
        setPolicy(ActivationPolicy::regular);
    // The window is hidden only after its close event: look once that is done.
    if (event->type() == QEvent::Close)
        QMetaObject::invokeMethod(this, &AppDelegate::windowClosed, Qt::QueuedConnection);
    return QObject::eventFilter(watched, event);
}

void AppDelegate::windowClosed() {
    for (const QWidget* widget : QApplication::topLevelWidgets())
        if (isOpenTitledWindow(widget))
            return;
    if (statusItem_)
        setPolicy(ActivationPolicy::accessory);
    else
        requestQuit();
}

void AppDelegate::requestQuit() {
    // Dialogs first: each may have a nested event loop of its own.
    for (int guard = 0; guard < 32; ++guard) {
        QWidget* modal = QApplication::activeModalWidget();
        if (!modal)
            break;
        if (auto* dialog = qobject_cast<QDialog*>(modal))
            dialog->reject();
        else
            modal->close();
    }
    for (QWidget* widget : QApplication::topLevelWidgets())
        if (auto* dialog = qobject_cast<QDialog*>(widget); dialog && dialog->isVisible())
            dialog->reject();
    options_.quit();
}

} // namespace velmox
