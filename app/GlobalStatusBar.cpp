#include "app/GlobalStatusBar.h"

#include "app/SymbolIcons.h"
#include "app/pages/PowerUserPage.h"
#include "services/AppNavigationState.h"
#include "services/AppStatusCenter.h"

#include <QHBoxLayout>
#include <QLabel>
#include <QProgressBar>
#include <QToolButton>

namespace velmox {

StatusLineText statusLineText(const QString& message, bool active) {
    static const QString success = QStringLiteral("Success: ");
    static const QString error = QStringLiteral("Error: ");
    if (message.isEmpty())
        return {StatusLineText::Kind::working, QStringLiteral("Working..."), {}};
    if (message.startsWith(success))
        return {StatusLineText::Kind::success,
                QStringLiteral("Success: %1").arg(message.mid(success.size())),
                QStringLiteral("checkmark.circle")};
    if (message.startsWith(error))
        return {StatusLineText::Kind::error,
                QStringLiteral("Error: %1").arg(message.mid(error.size())),
                QStringLiteral("exclamationmark.triangle")};
    return {active ? StatusLineText::Kind::working : StatusLineText::Kind::plain, message, {}};
}

GlobalStatusBar::GlobalStatusBar(AppStatusCenter& center, AppNavigationState& navigation,
                                 QWidget* parent)
    : QFrame(parent), center_(center), navigation_(navigation), icon_(new QLabel(this)),
      spinner_(new QProgressBar(this)), text_(new QLabel(this)), arrow_(new QToolButton(this)),
      activity_(new QToolButton(this)) {
    setObjectName(QStringLiteral("globalStatusBar"));
    auto* layout = new QHBoxLayout(this);
    layout->setContentsMargins(12, 5, 8, 5);
    layout->setSpacing(8);
    icon_->setFixedSize(16, 16);
    spinner_->setRange(0, 0);
    spinner_->setTextVisible(false);
    spinner_->setFixedSize(48, 6);
    text_->setTextInteractionFlags(Qt::TextSelectableByMouse);
    text_->setSizePolicy(QSizePolicy::Ignored, QSizePolicy::Preferred);
    arrow_->setIcon(symbolIcon(QStringLiteral("arrow.right.circle"), QStringLiteral(">")));
    arrow_->setAutoRaise(true);
    arrow_->setToolTip(QStringLiteral("Click to go to this task"));
    arrow_->setAccessibleName(QStringLiteral("Click to go to this task"));
    layout->addWidget(spinner_);
    layout->addWidget(icon_);
    layout->addWidget(text_, 1);
    activity_->setObjectName(QStringLiteral("showActivity"));
    activity_->setText(QStringLiteral("Show Activity"));
    activity_->setAutoRaise(true);
    activity_->setCursor(Qt::PointingHandCursor);
    activity_->setToolTip(QStringLiteral("Opens the activity log (Ctrl+Shift+A)"));
    layout->addWidget(activity_);
    layout->addWidget(arrow_);

    connect(arrow_, &QToolButton::clicked, this, &GlobalStatusBar::goToTask);
    connect(activity_, &QToolButton::clicked, this,
            [this] { PowerUserPage::openActivity(navigation_); });
    connect(&center_, &AppStatusCenter::changed, this, &GlobalStatusBar::refresh);
    connect(&navigation_, &AppNavigationState::currentPageChanged, this, &GlobalStatusBar::refresh);
    connect(&navigation_, &AppNavigationState::detailChanged, this, &GlobalStatusBar::refresh);
    refresh();
}

QString GlobalStatusBar::shownText() const {
    return isHidden() ? QString() : text_->text();
}

bool GlobalStatusBar::showsActivityLink() const {
    return !isHidden() && !activity_->isHidden();
}

bool GlobalStatusBar::showsArrow() const {
    return !isHidden() && !arrow_->isHidden();
}

void GlobalStatusBar::goToTask() {
    if (const auto page = center_.originPage())
        navigation_.navigate(*page, center_.originDetail());
}

void GlobalStatusBar::refresh() {
    const auto message = center_.message();
    setVisible(message.has_value());
    if (!message)
        return;
    const StatusLineText line = statusLineText(*message, center_.isActive());
    text_->setText(line.text);
    // Only a running task animates; an idle window costs no repaints.
    spinner_->setVisible(center_.isActive());
    icon_->setVisible(!line.symbol.isEmpty() && !center_.isActive());
    if (!line.symbol.isEmpty())
        icon_->setPixmap(symbolIcon(line.symbol, line.text).pixmap(16, 16));
    QPalette textPalette = palette();
    if (line.kind == StatusLineText::Kind::error)
        textPalette.setColor(QPalette::WindowText, QColor(0xe5, 0x4b, 0x4b));
    text_->setPalette(textPalette);
    // The arrow leads back only from another page; on the task's own page it has
    // nowhere to go.
    const auto origin = center_.originPage();
    arrow_->setVisible(origin.has_value() && navigation_.currentPage() != origin);
    activity_->setVisible(PowerUserPage::pointsToActivity(line.text) &&
                          !PowerUserPage::showsActivity(navigation_));
}

} // namespace velmox
