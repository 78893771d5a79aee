#include "ScanTestSupport.h"
#include "tests/support/VelmoxProcess.h"

#include <QJsonArray>
#include <QJsonDocument>
#include <QJsonObject>
#include <QTemporaryDir>
#include <gtest/gtest.h>

using namespace velmox::test;

// root/ { clips/ (a.mkv, b.MP4), notes.txt, disk.iso }
TEST(ScanCommand, LargestFilesAndTypesJoinTheScanOutput) {
    QTemporaryDir dir;
    const QByteArray root = dir.path().toUtf8();
    makeFolder(root + "/clips");
    writeFile(root + "/clips/a.mkv", 300'000);
    writeFile(root + "/clips/b.MP4", 100'000);
    writeFile(root + "/notes.txt", 5'000);
    writeFile(root + "/disk.iso", 200'000);
    const QString path = dir.path();

    const VelmoxRun run =
        runVelmox({"scan", path, "--json", "--largest", "2", "--types", "--top", "1"});
    ASSERT_EQ(run.exitCode, 0) << run.err.toStdString();
    const QJsonObject result = QJsonDocument::fromJson(run.out).object();
    EXPECT_EQ(result["top"].toArray().size(), 1);
    const QJsonArray largest = result["largest"].toArray();
    ASSERT_EQ(largest.size(), 2);
    EXPECT_EQ(largest[0].toObject()["path"].toString(), path + "/clips/a.mkv");
    EXPECT_EQ(largest[0].toObject()["logical"].toInteger(), 300'000);
    EXPECT_EQ(largest[1].toObject()["path"].toString(), path + "/disk.iso");
    const QJsonArray types = result["types"].toArray();
    ASSERT_EQ(types.size(), 3); // kinds without files are left out
    EXPECT_EQ(types[0].toObject()["kind"].toString(), "video");
    EXPECT_EQ(types[0].toObject()["items"].toInteger(), 2);
    EXPECT_EQ(types[0].toObject()["extensions"].toArray()[1].toObject()["extension"].toString(),
              "mp4");
    EXPECT_EQ(types[1].toObject()["kind"].toString(), "diskImages");
    EXPECT_EQ(types[2].toObject()["kind"].toString(), "documents");

    const VelmoxRun text = runVelmox({"scan", path, "--largest", "1", "--types"});
    ASSERT_EQ(text.exitCode, 0);
    EXPECT_TRUE(text.out.contains("Largest files:\n")) << text.out.constData();
    EXPECT_TRUE(text.out.contains(QByteArray("  ") + root + "/clips/a.mkv\n"));
    EXPECT_TRUE(text.out.contains("  Videos, 2 items (mkv, mp4)\n")) << text.out.constData();
    EXPECT_EQ(runVelmox({"scan", path, "--largest", "0"}).exitCode, 2);
}
