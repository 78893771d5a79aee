#include "cleaning/TaskMeasurer.h"

#include "cleaning/FolderSize.h"
#include "cleaning/TaskRunResult.h"

#include <QFile>
#include <QPointer>
#include <dirent.h>

namespace velmox {

namespace {

// Entries of `folder` but "." and ".."; 0 for a folder that can't be read.
qint64 entryCount(const QByteArray& folder) {
    DIR* listing = ::opendir(folder.constData());
    if (!listing)
        return 0;
    qint64 count = 0;
    while (const dirent* entry = ::readdir(listing)) {
        const char* name = entry->d_name;
        if (!(name[0] == '.' && (name[1] == 0 || (name[1] == '.' && name[2] == 0))))
            ++count;
    }
    ::closedir(listing);
    return count;
}

} // namespace

TaskMeasurement TaskMeasurement::of(const OptimizationTask& task, const std::atomic<bool>* cancel) {
    TaskMeasurement measured;
    measured.bytes = FolderSize::allocatedBytes(task.pathsToMeasure, cancel);
    if (task.deletion && task.deletion->what.isEmpty()) {
        qint64 items = 0;
        for (const QString& folder : task.deletion->itemFolders)
            items += entryCount(QFile::encodeName(folder));
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
