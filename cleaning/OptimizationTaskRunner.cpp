#include "cleaning/OptimizationTaskRunner.h"

#include "cleaning/FolderSize.h"
#include "cleaning/TrashMover.h"
#include "cleaning/UnresponsiveAppKiller.h"
#include "platform/PlatformPaths.h"
#include "services/ActionHistoryStore.h"
#include "services/AppStatusCenter.h"
#include "services/ShellHelper.h"
#include "services/TaskRunner.h"

#include <QDir>
#include <QPointer>

namespace velmox {

namespace {

// Long outputs (a verbose maintenance job) stay readable in the activity log.
constexpr qsizetype kMaxOutputInDetail = 2000;

struct Work {
    bool success = false;
    QString output;
    int moved = 0;
    QList<ActionHistoryStore::UndoPair> undo;

    static Work finished(bool success, QString output) {
        Work work;
        work.success = success;
        work.output = std::move(output);
        return work;
    }
};

Work runScript(const OptimizationTask& task, ShellHelper& shell) {
    if (task.shellScript.trimmed().isEmpty())
        return Work::finished(false, QStringLiteral("“%1” has no script to run.").arg(task.title));
    if (task.requiresSudo) {
        const CommandResult result = shell.runPrivileged(task.shellScript, true);
        if (result)
            return Work::finished(true, result->trimmed());
        return Work::finished(false, result.error().description());
    }
    const ToolRunResult result = TaskRunner::run(task.shellScript);
    if (result.timedOut)
        return Work::finished(false,
                              QStringLiteral("Timed out after %1 seconds.")
                                  .arg(static_cast<int>(TaskRunner::kUserLineTimeoutSeconds)));
    if (result.status == 0)
        return Work::finished(true, result.standardOutput.trimmed());
    QString error = result.standardError.trimmed();
    if (error.isEmpty())
        error = result.standardOutput.trimmed();
    if (error.isEmpty())
        error = QStringLiteral("The task's script ended with exit status %1.").arg(result.status);
    return Work::finished(false, error);
}

Work moveToTrash(const OptimizationTask& task) {
    const TrashMover::Outcome outcome = TrashMover::moveContents(task.pathsToMeasure);
    // Put Back brings items back into the user caches folder, so only those are offered.
    const QString caches = QDir::cleanPath(PlatformPaths::userCaches());
    Work work;
    work.moved = static_cast<int>(outcome.moved.size());
    // The activity log holds names as text: a name that is not valid UTF-8 can't be written
    // there, so such an item is restored from the Trash by a file manager instead.
    qsizetype notText = 0;
    for (const TrashMover::Moved& item : outcome.moved) {
        if (QDir::cleanPath(item.folder) != caches)
            continue;
        if (QUtf8StringView(item.name).isValidUtf8() &&
            QUtf8StringView(item.trashName).isValidUtf8())
            work.undo.append({QString::fromUtf8(item.name), QString::fromUtf8(item.trashName)});
        else
            ++notText;
    }
    work.success = outcome.failures.isEmpty() || !outcome.moved.isEmpty();
    QStringList notes;
    if (notText > 0)
        notes << QStringLiteral("%1 with a name that is not valid UTF-8 can be restored from the "
                                "Trash with a file manager, not with Put Back.")
                     .arg(itemCount(notText));
    if (!outcome.failures.isEmpty())
        notes << QStringLiteral("%1 stayed where %2. %3")
                     .arg(itemCount(outcome.failures.size()),
                          outcome.failures.size() == 1 ? QStringLiteral("it was")
                                                       : QStringLiteral("they were"),
                          outcome.failures.first());
    work.output = notes.join(QLatin1Char(' '));
    return work;
}

// Ends the apps whose windows no longer answer the desktop's ping, and nothing else: a process
// that merely waits (on a slow drive, stopped, in uninterruptible sleep) is no app that stopped
// answering. A session whose windows can't be asked (Wayland, no display) is said in the
// output, but is no failure.
Work endUnresponsiveApps(const OptimizationTaskRunner::Options& options,
                         const OptimizationTaskRunner::AppsToEnd& appsToEnd) {
    if (appsToEnd && appsToEnd->isEmpty())
        return Work::finished(true, QStringLiteral("No app was chosen to be ended."));
    const std::unique_ptr<WindowPinger> pinger = options.windowPinger();
    const UnresponsiveAppKiller killer(*pinger, options.windowAnswerWait);
    Result<QList<UnresponsiveAppKiller::App>> found = killer.find();
    if (!found)
        return Work::finished(true, found.error());
    if (appsToEnd)
        found->removeIf([&](const UnresponsiveAppKiller::App& app) {
            return !appsToEnd->contains(app.pid);
        });
    const Result<QString> ended = killer.end(*found);
    return Work::finished(ended.has_value(), ended ? *ended : ended.error());
}

TaskRunResult execute(const OptimizationTask& task, ShellHelper& shell, ActionHistoryStore& history,
                      const OptimizationTaskRunner::Options& options,
                      const OptimizationTaskRunner::AppsToEnd& appsToEnd) {
    TaskRunResult result;
    result.bytesBefore = FolderSize::allocatedBytes(task.pathsToMeasure);
    Work work;
    switch (task.work) {
    case TaskWork::shellScript:
        work = runScript(task, shell);
        break;
    case TaskWork::moveToTrash:
        work = moveToTrash(task);
        break;
    case TaskWork::endHungProcesses:
        work = endUnresponsiveApps(options, appsToEnd);
        break;
    }
    result.bytesAfter = FolderSize::allocatedBytes(task.pathsToMeasure);
    result.success = work.success;
    result.movedToTrash = task.movesToTrash;
    result.output = work.output;
    result.movedItems = work.moved;
    result.puttableBack = static_cast<int>(work.undo.size());

    QString detail = resultLine(task, result);
    if (detail.size() > kMaxOutputInDetail)
        detail = detail.left(kMaxOutputInDetail) + QStringLiteral("…");
    detail += ActionHistoryStore::undoPayload(work.undo);
    result.entryId = history.record(task.title, detail, result.success).id;
    return result;
}

} // namespace

OptimizationTaskRunner::OptimizationTaskRunner(ShellHelper& shell, ActionHistoryStore& history,
                                               AppStatusCenter* status, QObject* parent)
    : QObject(parent), shell_(shell), history_(history), status_(status) {
    pool_.setObjectName(QStringLiteral("velmox-tasks"));
}

OptimizationTaskRunner::~OptimizationTaskRunner() {
    // Runs under way finish and record their entries while the services they use still live;
    // their results, queued to this object, are dropped with it.
    pool_.waitForDone();
}

TaskRunResult OptimizationTaskRunner::runBlocking(const OptimizationTask& task,
                                                  const AppsToEnd& appsToEnd) const {
    return execute(task, shell_, history_, options_, appsToEnd);
}

void OptimizationTaskRunner::run(const OptimizationTask& task,
                                 std::function<void(const TaskRunResult&)> done,
                                 AppsToEnd appsToEnd) {
    if (status_)
        status_->report(QStringLiteral("Running %1...").arg(task.title), true);
    emit runningCountChanged(++running_);
    emit taskStarted(task.title);
    QPointer<OptimizationTaskRunner> self(this);
    // The pool is this object's and is waited for before it goes, so the references stay good.
    pool_.start([self, &shell = shell_, &history = history_, options = options_, task,
                 appsToEnd = std::move(appsToEnd), done = std::move(done)] {
        const TaskRunResult result = execute(task, shell, history, options, appsToEnd);
        QMetaObject::invokeMethod(self.data(), [self, task, result, done] {
            if (!self)
                return;
            if (self->status_)
                self->status_->report(statusMessage(task, result), false);
            emit self->runningCountChanged(--self->running_);
            emit self->taskFinished(task.title, result);
            if (done)
                done(result);
        });
    });
}

void OptimizationTaskRunner::findUnresponsiveApps(std::function<void(const Result<Apps>&)> done) {
    QPointer<OptimizationTaskRunner> self(this);
    pool_.start([self, options = options_, done = std::move(done)] {
        const std::unique_ptr<WindowPinger> pinger = options.windowPinger();
        const Result<Apps> found = UnresponsiveAppKiller(*pinger, options.windowAnswerWait).find();
        QMetaObject::invokeMethod(self.data(), [self, found, done] {
            if (self)
                done(found);
        });
    });
}

} // namespace velmox
