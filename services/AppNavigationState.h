#pragma once

#include <QHash>
#include <QObject>
#include <QString>
#include <optional>

namespace velmox {

// Which page is shown and, per page, which sub-view inside it (a tab, a selected disk),
// so that the status line can lead back to where a task was started. Main thread only.
class AppNavigationState : public QObject {
    Q_OBJECT
public:
    using QObject::QObject;

    std::optional<QString> currentPage() const { return currentPage_; }
    void setCurrentPage(const std::optional<QString>& page);

    std::optional<QString> detail(const QString& page) const;
    void setDetail(const QString& page, const std::optional<QString>& detail);
    const QHash<QString, QString>& details() const { return details_; }

    // Shows `page` and restores its sub-view; pages listen to detailChanged.
    void navigate(const QString& page, const std::optional<QString>& detail);

signals:
    void currentPageChanged(const QString& page);
    void detailChanged(const QString& page, const QString& detail);

private:
    std::optional<QString> currentPage_;
    QHash<QString, QString> details_;
};

} // namespace velmox
