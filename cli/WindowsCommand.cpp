// velmox windows: the application windows that no longer answer, and ending their apps.
#include "cleaning/UnresponsiveAppKiller.h"
#include "cli/CliCommand.h"
#include "services/ShownText.h"

#include <QLocale>

namespace velmox {

namespace {

int usage(CliIO& io) {
    io.err << usageLine(QStringLiteral("windows")) << '\n';
    return 2;
}

int runWindows(const QStringList& args, CliIO& io) {
    bool unresponsive = false;
    bool end = false;
    double waitSeconds = 3.0;
    for (qsizetype i = 0; i < args.size(); ++i) {
        const QString& arg = args.at(i);
        if (arg == QLatin1String("--unresponsive")) {
            unresponsive = true;
        } else if (arg == QLatin1String("--end")) {
            end = true;
        } else if (arg == QLatin1String("--wait") && i + 1 < args.size()) {
            bool isNumber = false;
            waitSeconds = args.at(++i).toDouble(&isNumber);
            if (!isNumber || waitSeconds <= 0 || waitSeconds > 60)
                return usage(io);
        } else {
            return usage(io);
        }
    }
    if (!unresponsive)
        return usage(io);

    const std::unique_ptr<WindowPinger> pinger = WindowPinger::forThisSession();
    const UnresponsiveAppKiller killer(
        *pinger, std::chrono::milliseconds(static_cast<qint64>(waitSeconds * 1000)));
    const Result<QList<UnresponsiveAppKiller::App>> apps = killer.find();
    if (!apps) {
        io.err << apps.error() << '\n';
        return 1;
    }
    // Every window had the whole wait to answer; those that did are not listed.
    if (apps->isEmpty()) {
        io.out << "No app is unresponsive: every window answered within "
               << QLocale::c().toString(waitSeconds) << " s.\n";
        return 0;
    }
    for (const UnresponsiveAppKiller::App& app : *apps)
        io.out << app.pid << '\t' << shownName(app.windowTitles.join(QStringLiteral(" | ")))
               << '\n';
    if (!end)
        return 0;
    const Result<QString> ended = killer.end(*apps);
    (ended ? io.out : io.err) << (ended ? *ended : ended.error()) << '\n';
    return ended ? 0 : 1;
}

} // namespace

VELMOX_CLI_COMMAND(windows, "windows --unresponsive [--end] [--wait SECONDS]",
                   "Lists the apps whose windows do not answer within SECONDS (3 by default; X11), "
                   "and ends them with --end.",
                   runWindows);

} // namespace velmox
