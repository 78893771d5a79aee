#include "diskhealth/SmartTarget.h"

#include <QDir>
#include <QFile>
#include <QFileInfo>
#include <QRegularExpression>

namespace velmox {

bool SmartTarget::isNvme() const {
    return bus == QLatin1String("nvme");
}

bool SmartTarget::needsSatPassThrough() const {
    return bus == QLatin1String("usb") || bus == QLatin1String("ieee1394") ||
           bus == QLatin1String("firewire") || bus == QLatin1String("thunderbolt");
}

Result<SmartTarget> SmartTarget::fromDeviceName(const QString& name, const QString& sysRoot) {
    QString device = name;
    if (device.startsWith(QLatin1String("/dev/")))
        device = device.mid(5);
    static const QRegularExpression valid(QStringLiteral("^[A-Za-z0-9][A-Za-z0-9._-]*$"));
    if (!valid.match(device).hasMatch())
        return failure(QStringLiteral("'%1' is not a disk name. Give one such as sda, nvme0n1 or "
                                      "/dev/sda.")
                           .arg(name));

    const QString classFolder = sysRoot + QStringLiteral("/class/block/") + device;
    if (!QFileInfo::exists(classFolder))
        return failure(QStringLiteral("There is no disk named '%1' on this computer.").arg(name));
    // A partition's sysfs folder sits inside its whole disk's.
    if (QFileInfo::exists(classFolder + QStringLiteral("/partition")))
        device = QFileInfo(QFileInfo(classFolder).canonicalFilePath()).dir().dirName();

    const QString blockFolder = sysRoot + QStringLiteral("/block/") + device;
    SmartTarget target;
    target.devicePath = QByteArrayLiteral("/dev/") + QFile::encodeName(device);
    QFile rotational(blockFolder + QStringLiteral("/queue/rotational"));
    if (rotational.open(QIODevice::ReadOnly))
        target.rotational = rotational.readAll().trimmed() == "1";
    QFile removable(blockFolder + QStringLiteral("/removable"));
    if (removable.open(QIODevice::ReadOnly))
        target.internal = removable.readAll().trimmed() != "1";

    const QString path = QFileInfo(blockFolder).canonicalFilePath();
    if (device.startsWith(QLatin1String("nvme")))
        target.bus = QStringLiteral("nvme");
    else if (path.contains(QLatin1String("/usb")))
        target.bus = QStringLiteral("usb");
    else if (path.contains(QLatin1String("/virtio")))
        target.bus = QStringLiteral("virtio");
    else if (path.contains(QLatin1String("/ata")))
        target.bus = QStringLiteral("ata");
    else if (path.contains(QLatin1String("/host")))
        target.bus = QStringLiteral("scsi");
    if (target.bus == QLatin1String("usb"))
        target.internal = false;
    return target;
}

} // namespace velmox
