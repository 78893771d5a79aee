#pragma once

#include "services/Category.h"

#include <QWidget>

class QVBoxLayout;

namespace velmox {

// A page whose tools have not arrived yet: its header, one line saying what it will hold
// and a notice that says so.
class PlaceholderPage : public QWidget {
    Q_OBJECT
public:
    explicit PlaceholderPage(Category category, QWidget* parent = nullptr);

    static QString plannedContent(Category category);

private:
    QVBoxLayout* body_;
};

} // namespace velmox
