#include "app/TrayIcon.h"

#include "app/StatusPopover.h"
#include "app/SymbolIcons.h"

#include <QMenu>
#include <QPainter>
#include <QSystemTrayIcon>

namespace velmox {

namespace {

// Velmox's icon; else a monitor symbol of the theme; else the letters "Vx".
QIcon trayImage() {
    if (const QIcon icon = appIcon(); !icon.isNull() && !icon.pixmap(20, 20).isNull())
        return icon;
    if (QIcon::hasThemeIcon(QStringLiteral("utilities-system-monitor")))
        return QIcon::fromTheme(QStringLiteral("utilities-system-monitor"));
    QPixmap pixmap(20, 20);
    pixmap.fill(Qt::transparent);
    QPainter painter(&pixmap);
    QFont font = painter.font();
    font.setPixelSize(12);
    font.setBold(true);
    painter.setFont(font);
    painter.setPen(Qt::white);
    painter.drawText(pixmap.rect(), Qt::AlignCenter, QStringLiteral("Vx"));
    return QIcon(pixmap);
}

} // namespace

TrayIcon::TrayIcon(AppStatusCenter& status, QObject* parent)
    : QObject(parent), popover_(std::make_unique<StatusPopover>(status)),
      menu_(std::make_unique<QMenu>()) {
    connect(popover_.get(), &StatusPopover::openWindowRequested, this,
            &TrayIcon::openWindowRequested);
    connect(popover_.get(), &StatusPopover::settingsRequested, this, &TrayIcon::settingsRequested);
    connect(popover_.get(), &StatusPopover::quitRequested, this, &TrayIcon::quitRequested);
    menu_->addAction(QStringLiteral("Open Velmox"), this, &TrayIcon::openWindowRequested);
    menu_->addAction(QStringLiteral("Settings..."), this, &TrayIcon::settingsRequested);
    menu_->addSeparator();
    menu_->addAction(QStringLiteral("Quit Velmox"), this, &TrayIcon::quitRequested);
}

TrayIcon::~TrayIcon() = default;

bool TrayIcon::show() {
    if (!QSystemTrayIcon::isSystemTrayAvailable())
        return false;
    if (!icon_) {
        icon_ = std::make_unique<QSystemTrayIcon>(trayImage());
        icon_->setToolTip(QStringLiteral("Velmox"));
        icon_->setContextMenu(menu_.get());
        connect(icon_.get(), &QSystemTrayIcon::activated, this,
                [this](QSystemTrayIcon::ActivationReason reason) {
                    if (reason == QSystemTrayIcon::Trigger)
                        togglePopover();
                });
    }
    icon_->show();
    return true;
}

bool TrayIcon::isVisible() const {
    return icon_ && icon_->isVisible();
}

void TrayIcon::togglePopover() {
    if (popover_->isVisible()) {
        popover_->hide();
        return;
    }
    popover_->open(icon_ ? icon_->geometry() : QRect());
}

} // namespace velmox
