#include "automation/AutomationEngine.h"

#include "automation/AutomationNotifier.h"
#include "automation/AutomationSchedule.h"
#include "automation/AutomationStore.h"
#include "services/ActionHistoryStore.h"
#include "services/Clock.h"
#include "services/KeychainHelper.h"
#include "services/Settings.h"

#include <QPointer>
#include <unistd.h>

namespace velmox {

namespace {

AutomationEngine* liveEngine = nullptr;

const QString kSchedule = QStringLiteral("schedule");
const QString kRulePrefix = QStringLiteral("rule:");

bool notifies(const QString& label) {
    return label.startsWith(QLatin1String("rule")) || label.startsWith(QLatin1String("schedule"));
}

// Runs are stored to the second, in UTC like the dates read from the store.
QDateTime wholeSeconds(const QDateTime& time) {
    return QDateTime::fromSecsSinceEpoch(time.toSecsSinceEpoch(), Qt::UTC);
}

void startPlan(AutomationSchedulePlan& plan, const QDateTime& now) {
    if (plan.kind != AutomationScheduleKind::off && !plan.lastRun)
        plan.lastRun = now;
}

} // namespace

QString shownMessage(const QString& message) {
    const qsizetype marker = message.indexOf(ActionHistoryStore::undoMarker);
    return marker < 0 ? message : message.left(marker);
}

AutomationEngine::AutomationEngine(Services services, QObject* parent)
    : QObject(parent), services_(std::move(services)) {
    Q_ASSERT(!liveEngine);
    liveEngine = this;
    AutomationStore::Loaded loaded = services_.store.load();
    data_ = std::move(loaded.data);
    loadProblem_ = std::move(loaded.problem);

    workerThread_.setObjectName(QStringLiteral("automation"));
    worker_ = new QObject;
    worker_->moveToThread(&workerThread_);
    connect(&workerThread_, &QThread::finished, worker_, &QObject::deleteLater);
    workerThread_.start(QThread::LowPriority);
    connect(&services_.environment, &AutomationEnvironment::woke, this,
            [this] { evaluateRules(AutomationTrigger::onWake); });
}

AutomationEngine::~AutomationEngine() {
    // The task that is running finishes first; nothing queued after it starts.
    workerThread_.quit();
    workerThread_.wait();
    if (liveEngine == this)
        liveEngine = nullptr;
}

AutomationEngine* AutomationEngine::instance() {
    return liveEngine;
}

std::function<Result<bool>()> AutomationEngine::rootOrSavedPassword(KeychainHelper& keychain) {
    return [&keychain]() -> Result<bool> {
        if (::geteuid() == 0)
            return true;
        return keychain.hasSavedPassword();
    };
}

QString AutomationEngine::missingRoutineMessage() {
    return QStringLiteral("The routine for this action no longer exists.");
}

QString AutomationEngine::emptyRoutineMessage() {
    return QStringLiteral("This routine has no steps.");
}

QString AutomationEngine::stoppedLine() {
    return QStringLiteral("Stopped after the failed step.");
}

QString AutomationEngine::scheduleRunningMessage() {
    return QStringLiteral("The custom schedule is already running.");
}

void AutomationEngine::start() {
    if (started_)
        return;
    started_ = true;
    timer_ = services_.clock.schedule(
        tickInterval, [this] { tick(); }, true, tickTolerance);
    launchCheck_ = services_.clock.schedule(launchDelay,
                                            [this] { evaluateRules(AutomationTrigger::onLaunch); });
}

QDateTime AutomationEngine::now() const {
    return wholeSeconds(services_.clock.now());
}

bool AutomationEngine::dryRunSetting() const {
    return services_.settings.boolValue(AutomationSettingsKeys::dryRun, false);
}

QList<AutomationProfile> AutomationEngine::profiles() const {
    return builtInProfiles() + data_.profiles;
}

void AutomationEngine::tick() {
    const AutomationMeasurements measured = services_.environment.measure();
    evaluateRules(AutomationTrigger::tick, measured);
    runCustomScheduleIfDue(measured);
    runDueRoutines();
}

void AutomationEngine::evaluateRules(AutomationTrigger trigger) {
    evaluateRules(trigger, services_.environment.measure());
}

void AutomationEngine::evaluateRules(AutomationTrigger trigger,
                                     const AutomationMeasurements& measured) {
    const QDateTime time = now();
    const qint64 nowSecs = time.toSecsSinceEpoch();
    // Runs change the list (lastRun); walk a copy and look each rule up again by id.
    const QList<AutomationRule> rules = data_.rules;
    for (const AutomationRule& rule : rules) {
        const QString key = kRulePrefix + rule.id;
        if (!rule.enabled || runningTargets_.contains(key))
            continue;
        if (!conditionMet(rule, measured, trigger))
            continue;
        if (rule.onlyOnAC && !measured.onAC)
            continue;
        if (rule.lastRun && nowSecs - rule.lastRun->toSecsSinceEpoch() <
                                qint64(rule.effectiveCooldownMinutes()) * 60)
            continue;
        for (AutomationRule& stored : data_.rules)
            if (stored.id == rule.id)
                stored.lastRun = time;
        runningTargets_.insert(key);
        (void)save();
        run(rule.actionId, QStringLiteral("rule"), QStringLiteral("rule: ") + rule.name,
            [this, key](const AutomationRunResult&) { runningTargets_.remove(key); });
    }
}

void AutomationEngine::runCustomScheduleIfDue(const AutomationMeasurements& measured) {
    const AutomationCustomSchedule& schedule = data_.customSchedule;
    const QDateTime time = now();
    if (!schedule.enabled || runningTargets_.contains(kSchedule) || !isDue(schedule.plan, time))
        return;
    if (schedule.onlyWhenIdle &&
        services_.environment.idleSeconds().value_or(0.0) < idleSecondsRequired)
        return;
    if (schedule.onlyOnAC && !measured.onAC)
        return;
    runningTargets_.insert(kSchedule);
    data_.customSchedule.plan.lastRun = time;
    (void)save();
    run(data_.customSchedule.target, QStringLiteral("schedule"),
        QStringLiteral("schedule: custom schedule"),
        [this](const AutomationRunResult&) { runningTargets_.remove(kSchedule); });
}

void AutomationEngine::runDueRoutines() {
    const QDateTime time = now();
    const QList<AutomationChain> chains = data_.chains;
    for (const AutomationChain& chain : chains) {
        const QString key = chainPrefix + chain.id;
        if (runningTargets_.contains(key) || !isDue(chain.plan, time))
            continue;
        runningTargets_.insert(key);
        for (AutomationChain& stored : data_.chains)
            if (stored.id == chain.id)
                stored.plan.lastRun = time;
        (void)save();
        startChain(
            chain, QStringLiteral("schedule"), QStringLiteral("schedule: ") + chain.name,
            [this, key](const AutomationRunResult&) { runningTargets_.remove(key); }, false);
    }
}

void AutomationEngine::run(const QString& actionId, const QString& source, const QString& label,
                           Completion completion, bool dryRun) {
    if (actionId.startsWith(chainPrefix)) {
        const QString id = actionId.mid(chainPrefix.size());
        const auto chain = std::find_if(data_.chains.cbegin(), data_.chains.cend(),
                                        [&](const AutomationChain& c) { return c.id == id; });
        if (chain == data_.chains.cend())
            return finishRun(label, {false, {missingRoutineMessage()}, false}, completion);
        if (chain->steps.isEmpty())
            return finishRun(label, {false, {emptyRoutineMessage()}, false}, completion);
        return startChain(*chain, source, label, std::move(completion), dryRun);
    }
    runTask(actionId, dryRun || dryRunSetting(),
            [this, label, completion](const AutomationTaskOutcome& outcome) {
                finishRun(label,
                          {outcome.success,
                           {shownMessage(outcome.message)},
                           !outcome.success && outcome.message == needsAdminPasswordMessage()},
                          completion);
            });
}

void AutomationEngine::runProfile(const AutomationProfile& profile, Completion completion,
                                  bool dryRun) {
    startChain({profile.id, profile.name, profile.steps, {}}, QStringLiteral("manual"),
               profile.name, std::move(completion), dryRun);
}

void AutomationEngine::runChainNow(const AutomationChain& chain, Completion completion,
                                   bool dryRun) {
    if (chain.steps.isEmpty())
        return finishRun(chain.name, {false, {emptyRoutineMessage()}, false}, completion);
    startChain(chain, QStringLiteral("manual"), chain.name, std::move(completion), dryRun);
}

Status AutomationEngine::runCustomScheduleNow(Completion completion) {
    if (runningTargets_.contains(kSchedule))
        return failure(scheduleRunningMessage());
    runningTargets_.insert(kSchedule);
    run(data_.customSchedule.target, QStringLiteral("manual"), QStringLiteral("custom schedule"),
        [this, completion](const AutomationRunResult& result) {
            runningTargets_.remove(kSchedule);
            if (completion)
                completion(result);
        });
    return Done{};
}

void AutomationEngine::startChain(const AutomationChain& chain, const QString& source,
                                  const QString& label, Completion completion, bool dryRun) {
    const bool dry = dryRun || dryRunSetting();
    auto stepRunner = [this, dry](const QString& taskId,
                                  std::function<void(const AutomationTaskOutcome&)> done) {
        runTask(taskId, dry, std::move(done));
    };
    runners_.push_back(nullptr);
    const auto self = std::prev(runners_.end());
    *self = std::make_unique<AutomationChainRunner>(
        chain, source, label, true, stepRunner,
        [this, self, label, dry, completion](const AutomationRunResult& result) {
            const QString action =
                (dry ? QStringLiteral("Automation (dry run): ") : QStringLiteral("Automation: ")) +
                label;
            services_.history.record(action, result.message(), result.success);
            finishRun(label, result, completion);
            // The runner is inside its own call: let it return first.
            QMetaObject::invokeMethod(
                this, [this, self] { runners_.erase(self); }, Qt::QueuedConnection);
        });
    (*self)->start();
}

void AutomationEngine::finishRun(const QString& label, const AutomationRunResult& result,
                                 const Completion& completion) {
    if (notifies(label)) {
        const Settings& settings = services_.settings;
        if (result.success) {
            if (settings.boolValue(AutomationSettingsKeys::notifySummary, false))
                services_.notifier.notify(label + QStringLiteral(" finished"), result.message());
        } else if (settings.boolValue(AutomationSettingsKeys::notifyFailure, true)) {
            if (result.needsPassword)
                services_.notifier.notify(
                    QStringLiteral("Administrator password needed"),
                    label + QStringLiteral(" couldn't run. Save your administrator password in "
                                           "Settings > Access."));
            else
                services_.notifier.notify(label + QStringLiteral(" failed"), result.message());
        }
    }
    if (completion)
        completion(result);
}

void AutomationEngine::runTask(const QString& taskId, bool dryRun,
                               std::function<void(const AutomationTaskOutcome&)> done) {
    const auto task = findAutomationTask(taskId);
    if (!task) {
        done({false, QStringLiteral("There is no automation task called \"%1\".").arg(taskId)});
        return;
    }
    QPointer<AutomationEngine> engine(this);
    AutomationTaskPerformer* performer = &services_.performer;
    const auto adminAvailable = services_.adminAvailable;
    QMetaObject::invokeMethod(
        worker_,
        [engine, performer, adminAvailable, task = *task, dryRun, done = std::move(done),
         folders = data_.protectedFolders, appIds = data_.protectedBundleIDs] {
            performer->setProtection(folders, appIds);
            AutomationTaskOutcome outcome;
            const Result<bool> admin =
                task.needsAdmin && adminAvailable ? adminAvailable() : Result<bool>(true);
            if (!admin)
                outcome = {false, admin.error()};
            else if (!*admin)
                outcome = {false, needsAdminPasswordMessage()};
            else
                outcome = performer->perform(task.id, dryRun);
            QMetaObject::invokeMethod(
                engine.data(),
                [engine, task, dryRun, outcome, done] {
                    if (engine)
                        engine->taskReturned(task, dryRun, outcome, done);
                },
                Qt::QueuedConnection);
        },
        Qt::QueuedConnection);
}

void AutomationEngine::taskReturned(const AutomationTask& task, bool dryRun,
                                    const AutomationTaskOutcome& outcome,
                                    const std::function<void(const AutomationTaskOutcome&)>& done) {
    const QString action =
        (dryRun ? QStringLiteral("Automation (dry run): ") : QStringLiteral("Automation: ")) +
        task.title;
    services_.history.record(action, outcome.message, outcome.success);
    emit taskFinished(task.id, outcome.success, shownMessage(outcome.message));
    done(outcome);
}

Status AutomationEngine::save() {
    Result<AutomationStoreData> saved = services_.store.save(data_);
    if (!saved) {
        emit saveFailed(saved.error());
        emit changed();
        return failure(saved.error());
    }
    data_ = std::move(*saved);
    emit changed();
    return Done{};
}

Status AutomationEngine::setRules(QList<AutomationRule> rules) {
    data_.rules = std::move(rules);
    return save();
}

Status AutomationEngine::setChains(QList<AutomationChain> chains) {
    const QDateTime time = now();
    for (AutomationChain& chain : chains)
        startPlan(chain.plan, time);
    data_.chains = std::move(chains);
    return save();
}

Status AutomationEngine::setCustomProfiles(QList<AutomationProfile> profiles) {
    profiles.removeIf([](const AutomationProfile& profile) { return profile.isBuiltIn; });
    data_.profiles = std::move(profiles);
    return save();
}

Status AutomationEngine::setProtectedFolders(QStringList folders) {
    data_.protectedFolders = std::move(folders);
    return save();
}

Status AutomationEngine::setProtectedBundleIDs(QStringList ids) {
    data_.protectedBundleIDs = std::move(ids);
    return save();
}

Status AutomationEngine::setCustomSchedule(AutomationCustomSchedule schedule) {
    if (schedule.enabled)
        startPlan(schedule.plan, now());
    data_.customSchedule = std::move(schedule);
    return save();
}

AutomationChainRunner::AutomationChainRunner(
    AutomationChain chain, QString source, QString label, bool stopOnFailure, StepRunner runStep,
    std::function<void(const AutomationRunResult&)> finished)
    : chain_(std::move(chain)), source_(std::move(source)), label_(std::move(label)),
      stopOnFailure_(stopOnFailure), runStep_(std::move(runStep)), finished_(std::move(finished)) {}

void AutomationChainRunner::start() {
    runNext();
}

void AutomationChainRunner::runNext() {
    if (index_ >= chain_.steps.size())
        return finish();
    const QString taskId = chain_.steps.at(index_);
    runStep_(taskId, [this, taskId](const AutomationTaskOutcome& outcome) {
        const auto task = findAutomationTask(taskId);
        lines_.append((task ? task->title : taskId) + QStringLiteral(": ") +
                      shownMessage(outcome.message));
        ++index_;
        if (!outcome.success) {
            allOK_ = false;
            needsPassword_ = outcome.message == needsAdminPasswordMessage();
            if (stopOnFailure_) {
                lines_.append(AutomationEngine::stoppedLine());
                return finish();
            }
        }
        runNext();
    });
}

void AutomationChainRunner::finish() {
    finished_({allOK_, lines_, needsPassword_});
}

} // namespace velmox
