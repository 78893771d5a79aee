// Renders the Fan & Temperature page from a hwmon tree, in both appearances, so its look
// can be checked by eye with several chips: processor, graphics, drives and fans.
//   fantemp_look OUTPUT_FOLDER [HWMON_ROOT]
// Without HWMON_ROOT it lays out a tree of its own (a desktop with coretemp, amdgpu, two
// NVMe controllers, a SATA drive, a board chip with three fans) and varies it between
// reads so the histories have a shape.
#include "app/Appearance.h"
#include "app/pages/FanTempPage.h"
#include "app/pages/MonitorDemand.h"
#include "monitor/NamedSensorReader.h"
#include "monitor/SystemMonitorEngine.h"
#include "platform/linux/HwmonSensorSource.h"
#include "services/Settings.h"

#include <QApplication>
#include <QDir>
#include <QFile>
#include <QTemporaryDir>
#include <QTextStream>
#include <cmath>
#include <cstdio>

namespace velmox {
namespace {

void write(const QString& path, const QByteArray& contents) {
    QDir().mkpath(QFileInfo(path).path());
    QFile file(path);
    if (file.open(QIODevice::WriteOnly))
        file.write(contents);
}

struct Input {
    const char* chip;
    const char* file;
    const char* label;
    double base; // millidegrees or RPM
    double swing;
};

const Input desktop[] = {
    {"hwmon0/coretemp", "temp1", "Package id 0", 52000, 9000},
    {"hwmon0/coretemp", "temp2", "Core 0", 49000, 11000},
    {"hwmon0/coretemp", "temp3", "Core 1", 50000, 8000},
    {"hwmon0/coretemp", "temp4", "Core 2", 47000, 12000},
    {"hwmon0/coretemp", "temp5", "Core 3", 51000, 7000},
    {"hwmon1/amdgpu", "temp1", "edge", 44000, 6000},
    {"hwmon1/amdgpu", "temp2", "junction", 47000, 8000},
    {"hwmon1/amdgpu", "temp3", "mem", 50000, 2000},
    {"hwmon1/amdgpu", "fan1", nullptr, 0, 0},
    {"hwmon2/nvme", "temp1", "Composite", 38850, 1500},
    {"hwmon2/nvme", "temp2", "Sensor 1", 41850, 1500},
    {"hwmon3/drivetemp", "temp1", nullptr, 31000, 500},
    {"hwmon4/nct6798", "temp1", "SYSTIN", 33000, 1000},
    {"hwmon4/nct6798", "fan1", nullptr, 812, 40},
    {"hwmon4/nct6798", "fan2", nullptr, 1190, 120},
    {"hwmon4/nct6798", "fan3", nullptr, 0, 0},
    {"hwmon5/acpitz", "temp1", nullptr, 27800, 0},
    {"hwmon6/nvme", "temp1", "Composite", 36850, 1000},
};

// Where the drive chips' device links would lead: their disks.
const char* const diskFolders[] = {"hwmon2/device/nvme0n1", "hwmon3/device/block/sda",
                                   "hwmon6/device/nvme1n1"};

void layOut(const QString& root, int step) {
    for (const char* disk : diskFolders)
        QDir().mkpath(root + QLatin1Char('/') + QLatin1String(disk));
    for (const Input& input : desktop) {
        const QString chip = QString::fromLatin1(input.chip);
        const QString folder = root + QLatin1Char('/') + chip.section(QLatin1Char('/'), 0, 0);
        write(folder + "/name", chip.section(QLatin1Char('/'), 1).toLatin1() + '\n');
        const QString stem = folder + QLatin1Char('/') + QLatin1String(input.file);
        const double value = input.base + input.swing * std::sin(step * 0.45 + input.base);
        write(stem + "_input", QByteArray::number(qlonglong(value)) + '\n');
        if (input.label)
            write(stem + "_label", QByteArray(input.label) + '\n');
    }
}

int run(const QString& outputFolder, const QString& givenRoot) {
    QTemporaryDir scratch;
    const QString root =
        givenRoot.isEmpty() ? scratch.filePath(QStringLiteral("hwmon")) : givenRoot;
    Settings settings(scratch.filePath(QStringLiteral("Velmox.conf")));
    SystemMonitorEngine engine(settings, SystemClock::shared(), SystemMonitorEngine::Sources{});
    MonitorDemand demand(engine);
    AppearanceController appearance(settings);

    for (const char* theme : {"dark", "light"}) {
        if (const Status saved = settings.setValue(kAppearanceKey, QString::fromLatin1(theme));
            !saved) {
            std::fprintf(stderr, "%s\n", qPrintable(saved.error()));
            return 1;
        }
        appearance.apply();
        FanTempPage page(demand);
        page.resize(960, 1180);
        for (int step = 0; step < 30; ++step) {
            if (givenRoot.isEmpty())
                layOut(root, step);
            // A fresh reader each time: the tree may change between reads.
            NamedSensorReader reader(std::make_unique<HwmonSensorSource>(root),
                                     SystemClock::shared());
            page.showReadings(reader.read());
        }
        page.show();
        QApplication::processEvents();
        const QString file =
            QDir(outputFolder).filePath(QStringLiteral("fantemp-%1.png").arg(theme));
        if (!page.grab().save(file)) {
            QTextStream(stderr) << "Could not save " << file << ".\n";
            return 1;
        }
        QTextStream(stdout) << file << '\n';
    }
    return 0;
}

} // namespace
} // namespace velmox

int main(int argc, char** argv) {
    QApplication app(argc, argv);
    const QStringList args = app.arguments();
    if (args.size() < 2) {
        QTextStream(stderr) << "Usage: fantemp_look OUTPUT_FOLDER [HWMON_ROOT]\n";
        return 2;
    }
    return velmox::run(args.at(1), args.value(2));
}
