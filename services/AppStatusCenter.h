#pragma once

#include <QObject>
#include <QString>
#include <memory>
#include <optional>

#include "services/Clock.h"

namespace velmox {

class AppNavigationState;

// The one status model behind the status line: every long-running tool reports its
// start (active) and its end ("Success: ..." / "Error: ..."), and the page it was started
// on is remembered so the user can go back to it. Main thread only.
class AppStatusCenter : public QObject {
    Q_OBJECT
public:
    static constexpr std::chrono::milliseconds kClearDelay{5000};

    AppStatusCenter(AppNavigationState& navigation, Clock& clock, QObject* parent = nullptr);
    ~AppStatusCenter() override;

    void report(const QString& message, bool active);
    void clear();

    std::optional<QString> message() const { return message_; }
    bool isActive() const { return isActive_; }
    std::optional<QString> originPage() const { return originPage_; }
    std::optional<QString> originDetail() const { return originDetail_; }

signals:
    void changed();

private:
    void clearStatus();

    AppNavigationState& navigation_;
    Clock& clock_;
    std::optional<QString> message_;
    bool isActive_ = false;
    std::optional<QString> originPage_;
    std::optional<QString> originDetail_;
    std::unique_ptr<ScheduledJob> clearWorkItem_;
};

} // namespace velmox
