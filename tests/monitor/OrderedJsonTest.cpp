#include "monitor/SystemStats.h"

#include <QJsonArray>
#include <QJsonObject>
#include <gtest/gtest.h>

namespace velmox {
namespace {

TEST(OrderedJson, KeepsMemberOrderAtEveryDepthAndEscapesLikeQt) {
    SystemStats stats;
    stats.cpuHistory = {12.5, 3.0};
    stats.activeNICs = {{"wl\"an\n0", "up", "192.0.2.7"}};
    stats.drives = {{"nvme Composite", "NVMe drive 1", "SSD", "NVMe", false, 38.85, {}}};

    EXPECT_EQ(toJson(stats.activeNICs.first()).toJson(QJsonDocument::Compact),
              R"({"name":"wl\"an\n0","status":"up","address":"192.0.2.7"})");
    EXPECT_EQ(toJson(stats.drives.first()).toJson(QJsonDocument::Compact),
              R"({"id":"nvme Composite","name":"NVMe drive 1","kind":"SSD","interface":"NVMe",)"
              R"("isExternal":false,"temp":38.85,"bsd":""})");

    // Both layouts read back as the same document that QJsonObject would have made.
    for (const auto format : {QJsonDocument::Compact, QJsonDocument::Indented}) {
        const QByteArray text = toJson(stats).toJson(format);
        QJsonParseError error;
        const QJsonObject parsed = QJsonDocument::fromJson(text, &error).object();
        ASSERT_EQ(error.error, QJsonParseError::NoError) << text.toStdString();
        EXPECT_EQ(parsed.value("cpuHistory").toArray(), QJsonArray({12.5, 3.0}));
        EXPECT_EQ(parsed.value("activeNICs").toArray().first().toObject().value("name"),
                  QStringLiteral("wl\"an\n0"));
        EXPECT_EQ(parsed.size(), 32);
    }
}

} // namespace
} // namespace velmox
