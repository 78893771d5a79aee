#include "app/pages/DiskHealthPage.h"

#include "app/pages/DiskHealthWidgets.h"
#include "diskhealth/DiskEfiActions.h"
#include "diskhealth/DiskInventory.h"
#include "diskhealth/DiskutilInventory.h"
#include "diskhealth/LsblkInventory.h"
#include "diskhealth/PartitionTypes.h"
#include "diskhealth/SmartAnalyzer.h"
#include "diskhealth/SmartReader.h"
#include "diskhealth/SmartctlJson.h"
#include "services/Settings.h"
#include "tests/diskhealth/PrivateBus.h"
#include "tests/diskhealth/Screenshots.h"
#include "tests/support/ManualClock.h"

#include <QCheckBox>
#include <QFile>
#include <QFrame>
#include <QLabel>
#include <QPushButton>
#include <QSignalSpy>
#include <QTableWidget>
#include <QTest>
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

// The lsblk listings of two machines and a Mac's diskutil list, replayed.
class ReplayedInventory : public DiskInventorySource {
public:
    Result<QList<PhysicalDisk>> read() const override {
        QList<LsblkDevice> roots;
        for (const char* name : {"lsblk-virtio-zram.json", "lsblk-loop-gpt-mbr.json"})
            roots += parseLsblkJson(fixture(QLatin1String(name))).value();
        Result<QList<PhysicalDisk>> disks =
            inventoryFromLsblk(roots, FileSystemSupport::everything());
        disks->append(inventoryFromDiskutil(
                          {fixture(QStringLiteral("diskutil-list-catalina.plist")), {}, {}, {}})
                          ->first());
        return disks;
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

// The page over replayed disks, with the EFI actions of a desktop whose UDisks2 and file
// manager answer on a private bus.
class DiskHealthPageTest : public ::testing::Test {
protected:
    void SetUp() override { ASSERT_TRUE(bus.startStandIn()); }

    test::PrivateBus bus;
    QTemporaryDir dir;
    Settings settings{dir.filePath(QStringLiteral("Velmox.conf"))};
    test::ManualClock clock;
    std::shared_ptr<ReplayedInventory> inventory = std::make_shared<ReplayedInventory>();
    std::shared_ptr<ReplayedSmartReader> reader = std::make_shared<ReplayedSmartReader>();
    DiskHealthPage page{
        inventory,
        reader,
        std::make_shared<LinuxEfiActions>(LinuxEfiActions::Options{bus.bus(), bus.bus(), {}}),
        settings,
        clock,
        *QThreadPool::globalInstance()};
};

TEST_F(DiskHealthPageTest, ShowsEveryDiskWithItsGradeOrWhyThereIsNone) {
    page.resize(900, 1900);
    QSignalSpy checked(&page, &DiskHealthPage::checked);
    ASSERT_TRUE(checked.wait(10000));
    page.show();

    const QList<PhysicalDisk> disks = inventory->read().value();
    ASSERT_EQ(disks.size(), 4);
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
    ASSERT_EQ(disks[1].partitions.size(), 3);
    EXPECT_TRUE(loop0Text.contains(QStringLiteral("A disk image attached as a loop device.")));
    for (const DiskPartition& partition : disks[1].partitions) {
        EXPECT_TRUE(loop0Text.contains(partition.identifier) &&
                    loop0Text.contains(partition.content))
            << partition.identifier.toStdString();
    }
    // The facts with meters: the temperature's marks at the rotating disk's 60 °C and 75 °C.
    const QList<FactMeter*> meters = loop0->findChildren<FactMeter*>();
    EXPECT_EQ(meters.size(), std::count_if(hdd.summary.begin(), hdd.summary.end(),
                                           [](const SmartFact& fact) { return fact.meter; }));
    const auto temperature =
        std::find_if(hdd.summary.begin(), hdd.summary.end(), [](const SmartFact& fact) {
            return fact.label == QStringLiteral("Temperature");
        });
    ASSERT_NE(temperature, hdd.summary.end());
    EXPECT_EQ(temperature->marks, (QList<double>{60 / 80.0, 75 / 80.0}));

    // The partition bar gives each part its share of the width, and a tiny one still shows.
    const auto* bar = loop0->findChild<PartitionBar*>();
    ASSERT_TRUE(bar);
    const auto spans = bar->spans(640);
    ASSERT_EQ(spans.size(), disks[1].partitions.size());
    for (int i = 1; i < spans.size(); ++i)
        EXPECT_EQ(spans[i].first, spans[i - 1].first + spans[i - 1].second);
    EXPECT_LE(spans.last().first + spans.last().second, 640);
    EXPECT_GT(spans[1].second, 2 * spans[0].second); // 24 MiB beside 8 MiB
    for (const auto& [left, width] : spans)
        EXPECT_GE(width, 6);

    // Disks without an EFI partition say so; the Mac disk has one.
    EXPECT_TRUE(cardText(vda).contains(noEfiPartitionText()));
    test::saveScreenshots(page, QStringLiteral("disk-health-page"), settings);
}

TEST_F(DiskHealthPageTest, EfiActionsRunInTheBackgroundAndSayHowTheyEnded) {
    QSignalSpy checked(&page, &DiskHealthPage::checked);
    ASSERT_TRUE(checked.wait(10000));
    auto efiButton = [this](const QString& text) -> QPushButton* {
        for (QPushButton* button : page.findChildren<QPushButton*>())
            if (button->text() == text)
                return button;
        return nullptr;
    };
    QPushButton* mount = efiButton(QStringLiteral("Mount EFI Partition (disk0s1)"));
    ASSERT_TRUE(mount);
    EXPECT_FALSE(
        efiButton(QStringLiteral("Show EFI Partition (disk0s1) in the File Manager"))->isEnabled());

    // Mounted, and shown in the file manager when the switch asks for it.
    QCheckBox* autoOpen = nullptr;
    for (QCheckBox* box : page.findChildren<QCheckBox*>())
        if (box->text() == efiAutoOpenTitle())
            autoOpen = box;
    ASSERT_TRUE(autoOpen);
    autoOpen->setChecked(true);
    EXPECT_TRUE(settings.boolValue(QStringLiteral("efiAutoOpenInFinder"), false));
    QSignalSpy finished(&page, &DiskHealthPage::efiActionFinished);
    mount->click();
    EXPECT_FALSE(mount->isEnabled());
    ASSERT_TRUE(finished.wait(10000));
    EXPECT_EQ(page.efiMessage(),
              "The EFI partition disk0s1 is mounted on /run/media/velmox/EFI disk0s1.");
    QFile shown(bus.shownFile());
    ASSERT_TRUE(shown.open(QIODevice::ReadOnly));
    EXPECT_EQ(shown.readAll(), "file:///run/media/velmox/EFI%20disk0s1\n");

    // The page lists the disks again; a refusal is shown as UDisks2 gave it.
    ASSERT_TRUE(QTest::qWaitFor([this] { return !page.isChecking(); }, 10000));
    efiButton(QStringLiteral("Mount EFI Partition (disk0s1)"))->click();
    ASSERT_TRUE(finished.wait(10000));
    EXPECT_EQ(page.efiMessage(), "The EFI partition disk0s1 could not be mounted: Device "
                                 "/dev/disk0s1 is already mounted at `/run/media/velmox/EFI "
                                 "disk0s1'.");
}

TEST_F(DiskHealthPageTest, CheckNowReadsAgainOnceAndStampsTheTime) {
    QSignalSpy checked(&page, &DiskHealthPage::checked);
    ASSERT_TRUE(checked.wait(10000));
    const int firstReads = reader->reads;
    QPushButton* button = nullptr;
    for (QPushButton* candidate : page.findChildren<QPushButton*>())
        if (candidate->text() == QStringLiteral("Check now"))
            button = candidate;
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
