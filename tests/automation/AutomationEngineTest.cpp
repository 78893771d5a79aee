#include "automation/AutomationEngine.h"

#include "AutomationTestSupport.h"
#include "automation/AutomationNotifier.h"
#include "automation/AutomationStore.h"
#include "services/ActionHistoryStore.h"
#include "services/Settings.h"
#include "tests/support/ManualClock.h"

#include <QTemporaryDir>
#include <sys/statvfs.h>

using namespace velmox;
using namespace velmox::test;
using namespace std::chrono_literals;

namespace {

const QString kPower = QStringLiteral(VELMOX_TEST_DATA "/automation/power/");

AutomationRule rule(const QString& id, AutomationCondition condition, double threshold,
                    const QString& actionId) {
    AutomationRule made;
    made.id = id;
    made.name = id;
    made.condition = condition;
    made.threshold = threshold;
    made.actionId = actionId;
    made.cooldownMinutes = 30;
    return made;
}

class EngineTest : public ::testing::Test {
protected:
    void SetUp() override {
        ASSERT_FALSE(bus.address().isEmpty()) << "dbus-daemon did not start";
        standIns = std::make_unique<StandInServices>(bus);
        client = std::make_unique<QDBusConnection>(bus.connect(QStringLiteral("engine")));
        settings = std::make_unique<Settings>(folder.filePath(QStringLiteral("Velmox.conf")));
        history = std::make_unique<ActionHistoryStore>(*settings, clock);
        store = std::make_unique<AutomationStore>(storePath());
        notifier = std::make_unique<DesktopNotifier>(*client);
    }
    void TearDown() override {
        engine.reset();
        environment.reset();
        client.reset();
        QDBusConnection::disconnectFromBus(QStringLiteral("engine"));
    }

    QString storePath() const {
        return folder.filePath(QStringLiteral("data/Automation Rules.json"));
    }

    void makeEngine(const QString& power = QStringLiteral("desktop")) {
        SystemAutomationEnvironment::Sources sources{*client,        &clock, folder.path().toUtf8(),
                                                     kPower + power, {},     {}};
        sources.memory = [this] { return memory; };
        sources.sensors = [this] { return sensors; };
        environment = std::make_unique<SystemAutomationEnvironment>(sources);
        engine = std::make_unique<AutomationEngine>(AutomationEngine::Services{
            *settings, clock, *history, performer, *store, *environment, *notifier,
            [this]() -> Result<bool> { return adminSaved.load(); }});
    }

    double freeGB() const {
        struct statvfs volume {};
        ::statvfs(folder.path().toUtf8().constData(), &volume);
        return double(volume.f_bavail) * double(volume.f_frsize) / 1e9;
    }

    // Runs one minute tick and waits until the tasks it started are back.
    void tickAndSettle() {
        freshen();
        clock.advance(60s);
        engine->tick();
        settle();
    }
    // Lets the environment take in what the stand-in services say now.
    void freshen() {
        environment->refresh();
        ASSERT_TRUE(waitUntil([this] { return !environment->isRefreshing(); }));
    }
    void settle() {
        ASSERT_TRUE(waitUntil([this] { return engine->runningTargets().isEmpty(); }));
        QCoreApplication::processEvents();
    }
    QList<ShownNotification> notifications() {
        // The notification travels over the bus after the run ends.
        QCoreApplication::processEvents();
        QThread::msleep(300);
        return standIns->notifications.shown();
    }
    QStringList activity() {
        QCoreApplication::processEvents();
        QStringList actions;
        for (const ActionHistoryEntry& entry : history->entries())
            actions.prepend(entry.action + QStringLiteral(" | ") + entry.detail);
        return actions;
    }

