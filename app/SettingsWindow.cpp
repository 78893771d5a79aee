#include "app/SettingsWindow.h"

#include "app/AccessSettingsPane.h"
#include "app/AppServices.h"
#include "app/AutomationSettingsPane.h"
#include "app/DiskHealthSettingsPane.h"
#include "app/GeneralSettingsPane.h"
#include "app/StorageSettingsPane.h"
#include "app/SymbolIcons.h"

#include <QHBoxLayout>
#include <QListWidget>
#include <QStackedWidget>

namespace velmox {

const QStringList& SettingsView::sectionIds() {
    static const QStringList ids{QStringLiteral("general"), QStringLiteral("access"),
                                 QStringLiteral("automation"), QStringLiteral("diskHealth"),
                                 QStringLiteral("storage")};
    return ids;
}

SettingsView::SettingsView(AppServices& services, const QString& executable, QWidget* parent)
    : QWidget(parent), sections_(new QListWidget), panes_(new QStackedWidget) {
    auto* layout = new QHBoxLayout(this);
    layout->setContentsMargins(0, 0, 0, 0);
    layout->setSpacing(0);
    sections_->setObjectName(QStringLiteral("sidebar"));
    sections_->setFixedWidth(170);
    sections_->setIconSize(QSize(18, 18));
    const std::pair<QString, QString> titles[] = {
        {QStringLiteral("General"), "gearshape"},
        {QStringLiteral("Access"), "person.badge.key"},
        {QStringLiteral("Automation"), "gearshape.2"},
        {QStringLiteral("Disk Health"), "internaldrive"},
        {QStringLiteral("Storage"), "externaldrive.fill"}};
    for (const auto& [title, symbol] : titles) {
        auto* item = new QListWidgetItem(symbolIcon(symbol, title), title, sections_);
        item->setSizeHint(QSize(0, 30));
    }
    panes_->addWidget(new GeneralSettingsPane(services, executable));
    panes_->addWidget(new AccessSettingsPane(services));
    panes_->addWidget(new AutomationSettingsPane(services.checks()));
    panes_->addWidget(new DiskHealthSettingsPane(services.settings(), services.diskHealth()));
    panes_->addWidget(new StorageSettingsPane(services.settings()));
    layout->addWidget(sections_);
    layout->addWidget(panes_, 1);
    connect(sections_, &QListWidget::currentRowChanged, panes_, &QStackedWidget::setCurrentIndex);
    sections_->setCurrentRow(0);
}

QString SettingsView::currentSection() const {
    return sectionIds().value(panes_->currentIndex());
}

void SettingsView::selectSection(const QString& section) {
    const int index = sectionIds().indexOf(section);
    if (index >= 0)
        sections_->setCurrentRow(index);
}

QWidget* SettingsView::pane(const QString& section) const {
    const int index = sectionIds().indexOf(section);
    return index >= 0 ? panes_->widget(index) : nullptr;
}

} // namespace velmox
