#pragma once

#include <QObject>
#include <memory>

class QMenu;
class QSystemTrayIcon;

namespace velmox {

class AppStatusCenter;
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
    void togglePopover();

signals:
    void openWindowRequested();
    void settingsRequested();
    void quitRequested();

private:
    std::unique_ptr<StatusPopover> popover_;
    std::unique_ptr<QMenu> menu_;
    std::unique_ptr<QSystemTrayIcon> icon_;
};

} // namespace velmox
