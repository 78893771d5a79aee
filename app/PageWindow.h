#pragma once

#include "services/Category.h"

#include <QMainWindow>

namespace velmox {

class AppServices;

// The second kind of window: one page on its own, beside the main window, so that a page
// such as the Dashboard stays in view while the main window shows another. Each page
// has at most one such window; it is deleted when closed.
class PageWindow : public QMainWindow {
    Q_OBJECT
public:
    // The object name every page window carries, distinct from the main window's.
    static inline const QString kIdentifier = QStringLiteral("velmoxPageWindow");
    static constexpr QSize kDefaultSize{820, 620};

    PageWindow(AppServices& services, Category category, QWidget* parent = nullptr);

    Category category() const { return category_; }
    QWidget* page() const { return page_; }
    static QString titleFor(Category category);

private:
    Category category_;
    QWidget* page_;
};

} // namespace velmox
