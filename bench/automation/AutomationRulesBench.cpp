// One evaluation of 100 rules: half of them hold but wait for their cooldown, half do not
// hold, so every check runs and no task starts. Once with a fixed measurement, once measuring
// this machine as the minute tick does.
#include "automation/AutomationEngine.h"
#include "automation/AutomationNotifier.h"
#include "automation/AutomationStore.h"
#include "services/ActionHistoryStore.h"
#include "services/Clock.h"
#include "services/Settings.h"

#include <QCoreApplication>
#include <QTemporaryDir>
#include <benchmark/benchmark.h>

using namespace velmox;

namespace {

class FixedEnvironment final : public AutomationEnvironment {
public:
    AutomationMeasurements measure() override { return {20.0, 60.0, 55.0, true, 70.0, true}; }
    std::optional<double> idleSeconds() override { return 0.0; }
};

class NoPerformer final : public AutomationTaskPerformer {
public:
    AutomationTaskOutcome perform(const QString&, bool) override { return {true, {}}; }
};

class NoNotifier final : public AutomationNotifier {
public:
    void notify(const QString&, const QString&) override {}
};

QList<AutomationRule> hundredRules() {
    const QDateTime now = SystemClock::shared().now();
    QList<AutomationRule> rules;
    for (int i = 0; i < 100; ++i) {
        AutomationRule rule;
        rule.id = QStringLiteral("rule-%1").arg(i);
        rule.name = rule.id;
        rule.condition = allAutomationConditions().at(i % 4);
        const bool holds = i % 2 == 0;
        rule.threshold = rule.condition == AutomationCondition::diskFreeBelowGB ||
                                 rule.condition == AutomationCondition::batteryBelowPercent
                             ? (holds ? 90.0 : 5.0)
                             : (holds ? 10.0 : 99.0);
        rule.actionId = QStringLiteral("flushDNS");
        rule.cooldownMinutes = 60;
        rule.onlyOnAC = i % 3 == 0;
        rule.lastRun = now;
        rules.append(rule);
    }
    return rules;
}

void evaluate(benchmark::State& state, AutomationEnvironment& environment) {
    QTemporaryDir folder;
    Settings settings(folder.filePath(QStringLiteral("Velmox.conf")));
    ActionHistoryStore history(settings, SystemClock::shared());
    AutomationStore store(folder.filePath(QStringLiteral("Automation Rules.json")));
    NoPerformer performer;
    NoNotifier notifier;
    AutomationEngine engine({settings, SystemClock::shared(), history, performer, store,
                             environment, notifier, [] { return Result<bool>(true); }});
    if (!engine.setRules(hundredRules())) {
        state.SkipWithError("the rules could not be saved");
        return;
    }
    for (auto _ : state)
        engine.evaluateRules(AutomationTrigger::tick);
    if (!engine.runningTargets().isEmpty())
        state.SkipWithError("a rule started a run");
}

void BM_EvaluateHundredRules(benchmark::State& state) {
    FixedEnvironment environment;
    evaluate(state, environment);
}
BENCHMARK(BM_EvaluateHundredRules)->Unit(benchmark::kMicrosecond);

void BM_MeasureAndEvaluateHundredRules(benchmark::State& state) {
    SystemAutomationEnvironment environment(
        SystemAutomationEnvironment::systemSources(SystemClock::shared()));
    evaluate(state, environment);
}
BENCHMARK(BM_MeasureAndEvaluateHundredRules)->Unit(benchmark::kMicrosecond);

} // namespace

int main(int argc, char** argv) {
    QCoreApplication app(argc, argv);
    benchmark::Initialize(&argc, argv);
    benchmark::RunSpecifiedBenchmarks();
    benchmark::Shutdown();
    return 0;
}
