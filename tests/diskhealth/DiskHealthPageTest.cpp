#include "app/pages/DiskHealthPage.h"

#include "diskhealth/DiskInventory.h"
#include "diskhealth/LsblkInventory.h"
#include "diskhealth/PartitionTypes.h"
#include "diskhealth/SmartAnalyzer.h"
#include "diskhealth/SmartReader.h"
#include "diskhealth/SmartctlJson.h"
#include "tests/support/ManualClock.h"

#include <QDir>
#include <QFile>
#include <QFrame>
#include <QLabel>
#include <QPushButton>
#include <QSignalSpy>
#include <QTableWidget>
#include <QThreadPool>
#include <atomic>
#include <gtest/gtest.h>

namespace velmox {
namespace {

QByteArray fixture(const QString& name) {
    QFile file(QStringLiteral(VELMOX_TEST_DATA "/diskhealth/") + name);
    EXPECT_TRUE(file.open(QIODevice::ReadOnly)) << name.toStdString();
    return file.readAll();
}

// The lsblk listings of two machines, replayed.
class ReplayedInventory : public DiskInventorySource {
public:
    Result<QList<PhysicalDisk>> read() const override {
        QList<LsblkDevice> roots;
        for (const char* name : {"lsblk-virtio-zram.json", "lsblk-loop-gpt-mbr.json"})
            roots += parseLsblkJson(fixture(QLatin1String(name))).value();
        return inventoryFromLsblk(roots, FileSystemSupport::everything());
    }
};

// Saved smartctl outputs per device, graded as the real reader grades them; a device without
// one fails the way a wrong target does.
class ReplayedSmartReader : public SmartReader {
public:
    Outcome read(const SmartTarget& target) override {
        ++reads;
        const QString name = recordings.value(target.devicePath);
        if (name.isEmpty())
            return failure(QStringLiteral("No recording for this disk."));
        Result<SmartReport> report = parseSmartctlJson(fixture(QStringLiteral("smart/") + name));
        if (report)
            SmartAnalyzer::grade(*report, target.rotational);
        return report;
    }
    QHash<QByteArray, QString> recordings{
        {"/dev/vda", QStringLiteral("virtio-unable-to-detect.json")},
        {"/dev/loop0", QStringLiteral("sata-hdd-st2000dm006.json")}};
    std::atomic<int> reads = 0;
};

QString cardText(const QFrame* card) {
    QStringList texts;
    for (const QLabel* label : card->findChildren<QLabel*>())
        texts << label->text();
    return texts.join(QLatin1Char('\n'));
}

QFrame* cardOf(const QWidget& page, const QString& identifier) {
    for (QFrame* card : page.findChildren<QFrame*>(QStringLiteral("diskCard")))
        if (cardText(card).contains(identifier + QStringLiteral(" · ")))
            return card;
    return nullptr;
}

TEST(DiskHealthPage, ShowsEveryDiskWithItsGradeOrWhyThereIsNone) {
    test::ManualClock clock;
    auto inventory = std::make_shared<ReplayedInventory>();
    auto reader = std::make_shared<ReplayedSmartReader>();
    DiskHealthPage page(inventory, reader, clock, *QThreadPool::globalInstance());
    page.resize(900, 1400);
    QSignalSpy checked(&page, &DiskHealthPage::checked);
    ASSERT_TRUE(checked.wait(10000));
    page.show();

    const QList<PhysicalDisk> disks = inventory->read().value();
    ASSERT_EQ(disks.size(), 3);
    ASSERT_EQ(disks[1].identifier, QStringLiteral("loop0"));
    ASSERT_EQ(page.findChildren<QFrame*>(QStringLiteral("diskCard")).size(), disks.size());

    // The virtio disk passes no S.M.A.R.T. data: the card says so with smartctl's reason.
    const QFrame* vda = cardOf(page, QStringLiteral("vda"));
    ASSERT_TRUE(vda);
    EXPECT_EQ(vda->findChild<QLabel*>(QStringLiteral("grade"))->text(),
              QStringLiteral("S.M.A.R.T. unavailable"));
    EXPECT_TRUE(vda->findChild<QLabel*>(QStringLiteral("gradeDetail"))
                    ->text()
                    .contains(QStringLiteral("Unable to detect device type")));
    EXPECT_FALSE(vda->findChild<QTableWidget*>());

    // A failed read is a card too, with the failure as its reason.
    const QFrame* loop1 = cardOf(page, QStringLiteral("loop1"));
    ASSERT_TRUE(loop1);
    EXPECT_EQ(loop1->findChild<QLabel*>(QStringLiteral("gradeDetail"))->text(),
              QStringLiteral("No recording for this disk."));

    // The recorded hard disk: one graded row per attribute, its description on hover, the
    // grade of the disk in its colour, and every partition listed.
    const SmartReport hdd = *reader->read({"/dev/loop0", {}, true, true});
    const QFrame* loop0 = cardOf(page, QStringLiteral("loop0"));
    ASSERT_TRUE(loop0);
    EXPECT_EQ(loop0->findChild<QLabel*>(QStringLiteral("grade"))->text(),
              diskHealthStatusTitle(hdd.status));
    const auto* table = loop0->findChild<QTableWidget*>();
    ASSERT_TRUE(table);
    ASSERT_EQ(table->rowCount(), hdd.attributes.size());
    for (int row = 0; row < table->rowCount(); ++row) {
        EXPECT_EQ(table->item(row, 1)->text(), hdd.attributes[row].name);
        EXPECT_EQ(table->item(row, 6)->text(), hdd.attributes[row].label);
        EXPECT_EQ(table->item(row, 1)->toolTip(), hdd.attributes[row].description);
    }
    const QString loop0Text = cardText(loop0);
    for (const DiskPartition& partition : disks[1].partitions) {
        EXPECT_TRUE(loop0Text.contains(partition.identifier) &&
                    loop0Text.contains(partition.content))
            << partition.identifier.toStdString();
    }

    page.grab().save(QDir::tempPath() + QStringLiteral("/disk-health-page.png"));
}

TEST(DiskHealthPage, CheckNowReadsAgainOnceAndStampsTheTime) {
    test::ManualClock clock;
    auto reader = std::make_shared<ReplayedSmartReader>();
    DiskHealthPage page(std::make_shared<ReplayedInventory>(), reader, clock,
                        *QThreadPool::globalInstance());
    QSignalSpy checked(&page, &DiskHealthPage::checked);
    ASSERT_TRUE(checked.wait(10000));
    const int firstReads = reader->reads;
    auto* button = page.findChild<QPushButton*>();
    EXPECT_TRUE(button->isEnabled());

    clock.advance(std::chrono::hours(2));
    button->click();
    EXPECT_FALSE(button->isEnabled());
    page.checkNow(); // ignored while a check is under way
    ASSERT_TRUE(checked.wait(10000));
    EXPECT_EQ(checked.size(), 2);
    EXPECT_EQ(reader->reads, 2 * firstReads);
    EXPECT_TRUE(button->isEnabled());

    bool stamped = false;
    for (const QLabel* label : page.findChildren<QLabel*>())
        stamped |= label->text() == QStringLiteral("Last checked: %1")
                                        .arg(QLocale().toString(clock.now(), QLocale::ShortFormat));
    EXPECT_TRUE(stamped);
}

} // namespace
} // namespace velmox
