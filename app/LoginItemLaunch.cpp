#include "app/LoginItemLaunch.h"

#include "app/LaunchAtLogin.h"

#include <QFile>
#include <unistd.h>

namespace velmox {

namespace {

std::optional<qint64> bootTimeSeconds() {
    QFile file(QStringLiteral("/proc/stat"));
    if (!file.open(QIODevice::ReadOnly))
        return std::nullopt;
    for (const QByteArray& line : file.readAll().split('\n'))
        if (line.startsWith("btime "))
            return line.mid(6).trimmed().toLongLong();
    return std::nullopt;
}

// Field 22 of /proc/PID/stat: start time in clock ticks after boot. The command name
// (field 2) may hold blanks and parentheses, so counting starts after its last ')'.
std::optional<qint64> startTicks(pid_t pid) {
    QFile file(QStringLiteral("/proc/%1/stat").arg(pid));
    if (!file.open(QIODevice::ReadOnly))
        return std::nullopt;
    const QByteArray text = file.readAll();
    const qsizetype close = text.lastIndexOf(')');
    if (close < 0)
        return std::nullopt;
    const QList<QByteArray> fields = text.mid(close + 2).split(' ');
    constexpr int kStartTimeAfterName = 19; // field 22 counted from field 3
    if (fields.size() <= kStartTimeAfterName)
        return std::nullopt;
    bool ok = false;
    const qint64 ticks = fields.at(kStartTimeAfterName).toLongLong(&ok);
    return ok ? std::optional(ticks) : std::nullopt;
}

} // namespace

bool LoginItemLaunch::decide(const Facts& facts) {
    if (facts.arguments.contains(LaunchAtLogin::kLoginItemArgument))
        return true;
    if (!facts.launchAtLoginOn || !facts.sessionStart)
        return false;
    return facts.sessionStart->secsTo(facts.now) < kFreshSessionSeconds;
}

std::optional<QDateTime> LoginItemLaunch::desktopSessionStart() {
    const pid_t leader = ::getsid(0);
    const auto boot = bootTimeSeconds();
    const long ticksPerSecond = ::sysconf(_SC_CLK_TCK);
    if (leader <= 0 || !boot || ticksPerSecond <= 0)
        return std::nullopt;
    const auto ticks = startTicks(leader);
    if (!ticks)
        return std::nullopt;
    return QDateTime::fromMSecsSinceEpoch(*boot * 1000 + *ticks * 1000 / ticksPerSecond, Qt::UTC);
}

} // namespace velmox
