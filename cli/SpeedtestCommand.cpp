// velmox speedtest: one speed test on the command line, recorded in the history like the
// page's.
#include "cli/CliCommand.h"
#include "network/NetworkSpeedTestViewModel.h"
#include "network/SpeedTestFormat.h"
#include "network/ThroughputBackend.h"
#include "services/Clock.h"
#include "services/Settings.h"

#include <QEventLoop>
#include <QJsonDocument>
#include <QJsonObject>

namespace velmox {

namespace {

int runSpeedtest(const QStringList& args, CliIO& io) {
    bool json = false;
    std::optional<QString> unit;
    QUrl server;
    for (qsizetype at = 0; at < args.size(); ++at) {
        const QString& arg = args.at(at);
        const bool hasValue = at + 1 < args.size();
        if (arg == QLatin1String("--json")) {
            json = true;
        } else if (arg == QLatin1String("--unit") && hasValue) {
            unit = args.at(++at);
            if (!isSpeedTestUnit(*unit)) {
                io.err << "velmox speedtest: “" << *unit << "” is not a speed unit; choose one of "
                       << speedTestUnits().join(QStringLiteral(", ")) << ".\n";
                return 2;
            }
        } else if (arg == QLatin1String("--server") && hasValue) {
            const Result<QUrl> url = speedTestServerUrl(args.at(++at));
            if (!url) {
                io.err << "velmox speedtest: " << url.error() << '\n';
                return 2;
            }
            server = *url;
        } else {
            io.err << usageLine(QStringLiteral("speedtest")) << '\n';
            return 2;
        }
    }

    Settings settings;
    Clock& clock = SystemClock::shared();
    const std::unique_ptr<SpeedTestBackend> backend = makeSpeedTestBackend(settings, clock, server);
    NetworkSpeedTestViewModel model(*backend, settings, clock);
    // --unit shows this run in that unit and leaves the saved choice alone.
    const QString shownUnit = unit.value_or(model.unit());
    if (!backend->isAvailable()) {
        io.err << backend->unavailableMessage() << '\n';
        return 1;
    }

    QEventLoop loop;
    bool succeeded = false;
    QObject::connect(&model, &NetworkSpeedTestViewModel::runEnded, &loop, [&](bool ok) {
        succeeded = ok;
        loop.quit();
    });
    if (io.progress) {
        QObject::connect(&model, &NetworkSpeedTestViewModel::changed, &loop, [&] {
            if (model.isTesting())
                *io.progress << "\r\033[K" << model.statusMessage() << "  " << model.downloadSpeed()
                             << " / " << model.uploadSpeed() << Qt::flush;
        });
    }
    model.run();
    loop.exec();
    if (io.progress)
        *io.progress << "\r\033[K" << Qt::flush;
    if (!succeeded) {
        io.err << model.statusMessage() << '\n';
        return 1;
    }

    SpeedTestHistoryEntry entry = model.history().value(0);
    if (unit) {
        entry.download = formatThroughput(entry.dlValue, shownUnit);
        entry.upload = formatThroughput(entry.ulValue, shownUnit);
    }
    if (json) {
        QJsonObject object = toJson(entry);
        object.insert(QStringLiteral("unit"), shownUnit);
        io.out << QJsonDocument(object).toJson(QJsonDocument::Indented);
    } else {
        io.out << "Download: " << entry.download << "\nUpload:   " << entry.upload
               << "\nLatency:  " << entry.latency << '\n';
    }
    if (model.statusMessage() != QLatin1String("Speed test complete."))
        io.err << model.statusMessage() << '\n';
    return 0;
}

} // namespace

VELMOX_CLI_COMMAND(speedtest,
                   "speedtest [--unit Mbps|MBps|Gbps|GBps|Kbps|KBps] [--json] [--server URL]",
                   "Measures download, upload and latency, and adds the result to the history.",
                   runSpeedtest);

} // namespace velmox
