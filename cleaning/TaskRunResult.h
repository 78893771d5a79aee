#pragma once

#include <QString>
#include <QUuid>
#include <algorithm>

namespace velmox {

struct OptimizationTask;

// The outcome of one run of a maintenance task.
struct TaskRunResult {
    bool success = false;
    // What the task reported, or why it failed (a whole sentence).
    QString output;
    // Allocated bytes of the task's folders before and after the run.
    qint64 bytesBefore = 0;
    qint64 bytesAfter = 0;
    // What left the folders went to the Trash, so it freed nothing yet.
    bool movedToTrash = false;
    // Items moved to the Trash, and how many of them the Activity page can put back.
    int movedItems = 0;
    int puttableBack = 0;
    // The activity entry recorded for the run.
    QUuid entryId;

    // Space really freed, and space that left the folders for the Trash.
    qint64 bytesFreed() const { return movedToTrash ? 0 : bytesGone(); }
    qint64 bytesMovedToTrash() const { return movedToTrash ? bytesGone() : 0; }
    qint64 bytesGone() const { return std::max<qint64>(0, bytesBefore - bytesAfter); }

    bool operator==(const TaskRunResult&) const = default;
};

// "1.2 MB", in decimal units as file managers show sizes.
QString formatBytes(qint64 bytes);
// "1 item", "12 items".
QString itemCount(qint64 count);
// One line for the page, the activity log and the terminal: "Freed 1.2 MB.", "Moved 3 items
// (1.2 MB) to the Trash." or the failure.
QString resultLine(const OptimizationTask& task, const TaskRunResult& result);
// For the status line: "Success: ..." or "Error: ...".
QString statusMessage(const OptimizationTask& task, const TaskRunResult& result);

} // namespace velmox
