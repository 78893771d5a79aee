#include "app/pages/EmptyStateView.h"

#include "app/SymbolIcons.h"

#include <QLabel>
#include <QVBoxLayout>

namespace velmox {

EmptyStateView::EmptyStateView(QWidget* parent)
    : QWidget(parent), icon_(new QLabel(this)), heading_(new QLabel(this)),
      body_(new QLabel(this)) {
    auto* layout = new QVBoxLayout(this);
    layout->setContentsMargins(40, 24, 40, 40);
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
    body_->setMaximumWidth(560);
    layout->addWidget(body_, 0, Qt::AlignHCenter);
    layout->addStretch(3);
}

void EmptyStateView::show(const QString& symbol, const QString& heading, const QString& body) {
    icon_->setPixmap(symbolIcon(symbol, heading).pixmap(64, 64));
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
