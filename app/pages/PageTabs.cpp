#include "app/pages/PageTabs.h"

#include "services/AppNavigationState.h"

namespace velmox {

PageTabs::PageTabs(AppNavigationState& navigation, QString page, QWidget* parent)
    : QTabWidget(parent), navigation_(navigation), page_(std::move(page)) {
    setDocumentMode(true);
    connect(&navigation_, &AppNavigationState::detailChanged, this,
            [this](const QString& page, const QString& detail) {
                if (page == page_ && !detail.isEmpty())
                    showKey(detail);
            });
}

void PageTabs::addPageTab(QWidget* widget, const QString& title, const QString& key) {
    keys_.append(key);
    addTab(widget, title);
}

void PageTabs::restore() {
    showKey(navigation_.detail(page_).value_or(keys_.value(0)));
    navigation_.setDetail(page_, currentKey());
    // Only now: adding the first tab made it current, which is no choice of the user's.
    connect(this, &QTabWidget::currentChanged, this,
            [this](int index) { navigation_.setDetail(page_, keys_.value(index)); });
}

QString PageTabs::currentKey() const {
    return keys_.value(currentIndex());
}

void PageTabs::showKey(const QString& key) {
    const int index = static_cast<int>(keys_.indexOf(key));
    if (index >= 0)
        setCurrentIndex(index);
}

} // namespace velmox
