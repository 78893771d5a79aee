#include "cleaning/UnresponsiveAppKiller.h"

#include "cleaning/ProcessEnder.h"

#include <QMap>
#include <unistd.h>

namespace velmox {

QString UnresponsiveAppKiller::App::label() const {
    const QString title = windowTitles.value(0);
    return title.isEmpty() ? QStringLiteral("process %1").arg(pid)
                           : QStringLiteral("“%1” (%2)").arg(title).arg(pid);
}

UnresponsiveAppKiller::UnresponsiveAppKiller(WindowPinger& pinger, std::chrono::milliseconds wait,
                                             std::chrono::milliseconds grace)
    : pinger_(pinger), wait_(wait), grace_(grace) {}

Result<QList<UnresponsiveAppKiller::App>> UnresponsiveAppKiller::find() const {
    const Result<QList<UnansweredWindow>> windows = pinger_.findUnanswered(wait_);
    if (!windows)
        return failure(windows.error());
    QMap<pid_t, App> apps;
    for (const UnansweredWindow& window : *windows) {
        if (window.pid <= 0 || window.pid == ::getpid())
            continue;
        App& app = apps[window.pid];
        app.pid = window.pid;
        if (!window.title.isEmpty())
            app.windowTitles.append(window.title);
    }
    return apps.values();
}

Result<QString> UnresponsiveAppKiller::end(const QList<App>& apps) const {
    if (apps.isEmpty())
        return QStringLiteral("Every window answers - no app to end.");
    QStringList ended;
    QStringList failed;
    for (const App& app : apps) {
        if (const Status status = ProcessEnder::end(app.pid, grace_); status)
            ended.append(app.label());
        else
            failed.append(status.error());
    }
    QString text;
    if (!ended.isEmpty())
        text = QStringLiteral("Ended %1 app(s) whose windows no longer answered: %2.")
                   .arg(ended.size())
                   .arg(ended.join(QStringLiteral(", ")));
    if (failed.isEmpty())
        return text;
    const QString failures = failed.join(QLatin1Char(' '));
    return failure(text.isEmpty() ? failures : text + QLatin1Char(' ') + failures);
}

QString UnresponsiveAppKiller::toEndSentence(const Result<QList<App>>& found) {
    if (!found)
        return found.error() + QStringLiteral(" No app will be ended.");
    if (found->isEmpty())
        return QStringLiteral("Every window answers, so no app will be ended.");
    QStringList labels;
    for (const App& app : *found)
        labels << app.label();
    return QStringLiteral("These apps no longer answer and will be ended: %1.")
        .arg(labels.join(QStringLiteral(", ")));
}

QList<pid_t> UnresponsiveAppKiller::pids(const Result<QList<App>>& found) {
    QList<pid_t> pids;
    if (found)
        for (const App& app : *found)
            pids << app.pid;
    return pids;
}

} // namespace velmox
