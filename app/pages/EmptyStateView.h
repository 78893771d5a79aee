#pragma once

#include <QWidget>

class QLabel;

namespace velmox {

// What a page shows when it has nothing to list: a picture, a heading and a sentence or
// two on why and on what would change it, centred in the page.
class EmptyStateView : public QWidget {
    Q_OBJECT
public:
    explicit EmptyStateView(QWidget* parent = nullptr);

    void show(const QPixmap& picture, const QString& heading, const QString& body);
    using QWidget::show;
    QString heading() const;
    QString body() const;

private:
    QLabel* icon_;
    QLabel* heading_;
    QLabel* body_;
};

} // namespace velmox
