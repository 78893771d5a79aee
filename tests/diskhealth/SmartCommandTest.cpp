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
                                fixture("usb-jmicron-hdd-failing.json"), QStringLiteral("--json")});
    ASSERT_EQ(run.exitCode, 0) << run.err.toStdString();
    EXPECT_EQ(topLevelKeys(run.out),
              (QStringList{"source", "protocolName", "model", "serial", "firmware", "verdict",
                           "verdictTitle", "verdictDetail", "summary", "attributes", "healthLog",
                           "diskutilStatus", "status"}));
    const QJsonObject report = QJsonDocument::fromJson(run.out).object();
    EXPECT_EQ(report.value("source").toString(), QStringLiteral("Read with smartmontools"));
    EXPECT_EQ(report.value("verdict").toInt(-1), 3);
    EXPECT_EQ(report.value("status").toString(), QStringLiteral("critical"));
    EXPECT_TRUE(report.value("healthLog").isNull());
    const QJsonObject reallocated = report.value("attributes").toArray().at(3).toObject();
    EXPECT_EQ(reallocated.keys().size(), 10);
    EXPECT_EQ(reallocated.value("id").toInt(), 5);
    EXPECT_EQ(reallocated.value("thresh").toInt(), 140);
    EXPECT_TRUE(reallocated.value("prefailure").toBool());
    EXPECT_EQ(reallocated.value("rawValue").toInteger(), 535);
    EXPECT_EQ(reallocated.value("grade").toInt(), 3);
    EXPECT_EQ(reallocated.value("label").toString(), QStringLiteral("Below limit"));

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
