#include "platform/linux/HwmonSensorSource.h"

#include "platform/linux/AppleSmcSysfs.h"

#include <QDir>
#include <QFile>
#include <QRegularExpression>
#include <algorithm>

namespace velmox {

namespace {

QString readTrimmed(const QString& path) {
    QFile file(path);
    if (!file.open(QIODevice::ReadOnly))
        return {};
    return QString::fromUtf8(file.readAll()).trimmed();
}

int trailingNumber(const QString& name) {
    static const QRegularExpression digits(QStringLiteral("(\\d+)$"));
    const auto match = digits.match(name);
    return match.hasMatch() ? match.captured(1).toInt() : 0;
}

// The inputs of one folder, in numeric order (hwmon10 after hwmon9, temp10 after temp9).
QStringList sortedByNumber(QStringList names, const QString& inputSuffix = {}) {
    std::sort(names.begin(), names.end(), [&](const QString& a, const QString& b) {
        const int na = trailingNumber(QString(a).remove(inputSuffix));
        const int nb = trailingNumber(QString(b).remove(inputSuffix));
        return na != nb ? na < nb : a < b;
    });
    return names;
}

QString firstEntry(const QDir& folder, const QRegularExpression& pattern) {
    for (const QString& entry : folder.entryList(QDir::Dirs | QDir::NoDotAndDotDot, QDir::Name))
        if (pattern.match(entry).hasMatch())
            return entry;
    return {};
}

// The disk a drive chip measures; empty for other chips.
QString diskOf(const QDir& chipFolder, const QString& chip) {
    if (chip == QLatin1String("drivetemp")) {
        static const QRegularExpression anyDisk(QStringLiteral("^\\w+$"));
        return firstEntry(QDir(chipFolder.filePath(QStringLiteral("device/block"))), anyDisk);
    }
    if (chip == QLatin1String("nvme")) {
        // With multipath the controller holds "nvme0c0n1" and the disk is "nvme0n1".
        static const QRegularExpression nameSpace(QStringLiteral("^(nvme\\d+)(?:c\\d+)?(n\\d+)$"));
        const QDir controller(chipFolder.filePath(QStringLiteral("device")));
        const auto match = nameSpace.match(firstEntry(controller, nameSpace));
        return match.hasMatch() ? match.captured(1) + match.captured(2) : QString();
    }
    return {};
}

void addInputs(QList<NamedSensorService>& services, const QDir& folder, const QString& chip,
               const QString& disk, const QString& prefix, SensorKind kind) {
    const QString suffix = QStringLiteral("_input");
    const QStringList inputs = folder.entryList({prefix + QLatin1Char('*') + suffix}, QDir::Files);
    for (const QString& input : sortedByNumber(inputs, suffix)) {
        const QString stem = input.left(input.size() - suffix.size());
        QString label = readTrimmed(folder.filePath(stem + QStringLiteral("_label")));
        if (label.isEmpty())
            label = stem;
        QString name = chip + QLatin1Char(' ') + label;
        if (!disk.isEmpty())
            name += QStringLiteral(" (%1)").arg(disk);
        services.append({name, folder.filePath(input), kind, disk});
    }
}

} // namespace

HwmonSensorSource::HwmonSensorSource(QString root, QSet<QString> skippedChips)
    : root_(std::move(root)), skippedChips_(std::move(skippedChips)) {}

std::optional<QList<NamedSensorService>> HwmonSensorSource::discover() {
    const QDir root(root_);
    if (!root.exists())
        return std::nullopt;
    QList<NamedSensorService> services;
    const QStringList chips =
        root.entryList({QStringLiteral("hwmon*")}, QDir::Dirs | QDir::NoDotAndDotDot);
    for (const QString& entry : sortedByNumber(chips)) {
        QDir folder(root.filePath(entry));
        QString chip = readTrimmed(folder.filePath(QStringLiteral("name")));
        if (chip.isEmpty())
            chip = readTrimmed(folder.filePath(QStringLiteral("device/name")));
        if (chip.isEmpty())
            chip = entry;
        if (skippedChips_.contains(chip))
            continue;
        const QString disk = diskOf(folder, chip);
        const qsizetype before = services.size();
        addInputs(services, folder, chip, disk, QStringLiteral("temp"), SensorKind::temperature);
        addInputs(services, folder, chip, disk, QStringLiteral("fan"), SensorKind::fan);
        if (services.size() == before) {
            const QDir device(folder.filePath(QStringLiteral("device")));
            addInputs(services, device, chip, disk, QStringLiteral("temp"),
                      SensorKind::temperature);
            addInputs(services, device, chip, disk, QStringLiteral("fan"), SensorKind::fan);
        }
    }
    return services;
}

std::optional<double> HwmonSensorSource::read(const NamedSensorService& service) {
    QFile file(service.handle);
    if (!file.open(QIODevice::ReadOnly | QIODevice::Unbuffered))
        return std::nullopt;
    bool ok = false;
    const qlonglong raw = file.readAll().trimmed().toLongLong(&ok);
    if (!ok)
        return std::nullopt;
    return service.kind == SensorKind::temperature ? double(raw) / 1000.0 : double(raw);
}

std::unique_ptr<NamedSensorSource> systemNamedSensorSource() {
    // With the SMC's keys readable directly, applesmc's own hwmon copies would repeat them.
    QSet<QString> skipped;
    if (AppleSmcSysfs::open())
        skipped.insert(QStringLiteral("applesmc"));
    return std::make_unique<HwmonSensorSource>(QString::fromLatin1(HwmonSensorSource::defaultRoot),
                                               skipped);
}

} // namespace velmox
