// velmox smart DISK [--json]
// velmox smart --file SMARTCTL.json [--json]
//
// Exit status 0 whenever a report was made ("unavailable" included); 1 when the disk cannot be
// named or the file cannot be read or is not JSON; 2 for a usage error.

#include "cli/CliCommand.h"
#include "diskhealth/SmartAnalyzer.h"
#include "diskhealth/SmartReader.h"
#include "diskhealth/SmartReportJson.h"
#include "diskhealth/SmartctlJson.h"
#include "platform/PromptElevation.h"
#include "platform/QtKeychainSecretStore.h"
#include "services/KeychainHelper.h"
#include "services/Settings.h"
#include "services/ShellHelper.h"

#include <QFile>

namespace velmox {

namespace {

int usage(CliIO& io) {
    io.err << usageLine(QStringLiteral("smart")) << '\n';
    return 2;
}

QString gradeText(HealthGrade grade) {
    switch (grade) {
    case HealthGrade::ok:
        return QStringLiteral("OK");
    case HealthGrade::information:
        return QStringLiteral("Info");
    case HealthGrade::warning:
        return QStringLiteral("Warning");
    case HealthGrade::critical:
        return QStringLiteral("Critical");
    }
    return {};
}

void printText(const SmartReport& report, QTextStream& out) {
    out << report.verdictTitle << '\n';
    if (!report.verdictDetail.isEmpty())
        out << report.verdictDetail << '\n';
    out << smartSourceLabel(report.source) << '\n';
    const auto line = [&out](const char* label, const QString& value) {
        if (!value.isEmpty())
            out << QString::fromLatin1(label).leftJustified(11) << value << '\n';
    };
    line("Model:", report.model);
    line("Serial:", report.serial);
    line("Firmware:", report.firmware);
    line("Protocol:", report.protocolName);
    if (!report.summary.isEmpty())
        out << '\n';
    for (const SmartFact& fact : report.summary)
        out << (fact.label + QLatin1Char(':')).leftJustified(32) << fact.value
            << (fact.grade == HealthGrade::ok ? QString()
                                              : QStringLiteral("  [%1]").arg(gradeText(fact.grade)))
            << '\n';
    if (report.attributes.isEmpty())
        return;
    out << "\n ID  Attribute                       Value Worst Thresh  Raw             Grade\n";
    for (const SmartAttributeRow& row : report.attributes)
        out << QString::number(row.id).rightJustified(3) << "  "
            << row.name.leftJustified(31, u' ', true) << ' '
            << QString::number(row.value).rightJustified(5) << ' '
            << QString::number(row.worst).rightJustified(5) << ' '
            << QString::number(row.threshold).rightJustified(6) << "  "
            << row.rawString.leftJustified(15, u' ', true) << ' ' << row.label << '\n';
}

int runSmart(const QStringList& args, CliIO& io) {
    bool json = false;
    QString file;
    QString disk;
    for (qsizetype i = 0; i < args.size(); ++i) {
        const QString& arg = args.at(i);
        if (arg == QLatin1String("--json")) {
            json = true;
        } else if (arg == QLatin1String("--file") && i + 1 < args.size() && file.isEmpty()) {
            file = args.at(++i);
        } else if (!arg.startsWith(QLatin1String("--")) && disk.isEmpty()) {
            disk = arg;
        } else {
            io.err << "velmox smart: '" << arg << "' is not an option of this command.\n";
            return usage(io);
        }
    }
    if (file.isEmpty() == disk.isEmpty())
        return usage(io);

    SmartReport report;
    if (!file.isEmpty()) {
        QFile input(file);
        if (!input.open(QIODevice::ReadOnly)) {
            io.err << "velmox smart: " << file << " could not be read: " << input.errorString()
                   << ".\n";
            return 1;
        }
        Result<SmartReport> parsed = parseSmartctlJson(input.readAll());
        if (!parsed) {
            io.err << "velmox smart: " << file << ": " << parsed.error() << '\n';
            return 1;
        }
        report = std::move(*parsed);
        SmartAnalyzer::grade(report);
    } else {
        const Result<SmartTarget> target = SmartTarget::fromDeviceName(disk);
        if (!target) {
            io.err << "velmox smart: " << target.error() << '\n';
            return 1;
        }
        SmartctlReader::Options options;
        // Without root the saved password is used; the command line never shows a prompt.
        std::unique_ptr<Settings> settings;
        std::unique_ptr<QtKeychainSecretStore> secrets;
        std::unique_ptr<KeychainHelper> keychain;
        std::unique_ptr<PromptElevation> prompt;
        std::unique_ptr<ShellHelper> shell;
        if (!options.root) {
            settings = std::make_unique<Settings>();
            secrets = std::make_unique<QtKeychainSecretStore>();
            keychain = std::make_unique<KeychainHelper>(*secrets);
            prompt = PromptElevation::forThisSystem();
            shell = std::make_unique<ShellHelper>(*keychain, *settings, *prompt);
            options.privileged = [&shell](const QString& line) {
                return shell->runPrivileged(line, false);
            };
        }
        SmartctlReader reader(std::move(options));
        Result<SmartReport> read = reader.read(*target);
        if (!read) {
            io.err << "velmox smart: " << read.error() << '\n';
            return 1;
        }
        report = std::move(*read);
    }

    if (json)
        io.out << QString::fromUtf8(smartReportJson(report));
    else
        printText(report, io.out);
    return 0;
}

} // namespace

VELMOX_CLI_COMMAND(smart, "smart DISK [--json] | smart --file SMARTCTL.json [--json]",
                   "Reads and grades a disk's S.M.A.R.T. values, or grades a saved smartctl -j "
                   "output.",
                   runSmart);

} // namespace velmox
