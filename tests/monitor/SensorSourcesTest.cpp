#include "monitor/SMCHelper.h"
#include "monitor/SensorChoice.h"
#include "platform/linux/AppleSmcSysfs.h"
#include "platform/linux/HwmonSensorSource.h"
#include "tests/monitor/SimulatedSmc.h"
#include "tests/support/ManualClock.h"
#include "tests/support/TestFiles.h"

#include <QDir>
#include <QFile>
#include <QTemporaryDir>
#include <gtest/gtest.h>
#include <set>
#include <unistd.h>

namespace velmox {
namespace {

using namespace std::chrono_literals;
using test::writeFile;

// The applesmc driver's attributes over a recorded key table: writing key_at_index selects
// a key, the key_at_index_* attributes then describe it, as the driver does. Selecting an
// index listed in `busyOnce` fails the first time, as the driver does when the SMC does
// not answer in time.
class DriverAttributes final : public AppleSmcSysfs::Attributes {
public:
    DriverAttributes(std::vector<test::SimulatedSmc::Key> keys, int* writes,
                     std::set<std::size_t> busyOnce = {})
        : keys_(std::move(keys)), writes_(writes), busyOnce_(std::move(busyOnce)) {}
    std::optional<QByteArray> read(const QString& name) override {
        if (name == QLatin1String("key_count"))
            return QByteArray::number(qsizetype(keys_.size())) + '\n';
        if (selected_ >= keys_.size())
            return std::nullopt;
        const auto& key = keys_[selected_];
        if (name == QLatin1String("key_at_index_name"))
            return smcFourCharString(key.code).toLatin1() + '\n';
        if (name == QLatin1String("key_at_index_type"))
            return smcFourCharString(key.type).toLatin1() + '\n';
        if (name == QLatin1String("key_at_index_data_length"))
            return QByteArray::number(key.size) + '\n';
        if (name == QLatin1String("key_at_index_data") && !key.readFails)
            return key.bytes;
        return std::nullopt;
    }
    bool write(const QString& name, const QByteArray& value) override {
        ++*writes_;
        bool ok = false;
        const std::size_t index = value.toUInt(&ok);
        if (name != QLatin1String("key_at_index") || !ok || busyOnce_.erase(index))
            return false;
        selected_ = index;
        return true;
    }

private:
    std::vector<test::SimulatedSmc::Key> keys_;
    std::size_t selected_ = 0;
    int* writes_;
    std::set<std::size_t> busyOnce_;
};

TEST(AppleSmcSysfs, AKeySelectThatFailsOnceHidesNoKeyAndNamesStayBytes) {
    const auto table = test::SimulatedSmc::fromFile(QStringLiteral("MacBookPro11-1.smc"));
    auto recorded = table;
    SMCHelper direct(recorded.opener(), nullptr);

    // One more temperature key, whose name has a byte past ASCII; #KEY counts it.
    std::vector<test::SimulatedSmc::Key> keys = table.keys();
    keys.push_back({0x54c53050u, *smcFourCharCode(QStringLiteral("sp78")), 2, "\x2a\x80"});
    keys.front().bytes = QByteArray::fromHex("00000019");
    const std::size_t tc0e = 13;
    ASSERT_EQ(smcFourCharString(keys[tc0e].code), QStringLiteral("TC0E"));

    int writes = 0;
    SMCHelper viaSysfs(
        [&] {
            return std::make_unique<AppleSmcSysfs>(
                std::make_unique<DriverAttributes>(keys, &writes, std::set{tc0e}));
        },
        nullptr);
    QList<SensorReading> expected = direct.readAllSensors();
    const auto firstFan = std::find_if(expected.cbegin(), expected.cend(),
                                       [](const auto& r) { return r.kind == SensorKind::fan; });
    expected.insert(firstFan, {QStringLiteral("T\u00c50P"), 42.5, SensorKind::temperature});
    EXPECT_EQ(viaSysfs.readAllSensors(), expected)
        << "the keys after the busy index, and the busy key itself, are found";
    EXPECT_EQ(viaSysfs.readKey(QStringLiteral("PTHC")), 40.0) << "flt bytes pass through raw";
    EXPECT_EQ(viaSysfs.readKey(QStringLiteral("ZZZZ")), std::nullopt);
    EXPECT_GT(writes, 0);
}

TEST(AppleSmcSysfs, OpensOnlyAFolderWhoseIndexCanBeSelected) {
    QTemporaryDir folder;
    EXPECT_EQ(AppleSmcSysfs::open(folder.path()), nullptr);

    QFile count(folder.filePath(QStringLiteral("key_count")));
    ASSERT_TRUE(count.open(QIODevice::WriteOnly));
    count.write("546\n");
    count.close();
    QFile selector(folder.filePath(QStringLiteral("key_at_index")));
    ASSERT_TRUE(selector.open(QIODevice::WriteOnly));
    selector.close();
    EXPECT_NE(AppleSmcSysfs::open(folder.path()), nullptr);

    if (::geteuid() != 0) { // root may write anything
        selector.setPermissions(QFileDevice::ReadOwner);
        EXPECT_EQ(AppleSmcSysfs::open(folder.path()), nullptr) << "selecting a key needs root";
    }
}

void linkDevice(const QString& chipFolder, const QString& deviceFolder) {
    QDir().mkpath(deviceFolder);
    ASSERT_TRUE(QFile::link(deviceFolder, chipFolder + "/device"));
}

// A tree laid out like /sys/class/hwmon: a processor, two NVMe controllers (the second
// with a multipath namespace) and a SATA drive whose device links lead to their disks, an
// Intel Mac's applesmc, an old driver that keeps its files under device/, two ACPI zones
// of the same name, and chips numbered past 9.
class HwmonTree : public ::testing::Test {
protected:
    void SetUp() override {
        const QString root = dir.path();
        writeFile(root + "/hwmon0/name", "coretemp\n");
        writeFile(root + "/hwmon0/temp1_input", "45000\n");
        writeFile(root + "/hwmon0/temp1_label", "Package id 0\n");
        writeFile(root + "/hwmon0/temp2_input", "43500\n");
        writeFile(root + "/hwmon0/temp2_label", "Core 0\n");
        writeFile(root + "/hwmon0/temp10_input", "41000\n");
        writeFile(root + "/hwmon0/temp10_label", "Core 8\n");
        writeFile(root + "/hwmon1/name", "nvme\n");
        writeFile(root + "/hwmon1/temp1_input", "38850\n");
        writeFile(root + "/hwmon1/temp1_label", "Composite\n");
        writeFile(root + "/hwmon1/temp2_input", "garbage\n");
        linkDevice(root + "/hwmon1", root + "/devices/pci0000:00/nvme/nvme0");
        QDir().mkpath(root + "/devices/pci0000:00/nvme/nvme0/nvme0n1");
        writeFile(root + "/hwmon2/name", "applesmc\n");
        writeFile(root + "/hwmon2/fan1_input", "1998\n");
        writeFile(root + "/hwmon2/fan1_label", "Exhaust  \n");
        writeFile(root + "/hwmon2/temp1_input", "46250\n");
        writeFile(root + "/hwmon2/temp1_label", "TC0P\n");
        writeFile(root + "/hwmon3/device/name", "it87\n");
        writeFile(root + "/hwmon3/device/temp1_input", "0\n");
        writeFile(root + "/hwmon3/device/fan1_input", "0\n");
        writeFile(root + "/hwmon4/name", "drivetemp\n");
        writeFile(root + "/hwmon4/temp1_input", "31000\n");
        writeFile(root + "/hwmon4/temp1_lowest", "19000\n");
        writeFile(root + "/hwmon4/temp1_crit", "70000\n");
        linkDevice(root + "/hwmon4", root + "/devices/ata1/host0/target0:0:0/0:0:0:0");
        QDir().mkpath(root + "/devices/ata1/host0/target0:0:0/0:0:0:0/block/sda");
        writeFile(root + "/hwmon5/name", "acpitz\n");
        writeFile(root + "/hwmon5/temp1_input", "27800\n");
        writeFile(root + "/hwmon6/name", "acpitz\n");
        writeFile(root + "/hwmon6/temp1_input", "29800\n");
        writeFile(root + "/hwmon10/name", "nvme\n");
        writeFile(root + "/hwmon10/temp1_input", "36850\n");
        writeFile(root + "/hwmon10/temp1_label", "Composite\n");
        writeFile(root + "/hwmon10/temp2_input", "41850\n");
        writeFile(root + "/hwmon10/temp2_label", "Sensor 1\n");
        linkDevice(root + "/hwmon10", root + "/devices/pci0000:01/nvme/nvme1");
        QDir().mkpath(root + "/devices/pci0000:01/nvme/nvme1/nvme1c1n1");
    }
    QTemporaryDir dir;
};

// Sensors come by chip and label in numeric order; unreadable values and 0 degrees drop out.
TEST_F(HwmonTree, NamedReaderOrdersFiltersAndNumbersRepeatedNames) {
    test::ManualClock clock;
    NamedSensorReader reader(std::make_unique<HwmonSensorSource>(dir.path()), clock);
    const QList<SensorReading> expected = {
        {"coretemp Package id 0", 45.0, SensorKind::temperature},
        {"coretemp Core 0", 43.5, SensorKind::temperature},
        {"coretemp Core 8", 41.0, SensorKind::temperature},
        {"nvme Composite (nvme0n1)", 38.85, SensorKind::temperature, "nvme0n1"},
        {"applesmc TC0P", 46.25, SensorKind::temperature},
        {"applesmc Exhaust", 1998.0, SensorKind::fan},
        {"it87 fan1", 0.0, SensorKind::fan}, // a stopped fan stays; 0 degrees does not
        {"drivetemp temp1 (sda)", 31.0, SensorKind::temperature, "sda"},
        {"acpitz temp1", 27.8, SensorKind::temperature},
        {"acpitz temp1 #2", 29.8, SensorKind::temperature},
        {"nvme Composite (nvme1n1)", 36.85, SensorKind::temperature, "nvme1n1"},
        {"nvme Sensor 1 (nvme1n1)", 41.85, SensorKind::temperature, "nvme1n1"}};
    EXPECT_EQ(reader.read(), expected);

    HwmonSensorSource withoutApplesmc(dir.path(), {QStringLiteral("applesmc")});
    EXPECT_EQ(withoutApplesmc.discover()->size(),
              HwmonSensorSource(dir.path()).discover()->size() - 2);
}

TEST_F(HwmonTree, EveryNvmeControllerAndDrivetempDiskIsOneDriveNamedByItsDisk) {
    test::ManualClock clock;
    NamedSensorReader reader(std::make_unique<HwmonSensorSource>(dir.path()), clock);
    const SensorChoice choice = chooseSensors(reader.read());

    EXPECT_EQ(choice.cpuTemp, 45.0);
    EXPECT_EQ(choice.fanRPM, 1998.0);
    EXPECT_EQ(choice.ssdTemp, 38.85);
    EXPECT_EQ(choice.ssdLabel, QStringLiteral("nvme0n1"));
    const QList<DriveStat> expected = {
        {"nvme0n1", "NVMe drive 1", "SSD", "NVMe", false, 38.85, "nvme0n1"},
        {"sda", "Drive 2", "Disk", "SATA", false, 31.0, "sda"},
        {"nvme1n1", "NVMe drive 3", "SSD", "NVMe", false, 36.85, "nvme1n1"}};
    EXPECT_EQ(choice.drives, expected) << "a controller's other sensors are not drives";
}

// Counts how often the sensors are listed, over a real hwmon tree.
class CountingSource final : public NamedSensorSource {
public:
    CountingSource(QString root, int* discoveries)
        : inner_(std::move(root)), discoveries_(discoveries) {}
    std::optional<QList<NamedSensorService>> discover() override {
        ++*discoveries_;
        return inner_.discover();
    }
    std::optional<double> read(const NamedSensorService& service) override {
        return inner_.read(service);
    }

private:
    HwmonSensorSource inner_;
    int* discoveries_;
};

// A missing source is looked for again after a minute, an empty one after five, and a
// list with sensors after an hour.
TEST(NamedSensorReader, ListsSensorsAgainAfterTheirRefreshPeriod) {
    test::ManualClock clock;
    QTemporaryDir dir;
    const QString root = dir.filePath(QStringLiteral("hwmon-not-yet"));
    int discoveries = 0;
    NamedSensorReader reader(std::make_unique<CountingSource>(root, &discoveries), clock);

    EXPECT_TRUE(reader.read().isEmpty());
    clock.advance(60s);
    reader.read();
    EXPECT_EQ(discoveries, 1);
    clock.advance(1s);
    QDir().mkpath(root);
    reader.read();
    EXPECT_EQ(discoveries, 2) << "a missing source is looked for again after 60 seconds";

    clock.advance(300s);
    reader.read();
    EXPECT_EQ(discoveries, 2);
    writeFile(root + "/hwmon0/name", "acpitz\n");
    writeFile(root + "/hwmon0/temp1_input", "27800\n");
    clock.advance(1s);
    const auto readings = reader.read();
    EXPECT_EQ(discoveries, 3) << "an empty list is looked at again after five minutes";
    ASSERT_EQ(readings.size(), 1);
    EXPECT_EQ(readings.first().name, QStringLiteral("acpitz temp1"));

    clock.advance(3600s);
    reader.read();
    EXPECT_EQ(discoveries, 3) << "an hour old list is still fresh";
    clock.advance(1s);
    reader.read();
    EXPECT_EQ(discoveries, 4);
}

} // namespace
} // namespace velmox
