#include "services/AppNavigationState.h"

namespace velmox {

void AppNavigationState::setCurrentPage(const std::optional<QString>& page) {
    if (page == currentPage_)
        return;
    currentPage_ = page;
    emit currentPageChanged(page.value_or(QString()));
}

std::optional<QString> AppNavigationState::detail(const QString& page) const {
    const auto it = details_.constFind(page);
    if (it == details_.constEnd())
        return std::nullopt;
    return *it;
}

void AppNavigationState::setDetail(const QString& page, const std::optional<QString>& detail) {
    if (this->detail(page) == detail)
        return;
    if (detail)
        details_.insert(page, *detail);
    else
        details_.remove(page);
    emit detailChanged(page, detail.value_or(QString()));
}

void AppNavigationState::navigate(const QString& page, const std::optional<QString>& detail) {
    if (detail)
        setDetail(page, detail);
    setCurrentPage(page);
}

} // namespace velmox
