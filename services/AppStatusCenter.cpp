#include "services/AppStatusCenter.h"

#include "services/AppNavigationState.h"

namespace velmox {

AppStatusCenter::AppStatusCenter(AppNavigationState& navigation, Clock& clock, QObject* parent)
    : QObject(parent), navigation_(navigation), clock_(clock) {}

AppStatusCenter::~AppStatusCenter() = default;

void AppStatusCenter::report(const QString& message, bool active) {
    clearWorkItem_.reset();

    if (active) {
        const auto currentPage = navigation_.currentPage();
        if (isActive_ && originPage_ && originDetail_) {
            // A task that reports progress again stays tied to the page it started on.
        } else if (isActive_ && originPage_) {
            if (currentPage == originPage_)
                originDetail_ = navigation_.detail(*originPage_);
        } else if (currentPage) {
            originPage_ = currentPage;
            originDetail_ = navigation_.detail(*currentPage);
        } else {
            originPage_.reset();
            originDetail_.reset();
        }
    } else {
        originPage_.reset();
        originDetail_.reset();
    }

    message_ = message;
    isActive_ = active;
    emit changed();

    if (!active && !message.isEmpty())
        clearWorkItem_ = clock_.schedule(kClearDelay, [this] { clearStatus(); });
}

void AppStatusCenter::clear() {
    clearWorkItem_.reset();
    clearStatus();
}

// Runs inside the clear job too, so it must not destroy that job.
void AppStatusCenter::clearStatus() {
    message_.reset();
    isActive_ = false;
    emit changed();
}

} // namespace velmox
