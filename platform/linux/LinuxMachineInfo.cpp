#include "platform/linux/LinuxMachineInfo.h"

#include <QDir>
#include <QFile>
#include <QFileInfo>
#include <QHash>
#include <QSet>
#include <arpa/inet.h>
#include <ifaddrs.h>
#include <limits>
#include <net/if.h>
#include <net/route.h>
#include <netdb.h>
#include <sys/statvfs.h>

namespace velmox {

namespace {

// "0-3,8,10-11" -> {0,1,2,3,8,10,11}
QList<int> parseCpuList(const QString& text) {
    QList<int> cpus;
    for (const QString& part : text.split(QLatin1Char(','), Qt::SkipEmptyParts)) {
        const QStringList range = part.trimmed().split(QLatin1Char('-'));
        bool okFirst = false, okLast = true;
        const int first = range.value(0).toInt(&okFirst);
        const int last = range.size() > 1 ? range.value(1).toInt(&okLast) : first;
        if (!okFirst || !okLast || last < first)
            continue;
        for (int cpu = first; cpu <= last; ++cpu)
            cpus.append(cpu);
    }
    return cpus;
}

QString vendorName(const QString& pciVendor) {
    if (pciVendor == QLatin1String("0x8086"))
        return QStringLiteral("Intel");
    if (pciVendor == QLatin1String("0x1002"))
        return QStringLiteral("AMD");
    if (pciVendor == QLatin1String("0x10de"))
        return QStringLiteral("NVIDIA");
    if (pciVendor == QLatin1String("0x106b"))
        return QStringLiteral("Apple");
    return {};
}

} // namespace

LinuxMachineInfo::LinuxMachineInfo(QString root)
    : root_(root.endsWith(QLatin1Char('/')) ? root : root + QLatin1Char('/')) {}

QString LinuxMachineInfo::path(const QString& relative) const {
    return root_ + relative;
}

QString LinuxMachineInfo::readTrimmed(const QString& relative) const {
    QFile file(path(relative));
    if (!file.open(QIODevice::ReadOnly))
        return {};
    // The device tree ends its strings with a NUL.
    return QString::fromUtf8(file.readAll()).remove(QChar(0)).trimmed();
}

QString LinuxMachineInfo::modelIdentifier() {
    const QString product = readTrimmed(QStringLiteral("sys/devices/virtual/dmi/id/product_name"));
    return product.isEmpty() ? readTrimmed(QStringLiteral("proc/device-tree/model")) : product;
}

QString LinuxMachineInfo::modelName() {
    const QString product = modelIdentifier();
    const QString vendor = readTrimmed(QStringLiteral("sys/devices/virtual/dmi/id/sys_vendor"));
    if (product.isEmpty())
        return QStringLiteral("Unknown computer");
    if (vendor.isEmpty() || product.startsWith(vendor, Qt::CaseInsensitive))
        return product;
    return vendor + QLatin1Char(' ') + product;
}

int LinuxMachineInfo::countCores(const QString& cpuListFile, bool wholeMachine) const {
    QList<int> cpus = parseCpuList(readTrimmed(cpuListFile));
    if (cpus.isEmpty() && wholeMachine)
        cpus = parseCpuList(readTrimmed(QStringLiteral("sys/devices/system/cpu/present")));
    QSet<QString> cores;
    for (int cpu : cpus) {
        const QString topology = QStringLiteral("sys/devices/system/cpu/cpu%1/topology/").arg(cpu);
        const QString package = readTrimmed(topology + QStringLiteral("physical_package_id"));
        const QString core = readTrimmed(topology + QStringLiteral("core_id"));
        cores.insert(core.isEmpty() ? QString::number(cpu) : package + QLatin1Char(':') + core);
    }
    return int(cores.size());
}

QString LinuxMachineInfo::processorInfo() {
    QString brand;
    QFile cpuinfo(path(QStringLiteral("proc/cpuinfo")));
    if (cpuinfo.open(QIODevice::ReadOnly)) {
        const QStringList lines = QString::fromUtf8(cpuinfo.readAll()).split(QLatin1Char('\n'));
        for (const QString& line : lines) {
            const QString key = line.section(QLatin1Char(':'), 0, 0).trimmed();
            if (key == QLatin1String("model name") || key == QLatin1String("Hardware") ||
                key == QLatin1String("Model")) {
                brand = line.section(QLatin1Char(':'), 1).trimmed();
                if (key == QLatin1String("model name"))
                    break;
            }
        }
    }
    const int performance = countCores(QStringLiteral("sys/devices/cpu_core/cpus"), false);
    const int efficiency = countCores(QStringLiteral("sys/devices/cpu_atom/cpus"), false);
    const int physical = countCores(QStringLiteral("sys/devices/system/cpu/online"), true);
    return processorInfoText(brand, performance, efficiency, physical);
}

QStringList LinuxMachineInfo::gpuDevices() const {
    const QDir drm(path(QStringLiteral("sys/class/drm")));
    QStringList devices;
    for (const QString& card :
         drm.entryList({QStringLiteral("card*")}, QDir::Dirs | QDir::NoDotAndDotDot))
        if (!card.contains(QLatin1Char('-'))) // card0-HDMI-A-1 and the like are connectors
            devices.append(QStringLiteral("sys/class/drm/") + card + QStringLiteral("/device/"));
    return devices;
}

QString LinuxMachineInfo::gpuModel() {
    QStringList names;
    for (const QString& device : gpuDevices()) {
        const QString vendor = vendorName(readTrimmed(device + QStringLiteral("vendor")));
        const QString driver = QFileInfo(path(device + QStringLiteral("driver"))).symLinkTarget();
        const QString driverName = driver.isEmpty() ? QString() : QFileInfo(driver).fileName();
        QString name = vendor.isEmpty() ? QStringLiteral("GPU") : vendor + QStringLiteral(" GPU");
        if (!driverName.isEmpty())
            name += QStringLiteral(" (%1)").arg(driverName);
        if (!names.contains(name))
            names.append(name);
    }
    return names.join(QStringLiteral(", "));
}

std::optional<double> LinuxMachineInfo::gpuUtilization() {
    for (const QString& device : gpuDevices()) {
        bool ok = false;
        const double busy = readTrimmed(device + QStringLiteral("gpu_busy_percent")).toDouble(&ok);
        if (ok)
            return busy;
    }
    return std::nullopt;
}

std::optional<double> LinuxMachineInfo::uptimeSeconds() {
    bool ok = false;
    const double seconds =
        readTrimmed(QStringLiteral("proc/uptime")).section(QLatin1Char(' '), 0, 0).toDouble(&ok);
    return ok ? std::optional<double>(seconds) : std::nullopt;
}

std::optional<VolumeSpace> LinuxMachineInfo::startupVolumeSpace() {
    struct statvfs info {};
    if (::statvfs(QFile::encodeName(root_).constData(), &info) != 0)
        return std::nullopt;
    return VolumeSpace{std::uint64_t(info.f_blocks) * info.f_frsize,
                       std::uint64_t(info.f_bavail) * info.f_frsize,
                       std::uint64_t(info.f_bfree) * info.f_frsize};
}

QString LinuxMachineInfo::hostName() {
    return readTrimmed(QStringLiteral("proc/sys/kernel/hostname"));
}

QString LinuxMachineInfo::osName() {
    QString pretty;
    QString name;
    const QStringList lines =
        readTrimmed(QStringLiteral("etc/os-release")).split(QLatin1Char('\n'));
    for (const QString& line : lines) {
        QString value = line.section(QLatin1Char('='), 1).trimmed();
        if (value.size() >= 2 &&
            (value.front() == QLatin1Char('"') || value.front() == QLatin1Char('\'')) &&
            value.back() == value.front())
            value = value.mid(1, value.size() - 2);
        if (line.startsWith(QLatin1String("PRETTY_NAME=")))
            pretty = value;
        else if (line.startsWith(QLatin1String("NAME=")))
            name = value;
    }
    return pretty.isEmpty() ? name : pretty;
}

QList<NetworkAddress> LinuxMachineInfo::activeIPv4Interfaces() {
    QList<NetworkAddress> result;
    ifaddrs* list = nullptr;
    if (::getifaddrs(&list) != 0)
        return result;
    for (const ifaddrs* entry = list; entry; entry = entry->ifa_next) {
        if (!entry->ifa_addr || entry->ifa_addr->sa_family != AF_INET)
            continue;
        const unsigned flags = entry->ifa_flags;
        if (!(flags & IFF_UP) || !(flags & IFF_RUNNING) || (flags & IFF_LOOPBACK))
            continue;
        const QString name = QString::fromLocal8Bit(entry->ifa_name);
        const bool listed =
            std::any_of(result.cbegin(), result.cend(),
                        [&name](const NetworkAddress& a) { return a.interfaceName == name; });
        if (listed)
            continue;
        char host[NI_MAXHOST] = {};
        if (::getnameinfo(entry->ifa_addr, sizeof(sockaddr_in), host, sizeof host, nullptr, 0,
                          NI_NUMERICHOST) == 0)
            result.append({name, QString::fromLatin1(host)});
    }
    ::freeifaddrs(list);
    return byDefaultRoute(std::move(result));
}

// /proc/net/route: a header line, then "Iface Destination Gateway Flags RefCnt Use Metric
// Mask ..." per route, addresses and masks in hexadecimal.
QList<NetworkAddress> LinuxMachineInfo::byDefaultRoute(QList<NetworkAddress> addresses) const {
    QFile table(path(QStringLiteral("proc/net/route")));
    if (!table.open(QIODevice::ReadOnly))
        return addresses;
    QHash<QString, qulonglong> metrics;
    table.readLine();
    while (!table.atEnd()) {
        const QList<QByteArray> fields = table.readLine().simplified().split(' ');
        if (fields.size() < 8)
            continue;
        bool destinationOk = false, flagsOk = false, metricOk = false, maskOk = false;
        const uint destination = fields[1].toUInt(&destinationOk, 16);
        const uint flags = fields[3].toUInt(&flagsOk, 16);
        const qulonglong metric = fields[6].toULongLong(&metricOk);
        const uint mask = fields[7].toUInt(&maskOk, 16);
        if (!destinationOk || !flagsOk || !metricOk || !maskOk || destination != 0 || mask != 0 ||
            !(flags & RTF_UP))
            continue;
        const QString name = QString::fromLocal8Bit(fields[0]);
        const auto known = metrics.constFind(name);
        if (known == metrics.cend() || metric < *known)
            metrics.insert(name, metric);
    }
    const auto rank = [&metrics](const NetworkAddress& address) {
        return metrics.value(address.interfaceName, std::numeric_limits<qulonglong>::max());
    };
    std::stable_sort(
        addresses.begin(), addresses.end(),
        [&rank](const NetworkAddress& a, const NetworkAddress& b) { return rank(a) < rank(b); });
    return addresses;
}

QString LinuxMachineInfo::thermalState() {
    const QDir thermal(path(QStringLiteral("sys/class/thermal")));
    const QStringList zones =
        thermal.entryList({QStringLiteral("thermal_zone*")}, QDir::Dirs | QDir::NoDotAndDotDot);
    int level = -1; // -1 unknown, 0 nominal, 1 fair, 2 serious, 3 critical
    for (const QString& zone : zones) {
        const QString folder = QStringLiteral("sys/class/thermal/") + zone + QLatin1Char('/');
        bool ok = false;
        const qlonglong temp = readTrimmed(folder + QStringLiteral("temp")).toLongLong(&ok);
        if (!ok)
            continue;
        level = std::max(level, 0);
        for (int trip = 0; trip < 32; ++trip) {
            const QString prefix = folder + QStringLiteral("trip_point_%1_").arg(trip);
            const QString type = readTrimmed(prefix + QStringLiteral("type"));
            if (type.isEmpty())
                break;
            bool tripOk = false;
            const qlonglong limit =
                readTrimmed(prefix + QStringLiteral("temp")).toLongLong(&tripOk);
            if (!tripOk || limit <= 0 || temp < limit)
                continue;
            if (type == QLatin1String("critical"))
                level = std::max(level, 3);
            else if (type == QLatin1String("hot"))
                level = std::max(level, 2);
            else if (type == QLatin1String("passive"))
                level = std::max(level, 1);
        }
    }
    static const char* const names[] = {"unknown", "nominal", "fair", "serious", "critical"};
    return QString::fromLatin1(names[level + 1]);
}

std::unique_ptr<MachineInfo> systemMachineInfo() {
    return std::make_unique<LinuxMachineInfo>();
}

} // namespace velmox
