#pragma once

#include "automation/AutomationCatalogue.h"
#include "automation/AutomationEnvironment.h"
#include "automation/AutomationModel.h"
#include "automation/AutomationTaskPerformer.h"
#include "services/Result.h"

#include <QObject>
#include <QSet>
#include <QThread>
#include <functional>
#include <list>
#include <memory>

namespace velmox {

class ActionHistoryStore;
class AutomationChainRunner;
class AutomationNotifier;
class AutomationStore;
class Clock;
class KeychainHelper;
class ScheduledJob;
class Settings;

// What one run of a task, routine or profile came to.
struct AutomationRunResult {
    bool success = false;
    QStringList lines;          // the task's message, or one line per step of a routine
    bool needsPassword = false; // failed for want of a saved administrator password
    bool operator==(const AutomationRunResult&) const = default;
    QString message() const { return lines.join(QLatin1Char('\n')); }
};

// The automation engine: owns the rules, routines, profiles and custom schedule, checks them
// every minute, on wake and once after start, runs tasks one at a time on its own worker thread
// and records every run in the activity log. One per process; lives on the main thread, where
// all of its state changes.
class AutomationEngine : public QObject {
    Q_OBJECT
public:
    struct Services {
        Settings& settings;
        Clock& clock;
        ActionHistoryStore& history;
        AutomationTaskPerformer& performer;
        AutomationStore& store;
        AutomationEnvironment& environment;
        AutomationNotifier& notifier;
        // Called on the worker thread: whether administrator work can run without a prompt
        // (Velmox is root, or a password is saved). A failure is a whole sentence.
        std::function<Result<bool>()> adminAvailable;
    };
    using Completion = std::function<void(const AutomationRunResult&)>;

    static constexpr std::chrono::seconds tickInterval{60};
    static constexpr std::chrono::seconds tickTolerance{5};
    static constexpr std::chrono::seconds launchDelay{20};
    static constexpr double idleSecondsRequired = 300.0;

    // Loads the store. Every service must outlive the engine.
    explicit AutomationEngine(Services services, QObject* parent = nullptr);
    ~AutomationEngine() override;
    // The engine of this process, if one exists.
    static AutomationEngine* instance();
    // Root, else a password saved in the keyring.
    static std::function<Result<bool>()> rootOrSavedPassword(KeychainHelper& keychain);

    // Why the store could not be read at start (a whole sentence); empty when it could.
    const QString& loadProblem() const { return loadProblem_; }

    // Starts the minute timer, the wake subscription and the check after launch; once.
    void start();
    void evaluateRules(AutomationTrigger trigger);
    // What the minute timer does: rules, then the custom schedule, then the routines' plans.
    void tick();

    // Runs a task id or "chain:" + routine id. `source` is "manual", "rule" or "schedule";
    // `label` names the run in Activity and notifications. `dryRun` forces a dry run.
    void run(const QString& actionId, const QString& source, const QString& label,
             Completion completion = {}, bool dryRun = false);
    void runProfile(const AutomationProfile& profile, Completion completion = {},
                    bool dryRun = false);
    void runChainNow(const AutomationChain& chain, Completion completion = {}, bool dryRun = false);
    // Refused with a sentence while the schedule is already running.
    Status runCustomScheduleNow(Completion completion = {});

    const QList<AutomationRule>& rules() const { return data_.rules; }
    const QList<AutomationChain>& chains() const { return data_.chains; }
    const QList<AutomationProfile>& customProfiles() const { return data_.profiles; }
    // Built-in profiles first, then the user's.
    QList<AutomationProfile> profiles() const;
    const QStringList& protectedFolders() const { return data_.protectedFolders; }
    const QStringList& protectedBundleIDs() const { return data_.protectedBundleIDs; }
    const AutomationCustomSchedule& customSchedule() const { return data_.customSchedule; }
    const QSet<QString>& runningTargets() const { return runningTargets_; }

    // Each change is saved at once. A plan that is switched on without a lastRun gets the
    // present moment, so that its first slot after now is due.
    Status setRules(QList<AutomationRule> rules);
    Status setChains(QList<AutomationChain> chains);
    Status setCustomProfiles(QList<AutomationProfile> profiles);
    Status setProtectedFolders(QStringList folders);
    Status setProtectedBundleIDs(QStringList ids);
    Status setCustomSchedule(AutomationCustomSchedule schedule);

    // "automationDryRun": runs only report what they would do.
    bool dryRunSetting() const;

    static QString missingRoutineMessage();
    static QString emptyRoutineMessage();
    static QString stoppedLine();
    static QString scheduleRunningMessage();

signals:
    // "AutomationTaskFinished": after every task run, so that open views refresh.
    void taskFinished(const QString& taskId, bool success, const QString& message);
    void changed();
    void saveFailed(const QString& message);

private:
    void runTask(const QString& taskId, bool dryRun,
                 std::function<void(const AutomationTaskOutcome&)> done);
    void taskReturned(const AutomationTask& task, bool dryRun, const AutomationTaskOutcome& outcome,
                      const std::function<void(const AutomationTaskOutcome&)>& done);
    void startChain(const AutomationChain& chain, const QString& source, const QString& label,
                    Completion completion, bool dryRun);
    void finishRun(const QString& label, const AutomationRunResult& result,
                   const Completion& completion);
    void evaluateRules(AutomationTrigger trigger, const AutomationMeasurements& measured);
    void runCustomScheduleIfDue(const AutomationMeasurements& measured);
    void runDueRoutines();
    Status save();
    QDateTime now() const;

    Services services_;
    AutomationStoreData data_;
    QString loadProblem_;
    QSet<QString> runningTargets_;
    bool started_ = false;
    std::unique_ptr<ScheduledJob> timer_;
    std::unique_ptr<ScheduledJob> launchCheck_;
    QThread workerThread_;
    QObject* worker_ = nullptr; // lives on workerThread_
    std::list<std::unique_ptr<AutomationChainRunner>> runners_;
};

// Runs the steps of one routine or profile in order. After each step it adds the line
// "<task title>: <message>"; a failed step stops the run when stopOnFailure is set, with the
// line "Stopped after the failed step.".
class AutomationChainRunner {
public:
    using StepRunner = std::function<void(const QString& taskId,
                                          std::function<void(const AutomationTaskOutcome&)>)>;
    AutomationChainRunner(AutomationChain chain, QString source, QString label, bool stopOnFailure,
                          StepRunner runStep,
                          std::function<void(const AutomationRunResult&)> finished);
    void start();
    const QString& source() const { return source_; }

private:
    void runNext();
    void finish();

    AutomationChain chain_;
    QString source_; // "manual", "rule" or "schedule"
    QString label_;
    bool stopOnFailure_ = true;
    StepRunner runStep_;
    std::function<void(const AutomationRunResult&)> finished_;
    qsizetype index_ = 0;
    QStringList lines_;
    bool allOK_ = true;
    bool needsPassword_ = false;
};

// The part of a task message that is shown: without the Put Back data it may carry.
QString shownMessage(const QString& message);

} // namespace velmox
