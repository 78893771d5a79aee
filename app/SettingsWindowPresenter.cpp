#include "app/SettingsWindowPresenter.h"

#include "app/AppServices.h"
#include "app/SettingsWindow.h"
#include "app/SymbolIcons.h"

#include <QEvent>
#include <QGuiApplication>
#include <QScreen>
#include <QVBoxLayout>

namespace velmox {

SettingsWindowPresenter::SettingsWindowPresenter(AppServices& services, QString executable,
                                                 QObject* parent)
    : QObject(parent), services_(services), executable_(std::move(executable)) {
    connect(&services_.notifications(), &AppNotifications::openSettingsSection, this,
            &SettingsWindowPresenter::selectSection);
}

SettingsWindowPresenter::~SettingsWindowPresenter() = default;

void SettingsWindowPresenter::show(const std::optional<QString>& section) {
    if (!window_) {
        window_ = std::make_unique<QWidget>(nullptr, Qt::Window | Qt::WindowTitleHint |
                                                         Qt::WindowCloseButtonHint |
                                                         Qt::WindowMinimizeButtonHint);
        window_->setWindowTitle(QStringLiteral("Velmox Settings"));
        window_->setWindowIcon(appIcon());
        window_->resize(680, 460);
        auto* layout = new QVBoxLayout(window_.get());
        layout->setContentsMargins(0, 0, 0, 0);
        window_->installEventFilter(this);
        if (const QScreen* screen = QGuiApplication::primaryScreen())
            window_->move(screen->availableGeometry().center() - window_->rect().center());
    }
    if (!view_) {
        view_ = new SettingsView(services_, executable_, window_.get());
        window_->layout()->addWidget(view_);
    }
    window_->show();
    window_->raise();
    window_->activateWindow();
    if (section)
        services_.notifications().postOpenSettingsSection(*section);
}

void SettingsWindowPresenter::focusSetting(const QString& title) {
    if (view_)
        view_->focusSetting(title);
}

void SettingsWindowPresenter::selectSection(const QString& section) {
    if (view_)
        view_->selectSection(section);
}

bool SettingsWindowPresenter::eventFilter(QObject* watched, QEvent* event) {
    if (watched == window_.get() && event->type() == QEvent::Close && view_)
        view_->deleteLater();
    return QObject::eventFilter(watched, event);
}

} // namespace velmox
