#pragma once

#include "platform/HostCounters.h"

#include <QByteArray>
#include <QHash>

namespace velmox {

// Host counters from /proc/stat, /proc/meminfo and /proc/net/dev under a root folder
// ("/" for the live system; tests point it at recorded snapshots). An interface counts as
// hardware when <root>/sys/class/net/<name>/device exists.
class ProcHostCounters final : public HostCounters {
public:
    explicit ProcHostCounters(QString root = QStringLiteral("/"));

    std::optional<std::vector<std::uint32_t>> coreTicks() override;
    std::optional<MemoryCounters> memory() override;
    std::optional<QList<InterfaceCounters>> interfaceCounters() override;

    // The parsers, on file contents.
    static std::optional<std::vector<std::uint32_t>> parseStat(std::string_view text);
    static std::optional<MemoryCounters> parseMeminfo(std::string_view text);
    static std::optional<QList<InterfaceCounters>> parseNetDev(std::string_view text);

private:
    bool readFile(const char* relativePath);
    bool isHardwareInterface(const QString& name);

    QString root_;
    QByteArray rootPrefix_;
    std::vector<char> buffer_;
    std::string_view contents_;
    QHash<QString, bool> hardwareInterfaces_;
};

} // namespace velmox
