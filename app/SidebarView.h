#pragma once

#include "services/Category.h"

#include <QListWidget>
#include <optional>

namespace velmox {

// The window's sidebar: group headers that cannot be selected and one row per page.
class SidebarView : public QListWidget {
    Q_OBJECT
public:
    explicit SidebarView(QWidget* parent = nullptr);

    std::optional<Category> selection() const;
    // Selects the row of `category`, or clears the selection for a page without a row.
    void setSelection(Category category);
    bool openCore() const { return openCore_; }
    void setOpenCore(bool shown);

signals:
    void categorySelected(velmox::Category category);

protected:
    void changeEvent(QEvent* event) override;
    void focusInEvent(QFocusEvent* event) override;
    QModelIndex moveCursor(CursorAction action, Qt::KeyboardModifiers modifiers) override;

private:
    void rebuild();
    void colourHeaders();

    bool openCore_ = true;
};

} // namespace velmox