    QTemporaryDir folder;
    PrivateBus bus;
    std::unique_ptr<StandInServices> standIns;
    std::unique_ptr<QDBusConnection> client;
    ManualClock clock{QDateTime(QDate(2026, 5, 4), QTime(10, 0), Qt::LocalTime)};
    std::unique_ptr<Settings> settings;
    std::unique_ptr<ActionHistoryStore> history;
    std::unique_ptr<AutomationStore> store;
    std::unique_ptr<DesktopNotifier> notifier;
    RecordingPerformer performer;
    std::atomic<bool> adminSaved{true};
    std::optional<MemoryCounters> memory = MemoryCounters{1000, 400, 80, 20};
    QList<SensorReading> sensors;
    std::unique_ptr<SystemAutomationEnvironment> environment;
    std::unique_ptr<AutomationEngine> engine;
};

TEST_F(EngineTest, TickRunsTheRulesWhoseConditionsHoldStrictlyInListOrder) {
    const double free = freeGB();
    sensors = {{QStringLiteral("coretemp Package id 0"), 70.0}};
    makeEngine(QStringLiteral("laptop-on-battery"));
    ASSERT_TRUE(engine->setRules({
        rule("memory-at", AutomationCondition::memoryAbovePercent, 50, "purgeRAM"),
        rule("memory-above", AutomationCondition::memoryAbovePercent, 49.9, "flushDNS"),
        rule("disk-low", AutomationCondition::diskFreeBelowGB, free * 2 + 1, "cleanUserCaches"),
        rule("disk-fine", AutomationCondition::diskFreeBelowGB, free / 2, "emptyTrash"),
        rule("hot", AutomationCondition::cpuTempAbove, 69.5, "preventSleepOff"),
        rule("battery-at", AutomationCondition::batteryBelowPercent, 37, "verifyDisk"),
        rule("battery-low", AutomationCondition::batteryBelowPercent, 38, "reindexSpotlight"),
        rule("wake", AutomationCondition::onWake, 0, "thinSnapshots"),
        rule("launch", AutomationCondition::onLaunch, 0, "thinSnapshots"),
    }));
    AutomationRule off = rule("off", AutomationCondition::memoryAbovePercent, 0, "emptyTrash");
    off.enabled = false;
    ASSERT_TRUE(engine->setRules(engine->rules() + QList{off}));

    tickAndSettle();
    EXPECT_EQ(performer.taskIds(),
              (QStringList{"flushDNS", "cleanUserCaches", "preventSleepOff", "reindexSpotlight"}));
    // The store holds the runs: a new engine would wait for the cooldown too.
    const AutomationStoreData saved = AutomationStore(storePath()).load().data;
    EXPECT_EQ(saved.rules.at(1).lastRun, clock.now());
    EXPECT_FALSE(saved.rules.at(0).lastRun);
}

TEST_F(EngineTest, NoSensorNoBatteryAndBatteryPowerKeepRulesFromRunning) {
    standIns->device.present = false;
    makeEngine(QStringLiteral("desktop"));
    AutomationRule onAC = rule("ac", AutomationCondition::memoryAbovePercent, 10, "flushDNS");
    onAC.onlyOnAC = true;
    ASSERT_TRUE(engine->setRules({
        rule("no-sensor", AutomationCondition::cpuTempAbove, 0, "purgeRAM"),
        rule("no-battery", AutomationCondition::batteryBelowPercent, 101, "emptyTrash"),
        onAC,
    }));
    // UPower, where it runs, wins over the power-supply tree.
    standIns->upower.battery = true;
    standIns->setUPowerRunning(true);
    tickAndSettle();
    EXPECT_TRUE(performer.calls().isEmpty());

    standIns->upower.battery = false;
    tickAndSettle();
    EXPECT_EQ(performer.taskIds(), QStringList{"flushDNS"});
}

// A measurement never waits for the bus: a stalled UPower leaves its last answer in use, and a
// UPower that has gone leaves the power-supply tree.
TEST_F(EngineTest, PowerIsReadWithoutWaitingForTheBus) {
    makeEngine(QStringLiteral("desktop"));
    standIns->upower.battery = true;
    standIns->setUPowerRunning(true);
    freshen();
    QSemaphore gate;
    standIns->stall(gate);
    EXPECT_FALSE(environment->measure().onAC);
    EXPECT_TRUE(environment->isRefreshing());
    gate.release();
    standIns->setUPowerRunning(false);
    freshen();
    EXPECT_TRUE(environment->measure().onAC);
}

TEST_F(EngineTest, CooldownCountsWholeMinutesSinceTheLastRun) {
    makeEngine();
    AutomationRule noCooldown =
        rule("always", AutomationCondition::memoryAbovePercent, 10, "purgeRAM");
    noCooldown.cooldownMinutes = -5;
    ASSERT_TRUE(engine->setRules(
        {rule("half-hour", AutomationCondition::memoryAbovePercent, 10, "flushDNS"), noCooldown}));
    tickAndSettle();
    clock.advance(28min);
    tickAndSettle(); // 29 minutes after the first run
    EXPECT_EQ(performer.taskIds(), (QStringList{"flushDNS", "purgeRAM", "purgeRAM"}));
    tickAndSettle(); // 30 minutes
    EXPECT_EQ(performer.taskIds().mid(3), (QStringList{"flushDNS", "purgeRAM"}));
}

TEST_F(EngineTest, WakeAndLaunchRunTheirOwnRulesOnce) {
    makeEngine();
    ASSERT_TRUE(engine->setRules({rule("wake", AutomationCondition::onWake, 0, "flushDNS"),
                                  rule("launch", AutomationCondition::onLaunch, 0, "purgeRAM")}));
    engine->start();
    engine->start();
    clock.advance(19s);
    settle();
    EXPECT_TRUE(performer.calls().isEmpty());
    clock.advance(1s);
    settle();
    EXPECT_EQ(performer.taskIds(), QStringList{"purgeRAM"});

    standIns->emitWake();
    ASSERT_TRUE(waitUntil([this] { return performer.calls().size() == 2; }));
    settle();
    clock.advance(40s); // the first minute tick
    settle();
    EXPECT_EQ(performer.taskIds(), (QStringList{"purgeRAM", "flushDNS"}));
}

TEST_F(EngineTest, RoutineStopsAtTheFailedStepAndReportsIt) {
    settings->setValue(AutomationSettingsKeys::notifyFailure, true).value();
    makeEngine();
    performer.answer("flushDNS", {false, "DNS flush failed: no resolver."});
    ASSERT_TRUE(
        engine->setChains({{"night", "Night", {"purgeRAM", "flushDNS", "emptyTrash"}, {}}}));
    ASSERT_TRUE(
        engine->setRules({rule("r", AutomationCondition::memoryAbovePercent, 10, "chain:night")}));
    tickAndSettle();

    EXPECT_EQ(performer.taskIds(), (QStringList{"purgeRAM", "flushDNS"}));
    const QString lines = "Purge Inactive Memory: Done: purgeRAM\n"
                          "Flush DNS Cache: DNS flush failed: no resolver.\n"
                          "Stopped after the failed step.";
    EXPECT_EQ(activity(),
              (QStringList{"Automation: Purge Inactive Memory | Done: purgeRAM",
                           "Automation: Flush DNS Cache | DNS flush failed: no resolver.",
                           "Automation: rule: r | " + lines}));
    EXPECT_EQ(notifications(), (QList<ShownNotification>{{"rule: r failed", lines}}));
}

TEST_F(EngineTest, AdministratorTasksNeverAskAndOnlyUnattendedRunsNotify) {
    settings->setValue(AutomationSettingsKeys::notifyFailure, true).value();
    settings->setValue(AutomationSettingsKeys::notifySummary, true).value();
    adminSaved = false;
    makeEngine();
    std::optional<AutomationRunResult> manual;
    engine->run("flushDNS", "manual", "Flush DNS Cache",
                [&](const AutomationRunResult& result) { manual = result; });
    ASSERT_TRUE(waitUntil([&] { return manual.has_value(); }));
    EXPECT_EQ(manual->lines,
              QStringList{"Needs a saved administrator password (Settings > Access)."});
    EXPECT_TRUE(manual->needsPassword);

    ASSERT_TRUE(engine->setRules(
        {rule("dns", AutomationCondition::memoryAbovePercent, 10, "flushDNS"),
         rule("caches", AutomationCondition::memoryAbovePercent, 10, "cleanUserCaches")}));
    tickAndSettle();
    EXPECT_EQ(performer.taskIds(), QStringList{"cleanUserCaches"});
    EXPECT_EQ(
        notifications(),
        (QList<ShownNotification>{
            {"Administrator password needed",
             "rule: dns couldn't run. Save your administrator password in Settings > Access."},
            {"rule: caches finished", "Done: cleanUserCaches"}}));
}

TEST_F(EngineTest, DryRunReachesEveryStepAndNamesTheActivityEntry) {
    settings->setValue(AutomationSettingsKeys::dryRun, true).value();
    makeEngine();
    std::optional<AutomationRunResult> result;
    engine->runProfile(builtInProfiles().at(0), [&](const AutomationRunResult& r) { result = r; });
    ASSERT_TRUE(waitUntil([&] { return result.has_value(); }));
    EXPECT_EQ(performer.calls(),
              (QList<RecordingPerformer::Call>{{"preventSleepOff", true}, {"flushDNS", true}}));
    EXPECT_TRUE(activity().last().startsWith("Automation (dry run): Work | "));
}

TEST_F(EngineTest, RunningTargetsKeepARuleAndTheScheduleFromOverlapping) {
    makeEngine();
    AutomationRule busy = rule("busy", AutomationCondition::memoryAbovePercent, 10, "verifyDisk");
    busy.cooldownMinutes = 0;
    ASSERT_TRUE(engine->setRules({busy}));
    performer.hold("verifyDisk");
    clock.advance(60s);
    engine->tick();
    ASSERT_TRUE(waitUntil([this] { return performer.calls().size() == 1; }));
    EXPECT_EQ(engine->runningTargets(), QSet<QString>{"rule:busy"});
    clock.advance(60s);
    engine->tick();
    EXPECT_EQ(performer.calls().size(), 1);

    ASSERT_TRUE(engine->runCustomScheduleNow());
    EXPECT_EQ(engine->runCustomScheduleNow().error(), "The custom schedule is already running.");
    performer.release();
    settle();
    EXPECT_EQ(performer.taskIds(), (QStringList{"verifyDisk", "cleanUserCaches"}));
}

TEST_F(EngineTest, CustomScheduleWaitsForItsSlotIdleTimeAndMainsPower) {
    makeEngine(QStringLiteral("laptop-on-battery"));
    AutomationCustomSchedule schedule;
    schedule.enabled = true;
    schedule.plan.hour = 10;
    schedule.plan.minute = 30;
    schedule.target = "purgeRAM";
    schedule.onlyWhenIdle = true;
    ASSERT_TRUE(engine->setCustomSchedule(schedule));
    EXPECT_EQ(engine->customSchedule().plan.lastRun, clock.now());

    clock.advance(29min);
    tickAndSettle(); // 10:30, but somebody is typing
    EXPECT_TRUE(performer.calls().isEmpty());

    standIns->login1.idle = true;
    standIns->login1.idleSinceUs = qulonglong(clock.now().addSecs(-299).toMSecsSinceEpoch()) * 1000;
    tickAndSettle(); // idle for 359 s by then
    EXPECT_EQ(performer.taskIds(), QStringList{"purgeRAM"});
    EXPECT_EQ(engine->customSchedule().plan.lastRun, clock.now());
    tickAndSettle();
    EXPECT_EQ(performer.calls().size(), 1);

    schedule = engine->customSchedule();
    schedule.onlyOnAC = true;
    schedule.plan.lastRun = clock.now().addDays(-1);
    ASSERT_TRUE(engine->setCustomSchedule(schedule));
    tickAndSettle();
    EXPECT_EQ(performer.calls().size(), 1);
}

TEST_F(EngineTest, RoutinePlansRunOnceAndMissingRoutinesFail) {
    makeEngine();
    AutomationChain daily{
        "d", "Daily tidy", {"emptyTrash"}, {AutomationScheduleKind::daily, 10, 5, 1, {}}};
    ASSERT_TRUE(engine->setChains({daily}));
    tickAndSettle(); // 10:01
    EXPECT_TRUE(performer.calls().isEmpty());
    clock.advance(4min);
    tickAndSettle(); // 10:06
    tickAndSettle();
    EXPECT_EQ(performer.taskIds(), QStringList{"emptyTrash"});
    EXPECT_EQ(activity().last(),
              "Automation: schedule: Daily tidy | Empty Trash: Done: emptyTrash");

    std::optional<AutomationRunResult> missing;
    engine->run("chain:gone", "manual", "x", [&](const AutomationRunResult& r) { missing = r; });
    ASSERT_TRUE(missing);
    EXPECT_EQ(missing->lines, QStringList{"The routine for this action no longer exists."});
}

} // namespace

namespace {

TEST_F(EngineTest, PutBackDataGoesToTheActivityLogButIsNeverShown) {
    makeEngine();
    const QString moved = "Moved 1 item(s) (4 kB) from ~/.cache to the Trash.";
    const QString payload = ActionHistoryStore::undoPayload({{"thumbnails", "thumbnails 1"}});
    ASSERT_FALSE(payload.isEmpty());
    performer.answer("cleanUserCaches", {true, moved + payload});
    QString finishedMessage;
    QObject::connect(
        engine.get(), &AutomationEngine::taskFinished,
        [&](const QString&, bool, const QString& message) { finishedMessage = message; });
    std::optional<AutomationRunResult> result;
    engine->run("cleanUserCaches", "manual", "Clean User Caches",
                [&](const AutomationRunResult& r) { result = r; });
    ASSERT_TRUE(waitUntil([&] { return result.has_value(); }));
    EXPECT_EQ(result->lines, QStringList{moved});
    EXPECT_EQ(finishedMessage, moved);
    ASSERT_TRUE(waitUntil([&] { return !history->entries().isEmpty(); }));
    EXPECT_TRUE(history->canPutBack(history->entries().first()));
}

} // namespace
