#include "app/pages/MonitorFormat.h"

#include <QLocale>
#include <algorithm>
#include <cmath>

namespace velmox::monitorformat {

namespace {

QString count(qint64 number, const char* one, const char* many) {
    return QStringLiteral("%1 %2").arg(number).arg(QLatin1String(number == 1 ? one : many));
}

} // namespace

QString percent(double value) {
    return QStringLiteral("%1%").arg(value, 0, 'f', 0);
}

QString gibibytes(double value) {
    return QStringLiteral("%1 GiB").arg(value, 0, 'f', 1);
}

QString bytes(double value) {
    return QLocale::c().formattedDataSize(qint64(value), 1, QLocale::DataSizeSIFormat);
}

QString rate(double bytesPerSecond) {
    return QLocale::c().formattedDataSize(qint64(std::max(0.0, bytesPerSecond)), 1,
                                          QLocale::DataSizeIecFormat) +
           QStringLiteral("/s");
}

QString celsius(double degrees) {
    return QStringLiteral("%1 °C").arg(degrees, 0, 'f', 0);
}

QString rpm(double revolutionsPerMinute) {
    return QLocale::c().toString(qint64(std::llround(revolutionsPerMinute))) +
           QStringLiteral(" RPM");
}

QString uptime(double seconds) {
    const qint64 total = qint64(std::max(0.0, seconds));
    const qint64 days = total / 86400;
    const qint64 hours = total % 86400 / 3600;
    const qint64 minutes = total % 3600 / 60;
    if (days > 0)
        return count(days, "day", "days") + QStringLiteral(", ") + count(hours, "hour", "hours");
    if (hours > 0)
        return count(hours, "hour", "hours") + QStringLiteral(", ") +
               count(minutes, "minute", "minutes");
    return count(minutes, "minute", "minutes");
}

} // namespace velmox::monitorformat
