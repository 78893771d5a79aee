#include "ScanTestSupport.h"
#include "tests/support/VelmoxProcess.h"

#include <QJsonDocument>
#include <QJsonObject>
#include <QProcess>
#include <QTemporaryDir>
#include <gtest/gtest.h>

using namespace velmox::test;

TEST(ScanCommand, SaysSoAndExitsWithThreeWhenTheItemCapStopsTheScan) {
    QTemporaryDir dir;
    const QByteArray root = dir.path().toUtf8();
    for (int folder = 0; folder < 5; ++folder) {
        const QByteArray path = root + "/f" + QByteArray::number(folder);
        makeFolder(path);
        for (int file = 0; file < 10; ++file)
            writeFile(path + "/" + QByteArray::number(file), 100);
    }
    const QString path = QString::fromUtf8(root);

    const VelmoxRun whole = runVelmox({QStringLiteral("scan"), path, QStringLiteral("--json")});
    ASSERT_EQ(whole.exitCode, 0) << whole.err.toStdString();
    const QJsonObject complete = QJsonDocument::fromJson(whole.out).object();
    EXPECT_EQ(complete.value(QStringLiteral("state")).toString(), QStringLiteral("finished"));
    EXPECT_EQ(complete.value(QStringLiteral("items")).toInt(), 55);
    // Without a running Velmox there is no change journal to update the scan from.
    EXPECT_EQ(complete.value(QStringLiteral("mode")).toString(), QStringLiteral("full"));
    EXPECT_TRUE(complete.value(QStringLiteral("note")).toString().startsWith(
        QStringLiteral("The change history is not available")));
    EXPECT_TRUE(whole.err.isEmpty());

    for (const bool json : {true, false}) {
        QStringList args = {QStringLiteral("scan"), path, QStringLiteral("--max-items"),
                            QStringLiteral("12"), QStringLiteral("--workers"), QStringLiteral("1")};
        if (json)
            args << QStringLiteral("--json");
        const VelmoxRun stopped = runVelmox(args);
        EXPECT_EQ(stopped.exitCode, 3) << json;
        EXPECT_TRUE(stopped.err.contains("so the totals cover only what was read")) << json;
        if (!json)
            continue;
        const QJsonObject partial = QJsonDocument::fromJson(stopped.out).object();
        EXPECT_EQ(partial.value(QStringLiteral("state")).toString(),
                  QStringLiteral("stoppedForSize"));
        EXPECT_LT(partial.value(QStringLiteral("items")).toInt(), 55);
        EXPECT_TRUE(partial.value(QStringLiteral("note"))
                        .toString()
                        .startsWith(QStringLiteral("The scan was paused after ")));
    }
}
