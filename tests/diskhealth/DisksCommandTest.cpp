#include "tests/support/VelmoxProcess.h"

#include <QJsonArray>
#include <QJsonDocument>
#include <QJsonObject>
#include <gtest/gtest.h>

namespace velmox {
namespace {

QString data(const char* name) {
    return QStringLiteral(VELMOX_TEST_DATA "/diskhealth/") + QLatin1String(name);
}

QJsonArray disksOf(const test::VelmoxRun& run) {
    return QJsonDocument::fromJson(run.out).object().value("disks").toArray();
}

TEST(DisksCommand, ListsThisMachinesDisks) {
    const test::VelmoxRun run = test::runVelmox({"disks", "--json"});
    ASSERT_EQ(run.exitCode, 0) << run.err.toStdString();
    const QJsonArray disks = disksOf(run);
    for (const QJsonValue& disk : disks) {
        EXPECT_FALSE(disk["identifier"].toString().isEmpty());
        EXPECT_GT(disk["totalBytes"].toDouble(), 0);
    }
    const test::VelmoxRun text = test::runVelmox({"disks"});
    EXPECT_EQ(text.exitCode, 0);
    for (const QJsonValue& disk : disks)
        EXPECT_TRUE(text.out.contains(disk["identifier"].toString().toUtf8()));
}

TEST(DisksCommand, ReplaysSavedOutputsRecognisedByTheirContent) {
    // lsblk and diskutil outputs together, in any order.
    const test::VelmoxRun run = test::runVelmox(
        {"disks", "--replay", data("diskutil-apfs-list-one-container.plist"),
         data("lsblk-virtio-zram.json"), data("diskutil-list-catalina.plist"), "--json"});
    ASSERT_EQ(run.exitCode, 0) << run.err.toStdString();
    const QJsonArray disks = disksOf(run);
    ASSERT_EQ(disks.size(), 2);
    EXPECT_EQ(disks[0]["identifier"], "vda");
    EXPECT_EQ(disks[0]["isVirtual"], true);
    EXPECT_EQ(disks[1]["identifier"], "disk0");
    EXPECT_EQ(disks[1]["containers"][0]["volumeCount"], 7);
    EXPECT_EQ(disks[1]["partitions"][1]["detail"], "member of container disk1");

    const test::VelmoxRun text =
        test::runVelmox({"disks", "--replay", data("diskutil-list-attached-vm-disk.plist")});
    EXPECT_EQ(text.exitCode, 0);
    EXPECT_TRUE(text.out.contains("disk0s2  Apple_APFS"));
    EXPECT_TRUE(text.out.contains("      No container is attached to this partition"));
}

TEST(DisksCommand, AFileThatIsNoToolOutputIsAnErrorSentence) {
    const test::VelmoxRun foreign =
        test::runVelmox({"disks", "--replay", data("README.md"), "--json"});
    EXPECT_EQ(foreign.exitCode, 1);
    const QString sentence = data("README.md") +
                             " is neither lsblk's JSON nor an output of diskutil (list, apfs "
                             "list or info), so it cannot be replayed.";
    EXPECT_EQ(foreign.err.trimmed(), sentence.toUtf8());
    EXPECT_EQ(QJsonDocument::fromJson(foreign.out).object().value("error").toString(), sentence);

    const test::VelmoxRun lonely =
        test::runVelmox({"disks", "--replay", data("diskutil-info-fusion-ssd.txt")});
    EXPECT_EQ(lonely.exitCode, 1);
    EXPECT_TRUE(lonely.err.contains("need the one of “diskutil list -plist”"));

    EXPECT_EQ(test::runVelmox({"disks", "--replay", data("missing.json")}).exitCode, 1);
    EXPECT_EQ(test::runVelmox({"disks", "--replay"}).exitCode, 2);
}

} // namespace
} // namespace velmox
