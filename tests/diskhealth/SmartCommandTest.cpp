#include "tests/support/VelmoxProcess.h"

#include <QJsonArray>
#include <QJsonDocument>
#include <QJsonObject>
#include <QRegularExpression>
#include <QTemporaryDir>
#include <gtest/gtest.h>

namespace velmox {
namespace {

using test::runVelmox;

QString fixture(const char* name) {
    return QStringLiteral(VELMOX_TEST_DATA "/diskhealth/smart/") + QString::fromLatin1(name);
}

// The keys of the outermost object of `json`, in the order they were written.
QStringList topLevelKeys(const QByteArray& json) {
    QStringList keys;
    static const QRegularExpression key(QStringLiteral("^  \"([A-Za-z]+)\":"),
                                        QRegularExpression::MultilineOption);
    for (auto it = key.globalMatch(QString::fromUtf8(json)); it.hasNext();)
        keys.append(it.next().captured(1));
    return keys;
}

TEST(SmartCommand, GradesASavedSmartctlOutputAsJson) {
    const auto run = runVelmox({QStringLiteral("smart"), QStringLiteral("--file"),
                                fixture("sata-hdd-st2000dm006.json"), QStringLiteral("--json")});
    ASSERT_EQ(run.exitCode, 0) << run.err.toStdString();
    EXPECT_EQ(topLevelKeys(run.out),
              (QStringList{"source", "protocolName", "model", "serial", "firmware", "verdict",
                           "verdictTitle", "verdictDetail", "summary", "attributes", "healthLog",
                           "diskutilStatus", "status"}));
    const QJsonObject report = QJsonDocument::fromJson(run.out).object();
    EXPECT_EQ(report.value("source").toString(), QStringLiteral("Read with smartmontools"));
    EXPECT_EQ(report.value("verdict").toInt(-1), 2);
    EXPECT_EQ(report.value("status").toString(), QStringLiteral("watch"));
    EXPECT_TRUE(report.value("healthLog").isNull());
    const QJsonObject spinRetry = report.value("attributes").toArray().at(6).toObject();
    EXPECT_EQ(spinRetry.keys().size(), 10);
    EXPECT_EQ(spinRetry.value("id").toInt(), 10);
    EXPECT_EQ(spinRetry.value("thresh").toInt(), 97);
    EXPECT_TRUE(spinRetry.value("prefailure").toBool());
    EXPECT_EQ(spinRetry.value("grade").toInt(), 2);
    EXPECT_EQ(spinRetry.value("label").toString(), QStringLiteral("Near limit"));
    const QJsonObject flying = report.value("attributes").toArray().at(21).toObject();
    EXPECT_EQ(flying.value("rawValue").toInteger(), 12884541110758725);
    EXPECT_EQ(flying.value("rawString").toString(), QStringLiteral("11589h+49m+59.916s"));

    const auto nvme = runVelmox({QStringLiteral("smart"), QStringLiteral("--file"),
                                 fixture("nvme-wds100t1x0e.json"), QStringLiteral("--json")});
    ASSERT_EQ(nvme.exitCode, 0) << nvme.err.toStdString();
    const QJsonObject log =
        QJsonDocument::fromJson(nvme.out).object().value("healthLog").toObject();
    EXPECT_EQ(log.value("spareThreshold").toInt(), 10);
    EXPECT_EQ(log.value("dataUnitsWritten").toInteger(), 31999484);
    EXPECT_EQ(log.value("powerOnHours").toInteger(), 10531);

    const auto unavailable = runVelmox({QStringLiteral("smart"), QStringLiteral("--json"),
                                        QStringLiteral("--file"), fixture("open-failed.json")});
    ASSERT_EQ(unavailable.exitCode, 0) << unavailable.err.toStdString();
    const QJsonObject none = QJsonDocument::fromJson(unavailable.out).object();
    EXPECT_TRUE(none.value("verdict").isNull());
    EXPECT_EQ(none.value("status").toString(), QStringLiteral("unavailable"));
}

TEST(SmartCommand, FailsOnFilesItCannotGrade) {
    QTemporaryDir dir;
    const QString notJson = dir.filePath(QStringLiteral("notes.txt"));
    QFile file(notJson);
    ASSERT_TRUE(file.open(QIODevice::WriteOnly));
    file.write("SMART overall-health self-assessment test result: PASSED\n");
    file.close();
    for (const QString& path : {notJson, dir.filePath(QStringLiteral("missing.json"))}) {
        SCOPED_TRACE(path.toStdString());
        const auto run = runVelmox(
            {QStringLiteral("smart"), QStringLiteral("--file"), path, QStringLiteral("--json")});
        EXPECT_EQ(run.exitCode, 1);
        const QString error = QJsonDocument::fromJson(run.out).object().value("error").toString();
        EXPECT_TRUE(error.contains(path)) << run.out.toStdString();
        EXPECT_TRUE(error.endsWith(QLatin1Char('.'))) << error.toStdString();
    }
    EXPECT_EQ(runVelmox({QStringLiteral("smart")}).exitCode, 2);
    EXPECT_EQ(runVelmox({QStringLiteral("smart"), QStringLiteral("sda"), QStringLiteral("--file"),
                         fixture("open-failed.json")})
                  .exitCode,
              2);
}

} // namespace
} // namespace velmox
