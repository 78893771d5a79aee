#include "app/pages/PageHeader.h"

#include "app/SymbolIcons.h"

#include <QHBoxLayout>
#include <QLabel>
#include <QVBoxLayout>

namespace velmox {

PageHeader::PageHeader(const QString& symbol, const QString& title, const QString& subtitle,
                       QWidget* parent)
    : QWidget(parent) {
    auto* layout = new QHBoxLayout(this);
    layout->setContentsMargins(0, 0, 0, 0);
    layout->setSpacing(14);
    auto* icon = new QLabel(this);
    icon->setPixmap(symbolIcon(symbol, title).pixmap(40, 40));
    icon->setFixedSize(40, 40);
    layout->addWidget(icon, 0, Qt::AlignTop);
    auto* texts = new QVBoxLayout;
    texts->setSpacing(2);
    auto* titleLabel = new QLabel(title, this);
    titleLabel->setObjectName(QStringLiteral("pageTitle"));
    auto* subtitleLabel = new QLabel(subtitle, this);
    subtitleLabel->setObjectName(QStringLiteral("pageSubtitle"));
    subtitleLabel->setWordWrap(true);
    texts->addWidget(titleLabel);
    texts->addWidget(subtitleLabel);
    layout->addLayout(texts, 1);
}

} // namespace velmox
