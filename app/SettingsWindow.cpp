#include "app/SettingsWindow.h"

#include "app/AccessSettingsPane.h"
#include "app/AppServices.h"
#include "app/AutomationSettingsPane.h"
#include "app/DiskHealthSettingsPane.h"
#include "app/GeneralSettingsPane.h"
#include "app/StorageSettingsPane.h"
#include "app/SymbolIcons.h"

#include <QAbstractButton>
#include <QGroupBox>
#include <QHBoxLayout>
#include <QLabel>
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

namespace {

QWidget* firstControl(const QWidget& group) {
    for (QWidget* child : group.findChildren<QWidget*>())
        if (child->focusPolicy() & Qt::TabFocus)
            return child;
    return nullptr;
}

} // namespace

bool SettingsView::focusSetting(const QString& title) {
    QWidget* shown = panes_->currentWidget();
    if (!shown)
        return false;
    // Form labels end in a colon ("Check every:"); mnemonics are marked with "&".
    const auto named = [&title](QString text) {
        text = text.remove(u'&').trimmed();
        if (text.endsWith(u':'))
            text.chop(1);
        return text == title;
    };
    QWidget* control = nullptr;
    for (QWidget* widget : shown->findChildren<QWidget*>()) {
        if (const auto* button = qobject_cast<QAbstractButton*>(widget);
            button && named(button->text()))
            control = widget;
        else if (const auto* label = qobject_cast<QLabel*>(widget); label && named(label->text()))
            control = label->buddy();
        else if (const auto* group = qobject_cast<QGroupBox*>(widget);
                 group && named(group->title()))
            control = firstControl(*group);
        if (control)
            break;
    }
    if (!control)
        return false;
    control->setFocus(Qt::ShortcutFocusReason);
    return true;
}

QWidget* SettingsView::pane(const QString& section) const {
    const int index = sectionIds().indexOf(section);
    return index >= 0 ? panes_->widget(index) : nullptr;
}

} // namespace velmox
