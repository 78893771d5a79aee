#include "cli/CliCommand.h"
#include "services/ShownText.h"
#include "monitor/SystemMonitorEngine.h"

#include <QEventLoop>
#include <QTimer>

namespace velmox {

namespace {

constexpr int firstIntervalMilliseconds = 1000;
constexpr int sensorWaitMilliseconds = 5000;

void wait(int milliseconds) {
    QEventLoop loop;
    QTimer::singleShot(milliseconds, &loop, &QEventLoop::quit);
    loop.exec();
}

void waitForSensors(SystemMonitorEngine& engine) {
    QEventLoop loop;
    QTimer::singleShot(sensorWaitMilliseconds, &loop, &QEventLoop::quit);
    QObject::connect(&engine, &SystemMonitorEngine::sensorsChanged, &loop, &QEventLoop::quit);
    if (engine.isReadingSensors())
        loop.exec();
}

constexpr double bytesPerGiB = 1024.0 * 1024.0 * 1024.0;

QString bytes(double value) {
    return byteText(qint64(value));
}

QString orNotAvailable(const QString& text) {
    return text.isEmpty() ? QStringLiteral("Not available") : text;
}

QString degrees(double celsius) {
    return celsius > 0 ? QStringLiteral("%1 °C").arg(celsius, 0, 'f', 1) : QStringLiteral("none");
}

QString duration(double seconds) {
    const qint64 minutes = qint64(seconds) / 60;
    const qint64 days = minutes / (24 * 60);
    const qint64 hours = minutes / 60 % 24;
    return days > 0 ? QStringLiteral("%1 d %2 h %3 min").arg(days).arg(hours).arg(minutes % 60)
                    : QStringLiteral("%1 h %2 min").arg(hours).arg(minutes % 60);
}

void printText(const SystemStats& s, bool hasSensors, QTextStream& out) {
    const auto line = [&out](const char* label, const QString& value) {
        out << QString::fromLatin1(label).leftJustified(15) << value << '\n';
    };
    line("Model:", s.macModel.isEmpty() || s.macModel == s.macModelName
                       ? s.macModelName
                       : QStringLiteral("%1 (%2)").arg(s.macModelName, s.macModel));
    line("Processor:", s.processorInfo);
    line("GPU:", orNotAvailable(s.gpuModel));
    line("CPU load:", QStringLiteral("%1% user, %2% system")
                          .arg(s.cpuUser, 0, 'f', 1)
                          .arg(s.cpuSystem, 0, 'f', 1));
    if (!s.gpuHistory.isEmpty())
        line("GPU load:", QStringLiteral("%1%").arg(s.gpuUtilization, 0, 'f', 1));
#ifdef Q_OS_MACOS
    const QString memoryParts =
        QStringLiteral("%1 used (app %2, wired %3, compressed %4), %5 free");
#else
    const QString memoryParts = QStringLiteral("%1 used (app %2, kernel %3, zswap %4), %5 free");
#endif
    line("Memory:",
         memoryParts.arg(bytes(s.ramUsed * bytesPerGiB), bytes(s.ramApp * bytesPerGiB),
                         bytes(s.ramWired * bytesPerGiB), bytes(s.ramCompressed * bytesPerGiB),
                         bytes(s.ramFree * bytesPerGiB)));
    line(
        "Network:",
        QStringLiteral("in %1/s, out %2/s").arg(bytes(s.networkSpeedIn), bytes(s.networkSpeedOut)));
    line("Disk:",
         QStringLiteral("%1 available of %2").arg(bytes(s.diskAvailable), bytes(s.diskTotal)));
    line("Uptime:", duration(s.uptime));
    line("Thermal state:", s.thermalState);
    if (hasSensors) {
        line("Temperatures:", QStringLiteral("CPU %1, GPU %2, drive %3")
                                  .arg(degrees(s.cpuTemp), degrees(s.gpuTemp), degrees(s.ssdTemp)));
        line("Fan:", s.fanRPM > 0 ? QStringLiteral("%1 RPM").arg(s.fanRPM, 0, 'f', 0)
                                  : QStringLiteral("stopped"));
    } else {
        line("Sensors:", QStringLiteral("No temperature or fan sensors found on this machine."));
    }
    QStringList addresses;
    for (const NICInfo& nic : s.activeNICs)
        addresses.append(nic.name + QLatin1Char(' ') + nic.address);
    line("Addresses:", addresses.isEmpty() ? s.localIP : addresses.join(QStringLiteral(", ")));
}

int runStats(const QStringList& args, CliIO& io) {
    bool json = false;
    std::optional<double> watchSeconds;
    for (qsizetype i = 0; i < args.size(); ++i) {
        if (args[i] == QLatin1String("--json")) {
            json = true;
        } else if (args[i] == QLatin1String("--watch")) {
            bool ok = false;
            const double seconds = args.value(i + 1).toDouble(&ok);
            if (!ok || !(seconds > 0)) {
                io.err << "velmox stats: --watch needs a number of seconds greater than 0.\n";
                return 2;
            }
            watchSeconds = seconds;
            ++i;
        } else {
            io.err << "velmox stats: unknown option '" << args[i]
                   << "'. Usage: velmox stats [--json] [--watch SECONDS]\n";
            return 2;
        }
    }

    Settings settings;
    SystemMonitorEngine engine(settings, SystemClock::shared(),
                               SystemMonitorEngine::systemSources());
    engine.startManual();
    wait(watchSeconds ? int(*watchSeconds * 1000) : firstIntervalMilliseconds);
    for (;;) {
        engine.tick();
        waitForSensors(engine);
        const bool hasSensors = !engine.sensorReadings().isEmpty();
        if (json) // JSON Lines while watching: one compact object per sample
            io.out << toJson(engine.stats())
                          .toJson(watchSeconds ? QJsonDocument::Compact : QJsonDocument::Indented)
                   << (watchSeconds ? "\n" : "");
        else
            printText(engine.stats(), hasSensors, io.out);
        io.out.flush();
        if (!watchSeconds)
            return 0;
        if (!json)
            io.out << '\n';
        wait(int(*watchSeconds * 1000));
    }
}

} // namespace

VELMOX_CLI_COMMAND(
    stats, "stats [--json] [--watch SECONDS]",
    "One sample of processor, memory, network, disk and sensors; with --watch, one every "
    "SECONDS (with --json as JSON Lines: one object per line).",
    runStats);

} // namespace velmox
