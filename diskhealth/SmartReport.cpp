#include "diskhealth/SmartReport.h"

namespace velmox {

QString smartSourceLabel(SmartSource source) {
    switch (source) {
    case SmartSource::smartmontools:
        return QStringLiteral("Read with smartmontools");
    case SmartSource::directLinux:
        return QStringLiteral("Read directly from the drive through Linux");
    case SmartSource::directMac:
        return QStringLiteral("Read directly from the drive through macOS");
    case SmartSource::diskutilOverall:
        return QStringLiteral("Overall result reported by macOS (diskutil)");
    case SmartSource::macOverall:
        return QStringLiteral("Overall result from macOS");
    }
    return {};
}

QString diskHealthStatusName(DiskHealthStatus status) {
    switch (status) {
    case DiskHealthStatus::healthy:
        return QStringLiteral("healthy");
    case DiskHealthStatus::watch:
        return QStringLiteral("watch");
    case DiskHealthStatus::critical:
        return QStringLiteral("critical");
    case DiskHealthStatus::verified:
        return QStringLiteral("verified");
    case DiskHealthStatus::unavailable:
        return QStringLiteral("unavailable");
    }
    return {};
}

QString diskHealthStatusTitle(DiskHealthStatus status) {
    switch (status) {
    case DiskHealthStatus::healthy:
        return QStringLiteral("S.M.A.R.T. OK");
    case DiskHealthStatus::watch:
        return QStringLiteral("S.M.A.R.T. needs a look");
    case DiskHealthStatus::critical:
        return QStringLiteral("S.M.A.R.T. critical");
    case DiskHealthStatus::verified:
        return QStringLiteral("S.M.A.R.T. Verified");
    case DiskHealthStatus::unavailable:
        return QStringLiteral("S.M.A.R.T. unavailable");
    }
    return {};
}

bool SmartReport::hasDetailedValues() const {
    return !attributes.isEmpty() || healthLog.has_value() || scsi.has_value() ||
           temperatureC.has_value();
}

} // namespace velmox
