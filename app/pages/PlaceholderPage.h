#pragma once

#include "services/Category.h"

#include <QWidget>

class QVBoxLayout;

namespace velmox {

// A page whose tools have not arrived yet: its header and one line saying what it will
// hold. Subclasses add cards below the line.
class PlaceholderPage : public QWidget {
    Q_OBJECT
public:
    explicit PlaceholderPage(Category category, QWidget* parent = nullptr);

    static QString plannedContent(Category category);

protected:
    QVBoxLayout* body() const { return body_; }

private:
    QVBoxLayout* body_;
};

} // namespace velmox
