#pragma once

#include "cleaning/OptimizationTask.h"
#include "cleaning/TaskRunResult.h"
#include "cleaning/UnresponsiveAppKiller.h"
#include "platform/WindowPinger.h"

#include <QObject>
#include <QThreadPool>
#include <chrono>
#include <functional>
#include <optional>

namespace velmox {

class ActionHistoryStore;
class AppStatusCenter;
class ShellHelper;

// Runs maintenance tasks: root tasks through ShellHelper (the saved password, else the
// system prompt), the others through the zsh entry of TaskRunner, and the application's own
// tasks in process. The folders of each task are measured before and after, and every run
// adds one activity entry with the title, the outcome and the space freed (or moved to the
// Trash, which frees nothing until the Trash is emptied).
//
// The runner owns the worker threads of its runs: the shell helper and the activity log must
// outlive it, and destroying it waits for the runs still under way, so each still records its
// entry. Main thread only, except runBlocking.
class OptimizationTaskRunner : public QObject {
    Q_OBJECT
public:
    struct Options {
        // How the hung-process task asks windows whether they still answer, and how long it
        // waits for them.
        std::function<std::unique_ptr<WindowPinger>()> windowPinger = &WindowPinger::forThisSession;
        std::chrono::milliseconds windowAnswerWait = std::chrono::seconds(3);
    };

    using Apps = QList<UnresponsiveAppKiller::App>;
    // The apps the user agreed to end, by process id. The hung-process task ends only those of
    // them whose windows still do not answer when it runs; without a list it ends every app
    // that does not answer (a caller that already confirmed, such as `--yes`).
    using AppsToEnd = std::optional<QList<pid_t>>;

    // `status` may be null (no window to report to).
    OptimizationTaskRunner(ShellHelper& shell, ActionHistoryStore& history,
                           AppStatusCenter* status = nullptr, QObject* parent = nullptr);
    ~OptimizationTaskRunner() override;

    void setOptions(Options options) { options_ = std::move(options); }

    // Blocking; any thread but the one the status centre lives on.
    TaskRunResult runBlocking(const OptimizationTask& task, const AppsToEnd& appsToEnd = {}) const;

    // Reports the start to the status line, runs the task on a worker thread, reports the end
    // and hands the result to `done` on this object's thread.
    void run(const OptimizationTask& task, std::function<void(const TaskRunResult&)> done = {},
             AppsToEnd appsToEnd = {});

    // Looks on a worker thread for the apps the hung-process task would end, and hands them to
    // `done` on this object's thread, so that the user can be asked first.
    void findUnresponsiveApps(std::function<void(const Result<Apps>&)> done);

    int runningCount() const { return running_; }

signals:
    void runningCountChanged(int running);
    // Every run through run(), whoever asked for it, so that every view of a task follows it.
    void taskStarted(const QString& title);
    void taskFinished(const QString& title, const TaskRunResult& result);

private:
    ShellHelper& shell_;
    ActionHistoryStore& history_;
    AppStatusCenter* status_;
    Options options_;
    int running_ = 0;
    QThreadPool pool_;
};

} // namespace velmox
