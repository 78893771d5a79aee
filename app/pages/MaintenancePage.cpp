#include "app/pages/MaintenancePage.h"

#include <QHBoxLayout>
#include <QLabel>
#include <QPushButton>
#include <QVBoxLayout>

#include "app/SymbolIcons.h"
#include "services/AppNavigationState.h"

namespace velmox {

MaintenancePage::MaintenancePage(AppNavigationState& navigation, QWidget* parent)
    : PlaceholderPage(Category::maintenance, parent) {
    auto* card = new QFrame(this);
    card->setObjectName(QStringLiteral("card"));
    auto* layout = new QHBoxLayout(card);
    layout->setContentsMargins(16, 14, 16, 14);
    layout->setSpacing(14);
    auto* icon = new QLabel(card);
    icon->setPixmap(symbolIcon(QStringLiteral("bolt.circle"), QStringLiteral("Power User"))
                        .pixmap(32, 32));
    layout->addWidget(icon);
    auto* texts = new QVBoxLayout;
    auto* title = new QLabel(QStringLiteral("<b>Power User</b>"), card);
    auto* line = new QLabel(
        QStringLiteral("The activity log with Put Back, and automation of maintenance tasks."),
        card);
    line->setWordWrap(true);
    texts->addWidget(title);
    texts->addWidget(line);
    layout->addLayout(texts, 1);
    auto* open = new QPushButton(QStringLiteral("Open Power User"), card);
    open->setObjectName(QStringLiteral("openPowerUser"));
    layout->addWidget(open);
    connect(open, &QPushButton::clicked, this, [&navigation] {
        navigation.navigate(rawValue(Category::powerUser), std::nullopt);
    });
    body()->insertWidget(body()->count() - 1, card);
}

} // namespace velmox
