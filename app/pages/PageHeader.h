#pragma once

#include <QWidget>

namespace velmox {

// The title block at the top of every page: the page's icon, title and one line about it.
class PageHeader : public QWidget {
    Q_OBJECT
public:
    PageHeader(const QString& symbol, const QString& title, const QString& subtitle,
               QWidget* parent = nullptr);
};

} // namespace velmox
