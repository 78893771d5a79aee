#include "tests/support/VelmoxProcess.h"

#include <QJsonArray>
#include <QJsonDocument>
#include <QJsonObject>
#include <QRegularExpression>
#include <gtest/gtest.h>

namespace velmox {
namespace {

TEST(StatsCommand, PrintsOneSampleAsJsonWithTheRecordsFieldsInTheirOrder) {
    const test::VelmoxRun run =
        test::runVelmox({QStringLiteral("stats"), QStringLiteral("--json")});
    ASSERT_EQ(run.exitCode, 0) << run.err.toStdString();
    const QStringList fields = {
        "cpuUser",        "cpuSystem",       "cpuHistory",       "ramUsed",
        "ramFree",        "ramWired",        "ramCompressed",    "ramApp",
        "ramHistory",     "gpuHistory",      "diskTotal",        "diskAvailable",
        "networkSpeedIn", "networkSpeedOut", "networkHistoryIn", "networkHistoryOut",
        "uptime",         "gpuUtilization",  "thermalState",     "cpuTemp",
        "gpuTemp",        "fanRPM",          "ssdTemp",          "ssdLabel",
        "drives",         "macModel",        "macModelName",     "processorInfo",
        "gpuModel",       "activeNICs",      "localIP",          "publicIP"};
    static const QRegularExpression topLevelKey(QStringLiteral("^    \"(\\w+)\":"),
                                                QRegularExpression::MultilineOption);
    QStringList printed;
    for (const auto& match : topLevelKey.globalMatch(QString::fromUtf8(run.out)))
        printed.append(match.captured(1));
    EXPECT_EQ(printed, fields);

    const QJsonObject stats = QJsonDocument::fromJson(run.out).object();
    EXPECT_EQ(stats.keys().size(), fields.size()) << "the output is valid JSON";
    EXPECT_EQ(stats.value("cpuHistory").toArray().size(), 1) << "two samples, one load";
    EXPECT_GT(stats.value("ramUsed").toDouble(), 0.0);
}

// Whatever sensors this machine has, the text and JSON forms of both commands agree on them.
TEST(SensorsCommand, TextAndJsonAgreeOnThisMachinesSensorsAndBadOptionsAreRefused) {
    const test::VelmoxRun json =
        test::runVelmox({QStringLiteral("sensors"), QStringLiteral("--json")});
    ASSERT_EQ(json.exitCode, 0);
    const QJsonDocument document = QJsonDocument::fromJson(json.out);
    ASSERT_TRUE(document.isArray()) << json.out.toStdString();
    const QJsonArray sensors = document.array();

    const test::VelmoxRun text = test::runVelmox({QStringLiteral("sensors")});
    EXPECT_EQ(text.exitCode, 0);
    const test::VelmoxRun stats = test::runVelmox({QStringLiteral("stats")});
    EXPECT_EQ(stats.exitCode, 0);
    EXPECT_TRUE(stats.out.contains("Processor:"));
    if (sensors.isEmpty()) {
        EXPECT_TRUE(text.out.startsWith("No sensors found:")) << text.out.toStdString();
        EXPECT_TRUE(stats.out.contains("No temperature or fan sensors found on this machine."));
    } else {
        for (const QJsonValue sensor : sensors)
            EXPECT_TRUE(text.out.contains(sensor[QStringLiteral("name")].toString().toUtf8()));
        EXPECT_TRUE(stats.out.contains("Temperatures:")) << stats.out.toStdString();
    }

    EXPECT_EQ(test::runVelmox({QStringLiteral("sensors"), QStringLiteral("--all")}).exitCode, 2);
    const test::VelmoxRun bad =
        test::runVelmox({QStringLiteral("stats"), QStringLiteral("--watch"), QStringLiteral("-1")});
    EXPECT_EQ(bad.exitCode, 2);
    EXPECT_EQ(bad.err, "velmox stats: --watch needs a number of seconds greater than 0.\n");
}

} // namespace
} // namespace velmox
