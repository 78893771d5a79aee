#include "app/TrayIcon.h"

#include "app/StatusPopover.h"
#include "app/SymbolIcons.h"
#include "app/TrayReadout.h"
#include "services/Settings.h"

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
    connect(popover_.get(), &StatusPopover::activityRequested, this, &TrayIcon::activityRequested);
    connect(popover_.get(), &StatusPopover::settingsRequested, this, &TrayIcon::settingsRequested);
    connect(popover_.get(), &StatusPopover::quitRequested, this, &TrayIcon::quitRequested);
    menu_->addAction(QStringLiteral("Open Velmox"), this, &TrayIcon::openWindowRequested);
    interruptedScan_ = menu_->addAction(QStringLiteral("Continue Interrupted Scan..."), this,
                                        &TrayIcon::interruptedScanRequested);
    interruptedScan_->setVisible(false);
    menu_->addAction(QStringLiteral("Command Palette..."), QKeySequence(Qt::CTRL | Qt::Key_K), this,
                     &TrayIcon::paletteRequested);
    menu_->addAction(QStringLiteral("Settings..."), this, &TrayIcon::settingsRequested);
    menu_->addSeparator();
    menu_->addAction(QStringLiteral("Quit Velmox"), this, &TrayIcon::quitRequested);
}

TrayIcon::~TrayIcon() {
    readout_.reset();
}

void TrayIcon::showFigures(Settings& settings, MonitorDemand& demand) {
    settings_ = &settings;
    readout_ = std::make_unique<TrayReadout>(settings, demand);
    connect(readout_.get(), &TrayReadout::textChanged, this, &TrayIcon::updateImage);
    connect(readout_.get(), &TrayReadout::toolTipChanged, this, [this](const QString& tip) {
        if (icon_)
            icon_->setToolTip(tip);
    });
    connect(&settings, &Settings::valueChanged, this, [this](const QString& key) {
        if (key == kAppearanceKey)
            updateImage();
    });
}

void TrayIcon::updateImage() {
    if (!icon_)
        return;
    const QString text = readout_ ? readout_->text() : QString();
    icon_->setIcon(
        text.isEmpty() || !settings_
            ? trayImage()
            : trayFigureIcon(text, appearanceFromRaw(settings_->stringValue(kAppearanceKey))));
}

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
    if (readout_) {
        readout_->setShown(true);
        updateImage();
        icon_->setToolTip(readout_->toolTip());
    }
    return true;
}

bool TrayIcon::isVisible() const {
    return icon_ && icon_->isVisible();
}

void TrayIcon::setInterruptedScans(bool any) {
    interruptedScan_->setVisible(any);
}

void TrayIcon::togglePopover() {
    if (popover_->isVisible()) {
        popover_->hide();
        return;
    }
    popover_->open(icon_ ? icon_->geometry() : QRect());
}

} // namespace velmox
