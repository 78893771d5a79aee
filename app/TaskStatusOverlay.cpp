#include "app/TaskStatusOverlay.h"

#include "app/SymbolIcons.h"
#include "app/pages/PowerUserPage.h"

#include <QEvent>
#include <QFrame>
#include <QHBoxLayout>
#include <QLabel>
#include <QPainter>
#include <QProgressBar>
#include <QPushButton>
#include <QVBoxLayout>
#include <algorithm>

namespace velmox {

TaskStatusOverlay::TaskStatusOverlay(QWidget* covered)
    : QWidget(covered), icon_(new QLabel(this)), text_(new QLabel(this)),
      bar_(new QProgressBar(this)),
      activity_(new QPushButton(QStringLiteral("Show Activity"), this)),
      done_(new QPushButton(QStringLiteral("Done"), this)) {
    auto* card = new QFrame(this);
    card->setObjectName(QStringLiteral("card"));
    card->setFixedWidth(360);
    auto* cardLayout = new QVBoxLayout(card);
    cardLayout->setContentsMargins(20, 18, 20, 18);
    cardLayout->setSpacing(10);
    icon_->setAlignment(Qt::AlignCenter);
    text_->setAlignment(Qt::AlignCenter);
    text_->setWordWrap(true);
    bar_->setTextVisible(false);
    bar_->setFixedHeight(8);
    cardLayout->addWidget(icon_);
    cardLayout->addWidget(text_);
    cardLayout->addWidget(bar_);
    auto* buttons = new QHBoxLayout;
    buttons->addStretch(1);
    buttons->addWidget(activity_);
    buttons->addWidget(done_);
    buttons->addStretch(1);
    cardLayout->addLayout(buttons);
    auto* layout = new QVBoxLayout(this);
    layout->addWidget(card, 0, Qt::AlignCenter);
    connect(done_, &QPushButton::clicked, this, &TaskStatusOverlay::dismiss);
    connect(activity_, &QPushButton::clicked, this, [this] {
        dismiss();
        emit activityRequested();
    });
    covered->installEventFilter(this);
    setGeometry(covered->rect());
    hide();
}

void TaskStatusOverlay::showProgress(const QString& message, std::optional<double> progress) {
    progress_ = progress;
    message_ = message;
    isError_ = isSuccess_ = false;
    text_->setText(message);
    icon_->hide();
    done_->hide();
    activity_->hide();
    bar_->show();
    if (progress) {
        bar_->setRange(0, 1000);
        bar_->setValue(static_cast<int>(std::clamp(*progress, 0.0, 1.0) * 1000));
    } else {
        bar_->setRange(0, 0);
    }
    setGeometry(parentWidget()->rect());
    raise();
    show();
}

void TaskStatusOverlay::showFinished(const QString& message, bool isSuccess) {
    message_ = message;
    isSuccess_ = isSuccess;
    isError_ = !isSuccess;
    progress_.reset();
    text_->setText(message);
    const QString symbol =
        isSuccess ? QStringLiteral("checkmark.circle") : QStringLiteral("exclamationmark.triangle");
    icon_->setPixmap(symbolIcon(symbol, QStringLiteral("!")).pixmap(32, 32));
    icon_->show();
    bar_->hide();
    done_->show();
    activity_->setVisible(PowerUserPage::pointsToActivity(message));
    setGeometry(parentWidget()->rect());
    raise();
    show();
}

void TaskStatusOverlay::dismiss() {
    hide();
    isSuccess_ = isError_ = false;
    message_.clear();
    if (dismissAction_)
        dismissAction_();
}

bool TaskStatusOverlay::eventFilter(QObject* watched, QEvent* event) {
    if (watched == parentWidget() && event->type() == QEvent::Resize)
        setGeometry(parentWidget()->rect());
    return QWidget::eventFilter(watched, event);
}

void TaskStatusOverlay::paintEvent(QPaintEvent*) {
    QPainter painter(this);
    QColor veil = palette().color(QPalette::Window);
    veil.setAlpha(200);
    painter.fillRect(rect(), veil);
}

} // namespace velmox
