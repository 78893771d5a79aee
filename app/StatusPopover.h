#pragma once

#include "automation/AutomationCatalogue.h"

#include <QFrame>
#include <QPointer>
#include <functional>
#include <optional>

namespace velmox {

class AppStatusCenter;
class AutomationEngine;
class MonitorDemand;

// The panel that opens under the tray icon: Velmox's state, a slot for the live
// readouts, the system utilities installed on this desktop and the ways into the app.
// Its content is made each time it opens and dropped when it closes, so nothing in it
// updates while it is hidden.
class StatusPopover : public QFrame {
    Q_OBJECT
public:
    static constexpr int kWidth = 300;

    explicit StatusPopover(AppStatusCenter& status, QWidget* parent = nullptr);

    double lastHeight() const { return lastHeight_; }
    // Applies the height rule to the height the content wants; returns whether it resized.
    bool applyWantedHeight(double wanted, std::optional<double> availableScreenHeight);
    // Builds fresh content and opens the panel under `anchor` (global coordinates; an
    // empty rectangle means near the mouse pointer).
    void open(const QRect& anchor);
    // Builds the content without showing it (for screenshots).
    void buildContent();
    bool hasContent() const { return content_ != nullptr; }
    // Fills the readout slot with the monitor's live figures from the next content on.
    void setMonitor(MonitorDemand* monitor) { monitor_ = monitor; }
    // Shows the quick buttons (Empty Trash, Flush DNS, Purge Inactive Memory), which run
    // through `engine`, from the next content on. The engine must outlive the popover.
    void setAutomation(AutomationEngine* engine) { automation_ = engine; }
    // Asked with the caution sentence before a quick task that deletes data for good or needs
    // administrator rights (not in dry run); true runs it. A message box by default.
    using Confirm = std::function<bool(const QString& caution)>;
    void setConfirmHandler(Confirm confirm) { confirm_ = std::move(confirm); }
    // Runs one quick task: asks where needed, reports the start and the end to the status
    // line; the engine records it in the activity log.
    void runQuickAction(QuickAction action);

signals:
    void openWindowRequested();
    // After openWindowRequested, when the state shown points to the activity log.
    void activityRequested();
    void settingsRequested();
    void quitRequested();

protected:
    void hideEvent(QHideEvent* event) override;

private:
    QWidget* makeUtilities();
    QWidget* makeQuickActions();

    AppStatusCenter& status_;
    QPointer<QWidget> content_;
    MonitorDemand* monitor_ = nullptr;
    AutomationEngine* automation_ = nullptr;
    Confirm confirm_;
    double lastHeight_ = 0;
};

} // namespace velmox
