#include "network/NetworkQualityJson.h"
#include "network/SpeedTestFormat.h"
#include "network/SpeedTestHistoryEntry.h"

#include <QJsonDocument>
#include <gtest/gtest.h>

using namespace velmox;

TEST(SpeedTestFigures, ThroughputInEveryUnitAndLatencyTruncated) {
    const double download = 94.3e6;
    EXPECT_EQ(formatThroughput(download, "Mbps"), "94.3 Mbps");
    EXPECT_EQ(formatThroughput(download, "MBps"), "11.8 MBps");
    EXPECT_EQ(formatThroughput(download, "Gbps"), "0.09 Gbps");
    EXPECT_EQ(formatThroughput(download, "GBps"), "0.01 GBps");
    EXPECT_EQ(formatThroughput(download, "Kbps"), "94300 Kbps");
    EXPECT_EQ(formatThroughput(download, "KBps"), "11788 KBps");
    EXPECT_EQ(formatThroughput(std::nullopt, "Mbps"), "--");
    EXPECT_EQ(formatThroughput(download, "furlongs"), "94.3 Mbps");

    EXPECT_EQ(formatLatency(12.97), "12 ms");
    EXPECT_EQ(formatLatency(0.4), "0 ms");
    EXPECT_EQ(formatLatency(std::nullopt), "--");
    EXPECT_EQ(formatLatency(1e300), "--");
}

// Output shapes of `networkquality -c` recorded in public test fixtures, trimmed: the
// macOS 12 form with the responsiveness figure, the later form with phases, per-probe arrays and
// a nested "other" object, and the form printed when there was no connection.
TEST(SpeedTestFigures, ReadsTheRecordedSummaryShapes) {
    const auto monterey = parseNetworkQualitySummary(R"({
      "dl_flows" : 20, "dl_throughput" : 5814456,
      "lud_foreign_h2_req_resp" : [ 665, 1703, 1700 ],
      "responsiveness" : 103, "ul_flows" : 12, "ul_throughput" : 14696000 })");
    ASSERT_TRUE(monterey) << monterey.error().toStdString();
    EXPECT_EQ(*monterey, (SpeedTestSummary{5814456, 14696000, std::nullopt}));

    const auto later = parseNetworkQualitySummary(R"({
      "base_rtt" : 17.809663772583008, "cli_options" : [ "-c" ],
      "dl_bytes_transferred" : 988658122, "dl_flows" : 10,
      "dl_phase_start" : "2026-10-07 04:25:59.260", "dl_throughput" : 361439456,
      "il_h2_req_resp" : [ 12.910962104797363, 14.56904411315918 ], "interface_name" : "en0",
      "other" : { "ecn_values" : { "ecn_classic" : 457 } },
      "responsiveness" : 189.6203918457031, "ul_throughput" : 40517048 })");
    ASSERT_TRUE(later) << later.error().toStdString();
    EXPECT_EQ(*later, (SpeedTestSummary{361439456, 40517048, 17.809663772583008}));

    const auto offline = parseNetworkQualitySummary(R"({
      "dl_flows" : 0, "dl_throughput" : 0, "error_code" : -1009,
      "error_domain" : "NSURLErrorDomain", "responsiveness" : 0,
      "ul_flows" : 0, "ul_throughput" : 0 })");
    ASSERT_FALSE(offline);
    EXPECT_EQ(offline.error(), "The test did not finish (NSURLErrorDomain error -1009). Check "
                               "your internet connection.");
}

TEST(SpeedTestFigures, OddFiguresStayAbsentAndNonObjectsFail) {
    const auto odd = parseNetworkQualitySummary(
        R"({"dl_throughput": "fast", "ul_throughput": -5, "base_rtt": null})");
    ASSERT_TRUE(odd);
    EXPECT_EQ(*odd, SpeedTestSummary{});
    for (const char* output :
         {"", "[1, 2]", "Download capacity: 21.661 Mbps", "{\"dl_throughput\": 1"}) {
        const auto parsed = parseNetworkQualitySummary(output);
        ASSERT_FALSE(parsed) << output;
        EXPECT_EQ(parsed.error(), "Failed to parse test results.");
    }
}

TEST(SpeedTestFigures, HistoryRoundTripsAndSkipsBrokenEntries) {
    const SpeedTestHistoryEntry entry{
        QUuid::createUuid(),
        QDateTime(QDate(2026, 11, 22), QTime(9, 30, 5), Qt::OffsetFromUTC, 3600),
        "94.3 Mbps",
        "20.0 Mbps",
        "12 ms",
        94.3e6,
        20e6,
        12};
    const QByteArray stored =
        "[" + QJsonDocument(toJson(entry)).toJson() + R"(, {"id": "not a uuid"}, 7])";
    const auto read = speedTestHistoryFromJson(stored);
    ASSERT_TRUE(read) << read.error().toStdString();
    ASSERT_EQ(read->size(), 1);
    EXPECT_EQ(read->at(0), entry);
    EXPECT_FALSE(speedTestHistoryFromJson("{\"id\": 1}"));
}
