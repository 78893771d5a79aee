#include "app/StatusPopover.h"
#include "app/pages/LiveReadoutsView.h"
#include "services/AppNavigationState.h"
#include "services/AppStatusCenter.h"
#include "tests/monitorpages/MonitorPagesFixture.h"

#include <QWidget>

namespace velmox::test {
namespace {

using namespace std::chrono_literals;
using MonitorDemandTest = MonitorPagesFixture;

TEST_F(MonitorDemandTest, EngineRunsOnlyWhileSomethingShownWatchesIt) {
    makeEngine();
    QWidget page;
    QWidget other;
    demand->watchWhileShown(&page);
    demand->watchWhileShown(&other);
    EXPECT_FALSE(engine->isRunning()) << "a hidden page costs nothing";

    page.show();
    page.show(); // a second show does not count twice
    other.show();
    EXPECT_TRUE(engine->isRunning());
    EXPECT_EQ(demand->watchers(), 2);
    page.hide();
    EXPECT_TRUE(engine->isRunning());
    other.hide();
    EXPECT_FALSE(engine->isRunning());
    EXPECT_EQ(demand->watchers(), 0);

    // A watcher destroyed while shown lets go too.
    {
        QWidget shortLived;
        demand->watchWhileShown(&shortLived);
        shortLived.show();
        EXPECT_TRUE(engine->isRunning());
    }
    EXPECT_FALSE(engine->isRunning());
    demand->release(); // one release too many changes nothing
    EXPECT_EQ(demand->watchers(), 0);
}

TEST_F(MonitorDemandTest, PopoverShowsLiveReadoutsAndStopsTheEngineWhenClosed) {
    makeEngine();
    AppNavigationState navigation;
    AppStatusCenter status(navigation, clock);
    StatusPopover popover(status);
    popover.setMonitor(demand.get());
    popover.buildContent();
    popover.show();

    const auto* view = popover.findChild<LiveReadoutsView*>();
    ASSERT_NE(view, nullptr);
    EXPECT_TRUE(engine->isRunning());
    EXPECT_EQ(view->shownValue(QStringLiteral("CPU")), QStringLiteral("Measuring"));
    EXPECT_EQ(view->shownValue(QStringLiteral("Temperature")), QStringLiteral("No sensors"));

    snapshot.use(QStringLiteral("live-2"));
    clock.advance(2s);
    EXPECT_TRUE(view->shownValue(QStringLiteral("CPU")).endsWith(QLatin1Char('%')))
        << view->shownValue(QStringLiteral("CPU")).toStdString();
    EXPECT_GT(popover.lastHeight(), 0.0);

    popover.hide();
    EXPECT_FALSE(engine->isRunning());
}

} // namespace
} // namespace velmox::test
