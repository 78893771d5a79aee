#pragma once

#include <QObject>
#include <memory>

class QAction;
class QMenu;
class QSystemTrayIcon;

namespace velmox {

class AppStatusCenter;
class MonitorDemand;
class Settings;
class TrayReadout;
class StatusPopover;

// The status item: Velmox's icon in the system tray. A click opens or closes the popover;
// the context menu offers the same ways into the app.
class TrayIcon : public QObject {
    Q_OBJECT
public:
    explicit TrayIcon(AppStatusCenter& status, QObject* parent = nullptr);
    ~TrayIcon() override;

    // False when the desktop has no system tray; nothing is shown then.
    bool show();
    bool isVisible() const;
    StatusPopover& popover() { return *popover_; }
    // Shows the figure chosen in the settings in place of the icon, and the live readouts
    // in the tool tip; call before show().
    void showFigures(Settings& settings, MonitorDemand& demand);
    TrayReadout* readout() const { return readout_.get(); }
    QSystemTrayIcon* systemIcon() const { return icon_.get(); }
    void togglePopover();
    // Shows "Continue Interrupted Scan..." in the menu while there are scans to continue.
    void setInterruptedScans(bool any);
    QMenu* menu() const { return menu_.get(); }

signals:
    void interruptedScanRequested();
    void openWindowRequested();
    void paletteRequested();
    void activityRequested();
    void settingsRequested();
    void quitRequested();

private:
    void updateImage();

    Settings* settings_ = nullptr;
    std::unique_ptr<StatusPopover> popover_;
    std::unique_ptr<QMenu> menu_;
    QAction* interruptedScan_ = nullptr;
    std::unique_ptr<QSystemTrayIcon> icon_;
    // Declared last: it lets go of the monitor before the rest goes.
    std::unique_ptr<TrayReadout> readout_;
};

} // namespace velmox
