#include "platform/linux/ProcHostCounters.h"

#include <QFile>
#include <QFileInfo>
#include <algorithm>
#include <charconv>
#include <fcntl.h>
#include <unistd.h>

namespace velmox {

namespace {

constexpr std::size_t initialBufferSize = 64 * 1024;

std::string_view nextLine(std::string_view& text) {
    const std::size_t end = text.find('\n');
    const std::string_view line = text.substr(0, end);
    text = end == std::string_view::npos ? std::string_view{} : text.substr(end + 1);
    return line;
}

// Reads unsigned decimal fields separated by blanks; stops at the first non-number.
std::size_t readNumbers(std::string_view text, std::uint64_t* values, std::size_t capacity) {
    std::size_t count = 0;
    const char* cursor = text.data();
    const char* end = text.data() + text.size();
    while (count < capacity) {
        while (cursor < end && (*cursor == ' ' || *cursor == '\t'))
            ++cursor;
        if (cursor == end)
            break;
        const auto [next, error] = std::from_chars(cursor, end, values[count]);
        if (error != std::errc())
            break;
        cursor = next;
        ++count;
    }
    return count;
}

} // namespace

ProcHostCounters::ProcHostCounters(QString root)
    : root_(root.endsWith(QLatin1Char('/')) ? root : root + QLatin1Char('/')),
      rootPrefix_(QFile::encodeName(root_)), buffer_(initialBufferSize) {}

bool ProcHostCounters::readFile(const char* relativePath) {
    const QByteArray path = rootPrefix_ + relativePath;
    const int fd = ::open(path.constData(), O_RDONLY | O_CLOEXEC);
    if (fd < 0)
        return false;
    std::size_t used = 0;
    for (;;) {
        if (used == buffer_.size())
            buffer_.resize(buffer_.size() * 2);
        const ssize_t got = ::read(fd, buffer_.data() + used, buffer_.size() - used);
        if (got < 0) {
            ::close(fd);
            return false;
        }
        if (got == 0)
            break;
        used += std::size_t(got);
    }
    ::close(fd);
    contents_ = std::string_view(buffer_.data(), used);
    return true;
}

// /proc/stat's per-core lines hold user, nice, system, idle, iowait, irq, softirq, steal
// (guest time is already inside user and nice). Interrupt work counts as system time;
// waiting for input/output and time taken by the hypervisor count as idle. Counters are
// kept to 32 bits, so that differences wrap the same way on every platform.
std::optional<std::vector<std::uint32_t>> ProcHostCounters::parseStat(std::string_view text) {
    std::vector<std::uint32_t> ticks;
    while (!text.empty()) {
        const std::string_view line = nextLine(text);
        if (!line.starts_with("cpu"))
            break;
        if (line.size() < 4 || line[3] < '0' || line[3] > '9')
            continue; // the all-cores "cpu" line
        std::uint64_t f[8] = {};
        const std::size_t space = line.find(' ');
        if (space == std::string_view::npos || readNumbers(line.substr(space), f, 8) < 4)
            return std::nullopt;
        const auto [user, nice, system, idle, iowait, irq, softirq, steal] = f;
        ticks.push_back(std::uint32_t(user));
        ticks.push_back(std::uint32_t(system + irq + softirq));
        ticks.push_back(std::uint32_t(idle + iowait + steal));
        ticks.push_back(std::uint32_t(nice));
    }
    if (ticks.empty())
        return std::nullopt;
    return ticks;
}

// From /proc/meminfo (kB):
// - compressed = Zswap: memory holding compressed swapped-out pages (0 without zswap);
// - wired = SUnreclaim + KernelStack + PageTables + SecPageTables + Percpu: kernel memory
//   that can be neither paged out nor reclaimed;
// - app = MemTotal - MemAvailable - wired - compressed: process memory (AnonPages, Shmem)
//   and whatever else the kernel cannot hand back.
// So app + wired + compressed is MemTotal - MemAvailable, which is what `free` reports
// as used. Kernels without MemAvailable get MemFree + Buffers + Cached + SReclaimable.
std::optional<MemoryCounters> ProcHostCounters::parseMeminfo(std::string_view text) {
    struct Field {
        std::string_view name;
        std::uint64_t value = 0;
        bool seen = false;
    };
    Field fields[] = {{"MemTotal"},   {"MemAvailable"},  {"MemFree"},    {"Buffers"},
                      {"Cached"},     {"SReclaimable"},  {"SUnreclaim"}, {"KernelStack"},
                      {"PageTables"}, {"SecPageTables"}, {"Percpu"},     {"Zswap"}};
    while (!text.empty()) {
        const std::string_view line = nextLine(text);
        const std::size_t colon = line.find(':');
        if (colon == std::string_view::npos)
            continue;
        const std::string_view name = line.substr(0, colon);
        for (Field& field : fields) {
            if (field.name == name) {
                field.seen = readNumbers(line.substr(colon + 1), &field.value, 1) == 1;
                break;
            }
        }
    }
    const auto find = [&fields](std::string_view name) -> const Field& {
        return *std::find_if(std::begin(fields), std::end(fields),
                             [name](const Field& field) { return field.name == name; });
    };
    const auto kib = [&find](std::string_view name) { return find(name).value * 1024; };
    if (!find("MemTotal").seen || kib("MemTotal") == 0)
        return std::nullopt;
    const std::uint64_t total = kib("MemTotal");
    const std::uint64_t available =
        find("MemAvailable").seen
            ? kib("MemAvailable")
            : kib("MemFree") + kib("Buffers") + kib("Cached") + kib("SReclaimable");
    const std::uint64_t used = total > available ? total - available : 0;
    MemoryCounters memory;
    memory.physical = total;
    memory.compressed = kib("Zswap");
    memory.wired = kib("SUnreclaim") + kib("KernelStack") + kib("PageTables") +
                   kib("SecPageTables") + kib("Percpu");
    const std::uint64_t other = memory.wired + memory.compressed;
    memory.app = used > other ? used - other : 0;
    return memory;
}

// /proc/net/dev: two header lines, then "name: rx_bytes rx_packets ... (8 receive
// fields) tx_bytes ..." per interface.
std::optional<QList<InterfaceCounters>> ProcHostCounters::parseNetDev(std::string_view text) {
    if (text.empty())
        return std::nullopt;
    nextLine(text);
    nextLine(text);
    QList<InterfaceCounters> counters;
    while (!text.empty()) {
        const std::string_view line = nextLine(text);
        const std::size_t colon = line.find(':');
        if (colon == std::string_view::npos)
            continue;
        std::string_view name = line.substr(0, colon);
        while (!name.empty() && name.front() == ' ')
            name.remove_prefix(1);
        std::uint64_t f[9] = {};
        if (readNumbers(line.substr(colon + 1), f, 9) < 9)
            return std::nullopt;
        counters.append({QString::fromLatin1(name.data(), qsizetype(name.size())), f[0], f[8]});
    }
    return counters;
}

std::optional<std::vector<std::uint32_t>> ProcHostCounters::coreTicks() {
    return readFile("proc/stat") ? parseStat(contents_) : std::nullopt;
}

std::optional<MemoryCounters> ProcHostCounters::memory() {
    return readFile("proc/meminfo") ? parseMeminfo(contents_) : std::nullopt;
}

bool ProcHostCounters::isHardwareInterface(const QString& name) {
    const auto known = hardwareInterfaces_.constFind(name);
    if (known != hardwareInterfaces_.cend())
        return *known;
    const bool hardware = QFileInfo::exists(root_ + QStringLiteral("sys/class/net/") + name +
                                            QStringLiteral("/device"));
    hardwareInterfaces_.insert(name, hardware);
    return hardware;
}

std::optional<QList<InterfaceCounters>> ProcHostCounters::interfaceCounters() {
    if (!readFile("proc/net/dev"))
        return std::nullopt;
    auto all = parseNetDev(contents_);
    if (!all)
        return std::nullopt;
    all->removeIf([this](const InterfaceCounters& c) { return !isHardwareInterface(c.name); });
    return all;
}

std::unique_ptr<HostCounters> systemHostCounters() {
    return std::make_unique<ProcHostCounters>();
}

} // namespace velmox
