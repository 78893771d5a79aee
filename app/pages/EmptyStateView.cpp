#include "app/pages/EmptyStateView.h"

#include <QLabel>
#include <QVBoxLayout>

namespace velmox {

EmptyStateView::EmptyStateView(QWidget* parent)
    : QWidget(parent), icon_(new QLabel(this)), heading_(new QLabel(this)),
      body_(new QLabel(this)) {
    auto* layout = new QVBoxLayout(this);
    layout->setContentsMargins(60, 24, 60, 40);
    layout->setSpacing(10);
    layout->addStretch(2);
    icon_->setAlignment(Qt::AlignCenter);
    layout->addWidget(icon_);
    layout->addSpacing(6);
    heading_->setObjectName(QStringLiteral("emptyStateHeading"));
    heading_->setAlignment(Qt::AlignCenter);
    layout->addWidget(heading_);
    body_->setObjectName(QStringLiteral("emptyState"));
    body_->setAlignment(Qt::AlignCenter);
    body_->setWordWrap(true);
    body_->setTextFormat(Qt::PlainText);
    layout->addWidget(body_);
    layout->addStretch(3);
}

void EmptyStateView::show(const QPixmap& picture, const QString& heading, const QString& body) {
    icon_->setPixmap(picture);
    heading_->setText(heading);
    body_->setText(body);
    QWidget::show();
}

QString EmptyStateView::heading() const {
    return heading_->text();
}

QString EmptyStateView::body() const {
    return body_->text();
}

} // namespace velmox
