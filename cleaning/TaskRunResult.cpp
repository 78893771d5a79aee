#include "cleaning/TaskRunResult.h"

#include "cleaning/OptimizationTask.h"

#include <QLocale>

namespace velmox {

QString formatBytes(qint64 bytes) {
    return QLocale::c().formattedDataSize(bytes, 1, QLocale::DataSizeSIFormat);
}

QString itemCount(qint64 count) {
    return count == 1 ? QStringLiteral("1 item") : QStringLiteral("%1 items").arg(count);
}

QString resultLine(const OptimizationTask& task, const TaskRunResult& result) {
    if (!result.success)
        return result.output;
    QString line;
    if (task.pathsToMeasure.isEmpty())
        line = QStringLiteral("Done.");
    else if (result.movedToTrash && task.work == TaskWork::moveToTrash)
        line = QStringLiteral("Moved %1 (%2) to the Trash.")
                   .arg(itemCount(result.movedItems), formatBytes(result.bytesMovedToTrash()));
    else if (result.movedToTrash)
        line =
            QStringLiteral("Moved %1 to the Trash.").arg(formatBytes(result.bytesMovedToTrash()));
    else
        line = QStringLiteral("Freed %1.").arg(formatBytes(result.bytesFreed()));
    if (!result.output.isEmpty())
        line += QLatin1Char(' ') + result.output;
    return line;
}

QString statusMessage(const OptimizationTask& task, const TaskRunResult& result) {
    if (!result.success)
        return QStringLiteral("Error: %1: %2").arg(task.title, result.output);
    if (task.pathsToMeasure.isEmpty())
        return QStringLiteral("Success: %1 finished.").arg(task.title);
    if (result.movedToTrash)
        return QStringLiteral("Success: %1 moved %2 to the Trash.")
            .arg(task.title, formatBytes(result.bytesMovedToTrash()));
    return QStringLiteral("Success: %1 freed %2.")
        .arg(task.title, formatBytes(result.bytesFreed()));
}

} // namespace velmox
