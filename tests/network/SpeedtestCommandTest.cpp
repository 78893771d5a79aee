#include "network/NetworkSpeedTestViewModel.h"
#include "network/SpeedTestHistoryEntry.h"
#include "services/Settings.h"
#include "tests/network/SpeedTestServer.h"
#include "tests/support/VelmoxProcess.h"

#include <QJsonDocument>
#include <QJsonObject>
#include <QRegularExpression>
#include <QTcpServer>
#include <gtest/gtest.h>

using namespace velmox;
using namespace velmox::test;

// The velmox executable as a child process, measuring the paced server on the loopback.
TEST(SpeedtestCommand, MeasuresPrintsJsonAndRecordsTheResult) {
    constexpr double rate = 40e6;
    SpeedTestServer server(rate);
    ASSERT_TRUE(server.isListening()) << server.errors();
    Settings settings;
    ASSERT_TRUE(settings.setValue(QStringLiteral("speedTestDuration"), 2.5));

    const VelmoxRun run =
        runVelmox({"speedtest", "--json", "--unit", "MBps", "--server", server.url().toString()});
    ASSERT_EQ(run.exitCode, 0) << run.err.toStdString();
    const QJsonObject printed = QJsonDocument::fromJson(run.out).object();
    EXPECT_EQ(printed.keys(), (QStringList{"date", "dlValue", "download", "id", "latency",
                                           "latencyValue", "ulValue", "unit", "upload"}));
    EXPECT_EQ(printed["unit"].toString(), "MBps");
    EXPECT_NEAR(printed["dlValue"].toDouble(), rate, rate * 0.1);
    EXPECT_NEAR(printed["ulValue"].toDouble(), rate, rate * 0.1);
    static const QRegularExpression megabytes("^\\d+\\.\\d MBps$");
    EXPECT_TRUE(megabytes.match(printed["download"].toString()).hasMatch())
        << printed["download"].toString().toStdString();
    static const QRegularExpression isoWithOffset(
        "^\\d{4}-\\d\\d-\\d\\dT\\d\\d:\\d\\d:\\d\\d[+-]\\d\\d:\\d\\d$");
    EXPECT_TRUE(isoWithOffset.match(printed["date"].toString()).hasMatch());
    EXPECT_EQ(printed["latency"].toString(),
              QString::number(printed["latencyValue"].toInteger()) + " ms");

    // Recorded in the history the page shows; --unit left the saved unit alone.
    settings.sync();
    const auto history = speedTestHistoryFromJson(
        settings.value(NetworkSpeedTestViewModel::historyKey).toByteArray());
    ASSERT_TRUE(history && history->size() == 1);
    EXPECT_EQ(history->at(0).id.toString(QUuid::WithoutBraces).toUpper(), printed["id"].toString());
    EXPECT_FALSE(settings.contains(NetworkSpeedTestViewModel::unitKey));
}

TEST(SpeedtestCommand, RefusesBadArgumentsAndReportsAnUnreachableServer) {
    const VelmoxRun unit = runVelmox({"speedtest", "--unit", "mbps"});
    EXPECT_EQ(unit.exitCode, 2);
    EXPECT_EQ(unit.err, "velmox speedtest: “mbps” is not a speed unit; choose one of Mbps, MBps, "
                        "Gbps, GBps, Kbps, KBps.\n");
    const VelmoxRun server = runVelmox({"speedtest", "--json", "--server", "file:///etc"});
    EXPECT_EQ(server.exitCode, 2);
    EXPECT_TRUE(server.err.contains("must be an http:// or https:// address"))
        << server.err.toStdString();
    EXPECT_TRUE(QJsonDocument::fromJson(server.out).object().contains("error"));

    // A loopback port that was free a moment ago: nothing listens there now.
    QTcpServer probe;
    ASSERT_TRUE(probe.listen(QHostAddress::LocalHost));
    const QString closed = QStringLiteral("http://127.0.0.1:%1").arg(probe.serverPort());
    probe.close();
    const VelmoxRun unreachable = runVelmox({"speedtest", "--server", closed});
    EXPECT_EQ(unreachable.exitCode, 1);
    EXPECT_TRUE(unreachable.err.startsWith("The speed test could not reach 127.0.0.1 ("))
        << unreachable.err.toStdString();
}
