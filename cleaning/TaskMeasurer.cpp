#include "cleaning/TaskMeasurer.h"

#include "cleaning/FolderEntries.h"
#include "cleaning/FolderSize.h"
#include "cleaning/TaskRunResult.h"

#include <QFile>
#include <QPointer>

namespace velmox {

TaskMeasurement TaskMeasurement::of(const OptimizationTask& task, const std::atomic<bool>* cancel) {
    TaskMeasurement measured;
    measured.bytes = FolderSize::allocatedBytes(task.pathsToMeasure, cancel);
    if (task.deletion && task.deletion->what.isEmpty()) {
        qint64 items = 0;
        for (const QString& folder : task.deletion->itemFolders)
            items +=
                folderEntryNames(QFile::encodeName(folder)).value_or(QList<QByteArray>()).size();
        measured.items = items;
    }
    return measured;
}

QString deletionSentence(const OptimizationTask& task, const TaskMeasurement& measured) {
    if (!task.deletion)
        return {};
    const PermanentDeletion& deletion = *task.deletion;
    QString what;
    if (measured.items)
        what = QStringLiteral("%1 (%2) %3")
                   .arg(itemCount(*measured.items), formatBytes(measured.bytes), deletion.from);
    else if (task.pathsToMeasure.isEmpty())
        what = deletion.what + QLatin1Char(' ') + deletion.from;
    else
        what = QStringLiteral("%1 %2 (up to %3)")
                   .arg(deletion.what, deletion.from, formatBytes(measured.bytes));
    return QStringLiteral("This permanently deletes %1. This cannot be undone.")
        .arg(what.simplified());
}

TaskMeasurer::TaskMeasurer(QObject* parent) : QObject(parent) {
    pool_.setObjectName(QStringLiteral("velmox-measure"));
    pool_.setMaxThreadCount(1);
}

TaskMeasurer::~TaskMeasurer() {
    cancel_->store(true);
    pool_.clear();
    pool_.waitForDone();
}

void TaskMeasurer::measure(const QList<OptimizationTask>& tasks, Done done) {
    QPointer<TaskMeasurer> self(this);
    pool_.start([self, cancel = cancel_, tasks, done = std::move(done)] {
        QList<TaskMeasurement> measured;
        for (const OptimizationTask& task : tasks)
            measured.append(TaskMeasurement::of(task, cancel.get()));
        if (cancel->load())
            return;
        QMetaObject::invokeMethod(self.data(), [self, measured, done] {
            if (self)
                done(measured);
        });
    });
}

} // namespace velmox
