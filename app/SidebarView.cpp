#include "app/SidebarView.h"

#include "app/SidebarItems.h"
#include "app/SymbolIcons.h"

#include <QEvent>
#include <QSignalBlocker>

namespace velmox {

namespace {
constexpr int kCategoryRole = Qt::UserRole + 1;
}

SidebarView::SidebarView(QWidget* parent) : QListWidget(parent) {
    setObjectName(QStringLiteral("sidebar"));
    setIconSize(QSize(18, 18));
    setSelectionMode(QAbstractItemView::SingleSelection);
    setHorizontalScrollBarPolicy(Qt::ScrollBarAlwaysOff);
    setUniformItemSizes(false);
    setFixedWidth(224);
    rebuild();
    connect(this, &QListWidget::currentItemChanged, this, [this](QListWidgetItem* item) {
        if (item && item->data(kCategoryRole).isValid())
            emit categorySelected(static_cast<Category>(item->data(kCategoryRole).toInt()));
    });
}

void SidebarView::rebuild() {
    const auto selected = selection();
    QSignalBlocker blocker(this);
    clear();
    QFont headerFont = font();
    headerFont.setBold(true);
    headerFont.setPointSizeF(headerFont.pointSizeF() * 0.85);
    bool first = true;
    for (const SidebarGroup& group : sidebarGroups(openCore_)) {
        auto* header = new QListWidgetItem(group.header, this);
        header->setFlags(Qt::NoItemFlags);
        header->setFont(headerFont);
        header->setSizeHint(QSize(0, first ? 24 : 30));
        header->setTextAlignment(Qt::AlignLeft | Qt::AlignBottom);
        first = false;
        for (const SidebarRow& row : group.rows) {
            auto* item = new QListWidgetItem(symbolIcon(row.symbol, row.title), row.title, this);
            item->setData(kCategoryRole, static_cast<int>(row.category));
            item->setSizeHint(QSize(0, 28));
        }
    }
    colourHeaders();
    if (selected)
        setSelection(*selected);
}

void SidebarView::colourHeaders() {
    for (int i = 0; i < count(); ++i)
        if (!item(i)->data(kCategoryRole).isValid())
            item(i)->setForeground(palette().brush(QPalette::PlaceholderText));
}

// A list view makes its first row current when it gets the focus without one; here
// that would leave a page without a row (Power User) for the Dashboard.
void SidebarView::focusInEvent(QFocusEvent* event) {
    if (currentItem()) {
        QListWidget::focusInEvent(event);
        return;
    }
    QWidget::focusInEvent(event);
    viewport()->update();
}

// Home and End land on the first and last page row; group headers are never current.
QModelIndex SidebarView::moveCursor(CursorAction action, Qt::KeyboardModifiers modifiers) {
    if (action != MoveHome && action != MoveEnd)
        return QListWidget::moveCursor(action, modifiers);
    const int step = action == MoveHome ? 1 : -1;
    for (int row = action == MoveHome ? 0 : count() - 1; row >= 0 && row < count(); row += step)
        if (item(row)->flags() & Qt::ItemIsSelectable)
            return model()->index(row, 0);
    return currentIndex();
}

void SidebarView::changeEvent(QEvent* event) {
    QListWidget::changeEvent(event);
    if (event->type() == QEvent::PaletteChange)
        colourHeaders();
}

std::optional<Category> SidebarView::selection() const {
    const QListWidgetItem* item = currentItem();
    if (!item || !item->isSelected() || !item->data(kCategoryRole).isValid())
        return std::nullopt;
    return static_cast<Category>(item->data(kCategoryRole).toInt());
}

void SidebarView::setSelection(Category category) {
    QSignalBlocker blocker(this);
    for (int i = 0; i < count(); ++i) {
        QListWidgetItem* candidate = item(i);
        if (candidate->data(kCategoryRole).isValid() &&
            static_cast<Category>(candidate->data(kCategoryRole).toInt()) == category) {
            setCurrentItem(candidate);
            return;
        }
    }
    setCurrentItem(nullptr);
    clearSelection();
}

void SidebarView::setOpenCore(bool shown) {
    if (openCore_ == shown)
        return;
    openCore_ = shown;
    rebuild();
}

} // namespace velmox
