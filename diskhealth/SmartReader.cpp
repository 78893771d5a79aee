#include "diskhealth/SmartReader.h"

#include "diskhealth/NvmeHealthLog.h"
#include "diskhealth/SmartAnalyzer.h"
#include "diskhealth/SmartctlJson.h"
#include "services/ShellWords.h"
#include "services/ToolRunner.h"

#include <QDir>
#include <QFile>
#include <QFileInfo>
#include <unistd.h>

namespace velmox {

SmartReport unavailableReport(const QString& reason) {
    SmartReport report;
    report.status = DiskHealthStatus::unavailable;
    report.verdictTitle = diskHealthStatusTitle(report.status);
    report.verdictDetail = reason;
    return report;
}

SmartctlReader::SmartctlReader(Options options) : options_(std::move(options)) {}

bool SmartctlReader::isRoot() {
    return ::geteuid() == 0;
}

QStringList SmartctlReader::linuxSearchList() {
    QStringList list;
    for (const QString& folder :
         qEnvironmentVariable("PATH").split(QLatin1Char(':'), Qt::SkipEmptyParts))
        if (QDir::isAbsolutePath(folder))
            list.append(QDir(folder).filePath(QStringLiteral("smartctl")));
    const QString sbin = QStringLiteral("/usr/sbin/smartctl");
    if (!list.contains(sbin))
        list.append(sbin);
    return list;
}

QStringList SmartctlReader::macSearchList(const QString& bundledSmartctl) {
    return {bundledSmartctl,
            QStringLiteral("/opt/homebrew/bin/smartctl"),
            QStringLiteral("/opt/homebrew/sbin/smartctl"),
            QStringLiteral("/usr/local/bin/smartctl"),
            QStringLiteral("/usr/local/sbin/smartctl"),
            QStringLiteral("/opt/local/sbin/smartctl"),
            QStringLiteral("/opt/local/bin/smartctl"),
            QStringLiteral("/opt/homebrew/opt/smartmontools/sbin/smartctl"),
            QStringLiteral("/usr/local/opt/smartmontools/sbin/smartctl")};
}

QString SmartctlReader::findSmartctl(const QStringList& candidates) {
    for (const QString& candidate : candidates) {
        const QFileInfo info(candidate);
        if (info.isFile() && info.isExecutable())
            return info.absoluteFilePath();
    }
    return {};
}

QList<QStringList> SmartctlReader::argumentSets(const SmartTarget& target) {
    const QStringList plain{QStringLiteral("-a"), QStringLiteral("-j")};
    const QStringList sat = plain + QStringList{QStringLiteral("-d"), QStringLiteral("sat")};
    const QStringList sat12 = plain + QStringList{QStringLiteral("-d"), QStringLiteral("sat,12")};
    // A bridge that does not pass SAT through may still be known to smartctl's own detection.
    if (target.needsSatPassThrough())
        return {sat, sat12, plain};
    return {plain};
}

QString SmartctlReader::missingSmartctlSentence() {
    return QStringLiteral("smartctl was not found, so detailed S.M.A.R.T. values cannot be read. "
                          "Install smartmontools to read them (Debian and Ubuntu: sudo apt "
                          "install smartmontools; Fedora: sudo dnf install smartmontools).");
}

Result<QByteArray> SmartctlReader::runSmartctl(const QString& smartctl,
                                               const QStringList& arguments) const {
    if (options_.root) {
        const ToolRunResult result =
            ToolRunner::run(smartctl, arguments, std::nullopt, options_.timeoutSeconds);
        if (result.status == -1)
            return failure(result.standardError);
        if (result.timedOut)
            return failure(QStringLiteral("smartctl did not answer within %1 seconds.")
                               .arg(options_.timeoutSeconds));
        // smartctl's exit status is a bit mask of findings; the JSON says the rest.
        return result.standardOutput.toUtf8();
    }
    if (!options_.privileged)
        return failure(QStringLiteral("Reading S.M.A.R.T. values needs administrator rights."));
    QStringList words{shellQuoted(smartctl)};
    for (const QString& argument : arguments)
        words.append(shellQuoted(argument));
    const CommandResult result =
        options_.privileged(words.join(QLatin1Char(' ')) + QStringLiteral(" 2>&1; true"));
    if (!result)
        return failure(result.error().description());
    return result->toUtf8();
}

SmartReport SmartctlReader::readDirectly(const SmartTarget& target) const {
    const Result<QByteArray> page = NvmeHealthLog::readFromDevice(target.devicePath);
    if (!page)
        return unavailableReport(missingSmartctlSentence() + QLatin1Char(' ') + page.error());
    const Result<NVMeHealth> health = NvmeHealthLog::decode(*page);
    if (!health)
        return unavailableReport(health.error());
    SmartReport report = NvmeHealthLog::report(*health);
    SmartAnalyzer::grade(report, false);
    return report;
}

SmartReader::Outcome SmartctlReader::read(const SmartTarget& target) {
    if (!target.devicePath.startsWith("/dev/"))
        return failure(QStringLiteral("'%1' is not a device path.")
                           .arg(QString::fromLocal8Bit(target.devicePath)));
    const QString smartctl = findSmartctl(options_.searchList);
    if (smartctl.isEmpty()) {
        if (target.isNvme() && options_.root)
            return readDirectly(target);
        return unavailableReport(missingSmartctlSentence());
    }

    std::optional<SmartReport> last;
    QString reason;
    for (QStringList arguments : argumentSets(target)) {
        arguments.append(QString::fromLocal8Bit(target.devicePath));
        const Result<QByteArray> output = runSmartctl(smartctl, arguments);
        if (!output)
            return unavailableReport(output.error());
        Result<SmartReport> report = parseSmartctlJson(*output);
        if (!report) {
            reason = report.error();
            continue;
        }
        SmartAnalyzer::grade(*report, target.rotational);
        if (report->status != DiskHealthStatus::unavailable)
            return *report;
        last = std::move(*report);
    }
    if (last)
        return *last;
    return unavailableReport(reason);
}

} // namespace velmox
