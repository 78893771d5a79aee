#include "platform/linux/ProcHostCounters.h"

#include "monitor/CpuLoadSampler.h"
#include "monitor/MemoryFigures.h"
#include "monitor/NetworkRateSampler.h"
#include "tests/monitor/ProcSnapshot.h"

#include <gtest/gtest.h>

namespace velmox {
namespace {

using test::ProcSnapshot;

std::string recorded(const char* snapshot, const char* file) {
    return ProcSnapshot::recorded(QString::fromLatin1(snapshot), QString::fromLatin1(file))
        .toStdString();
}

TEST(ProcHostCounters, ReadsPerCoreTicksAsUserSystemIdleNice) {
    const auto ticks = ProcHostCounters::parseStat(recorded("live-1", "proc/stat"));
    ASSERT_TRUE(ticks);
    // cpu0 58355 0 6848 47408 102 0 85 469: system takes irq and softirq, idle takes
    // iowait and steal.
    EXPECT_EQ(*ticks, (std::vector<std::uint32_t>{58355, 6848 + 0 + 85, 47408 + 102 + 469, 0, 62186,
                                                  7981 + 0 + 93, 41549 + 885 + 544, 0}));
    EXPECT_EQ(ProcHostCounters::parseStat("intr 1 2 3\n"), std::nullopt);
    EXPECT_EQ(ProcHostCounters::parseStat("cpu0 12 x\n"), std::nullopt);
}

TEST(ProcHostCounters, UsedMemoryMatchesWhatFreeReported) {
    const auto memory = ProcHostCounters::parseMeminfo(recorded("live-2", "proc/meminfo"));
    ASSERT_TRUE(memory);
    EXPECT_EQ(memory->physical, 24684096ull * 1024);
    EXPECT_EQ(memory->wired, (27000ull + 2528 + 6320 + 0 + 688) * 1024);
    EXPECT_EQ(memory->compressed, 0u);
    const double used = double(memory->app + memory->wired + memory->compressed);
    // `free -b` ran a moment after the snapshot: used 1407946752 bytes.
    EXPECT_NEAR(used, 1407946752.0, 1407946752.0 * 0.005);

    const MemoryFigures figures = memoryFigures(*memory);
    EXPECT_DOUBLE_EQ(figures.used, used / 1073741824.0);
    EXPECT_DOUBLE_EQ(figures.used + figures.free, 24684096.0 / 1048576.0);
    // Counters read at different moments can add up to more than there is.
    const MemoryFigures over = memoryFigures({8ull << 30, 6ull << 30, 2ull << 30, 1ull << 30});
    EXPECT_EQ(over.used, 8.0);
    EXPECT_EQ(over.free, 0.0);
}

TEST(ProcHostCounters, OlderKernelsWithoutMemAvailableAndDamagedFiles) {
    const auto old = ProcHostCounters::parseMeminfo("MemTotal: 1000 kB\nMemFree: 400 kB\n"
                                                    "Buffers: 100 kB\nCached: 200 kB\n"
                                                    "SReclaimable: 50 kB\nSUnreclaim: 30 kB\n");
    ASSERT_TRUE(old);
    EXPECT_EQ(old->app + old->wired, 250u * 1024);
    EXPECT_EQ(old->wired, 30u * 1024);
    EXPECT_EQ(ProcHostCounters::parseMeminfo("MemFree: 400 kB\n"), std::nullopt);
    EXPECT_EQ(ProcHostCounters::parseMeminfo(""), std::nullopt);
    EXPECT_EQ(ProcHostCounters::parseNetDev(""), std::nullopt);
    EXPECT_EQ(ProcHostCounters::parseNetDev("h\nh\n eth0: 12 x\n"), std::nullopt);
}

TEST(ProcHostCounters, CountsHardwareInterfacesOnlyAndFailsCleanlyWithoutProc) {
    ProcSnapshot snapshot;
    snapshot.use(QStringLiteral("live-1"));
    ProcHostCounters counters(snapshot.path());
    const auto interfaces = counters.interfaceCounters();
    ASSERT_TRUE(interfaces);
    EXPECT_EQ(*interfaces, (QList<InterfaceCounters>{{"eth0", 77951358, 126779}}))
        << "lo and the ifb devices are virtual";

    ProcHostCounters nowhere(snapshot.path() + QStringLiteral("/missing"));
    EXPECT_EQ(nowhere.coreTicks(), std::nullopt);
    EXPECT_EQ(nowhere.memory(), std::nullopt);
    EXPECT_EQ(nowhere.interfaceCounters(), std::nullopt);
}

TEST(CpuLoadSampler, NeedsTwoSamplesWithTheSameCoreCount) {
    const auto first = *ProcHostCounters::parseStat(recorded("live-1", "proc/stat"));
    const auto second = *ProcHostCounters::parseStat(recorded("live-2", "proc/stat"));
    CpuLoadSampler sampler;
    EXPECT_EQ(sampler.sample(first), std::nullopt);
    const auto load = sampler.sample(second);
    ASSERT_TRUE(load);
    // user+nice 94+108, system 22+10, idle 0+1 (steal): 235 ticks.
    EXPECT_DOUBLE_EQ(load->user, 202.0 / 235.0 * 100.0);
    EXPECT_DOUBLE_EQ(load->system, 32.0 / 235.0 * 100.0);

    std::vector<std::uint32_t> oneCore(second.begin(), second.begin() + 4);
    EXPECT_EQ(sampler.sample(oneCore), std::nullopt) << "a core went offline";
    oneCore[2] += 100;
    EXPECT_EQ(sampler.sample(oneCore), (CpuLoad{0.0, 0.0}));
}

TEST(CpuLoadSampler, CountersThatWrapStillGiveTheirDifference) {
    CpuLoadSampler sampler;
    sampler.sample({0xffffff00u, 0, 0, 0});
    const auto load = sampler.sample({0x00000100u, 0, 0x200, 0}); // 0x200 user, 0x200 idle
    ASSERT_TRUE(load);
    EXPECT_EQ(load->user, 50.0);
    EXPECT_EQ(sampler.sample({0x100u, 0, 0x200, 0}), std::nullopt) << "no ticks elapsed";
}

TEST(NetworkRateSampler, DividesByAtLeastHalfASecondAndNeverGoesNegative) {
    using namespace std::chrono_literals;
    const NetworkRateSampler::TimePoint start{1h};
    const QList<InterfaceCounters> before = {{"eth0", 77951358, 126779}};
    const QList<InterfaceCounters> after = {{"eth0", 77951911, 127409}};

    NetworkRateSampler sampler;
    EXPECT_EQ(sampler.sample(before, start), std::nullopt) << "the first sample";
    EXPECT_EQ(sampler.sample(after, start + 2s), (NetworkRates{553 / 2.0, 630 / 2.0}));
    sampler.reset();
    EXPECT_EQ(sampler.sample(before, start + 600s), std::nullopt) << "a baseline again";

    NetworkRateSampler quick;
    quick.sample(before, start);
    EXPECT_EQ(quick.sample(after, start + 100ms), (NetworkRates{553 / 0.5, 630 / 0.5}));
    EXPECT_EQ(quick.sample(before, start + 2s), (NetworkRates{0, 0})) << "counter reset";

    NetworkRateSampler appearing;
    appearing.sample(before, start);
    const QList<InterfaceCounters> withNew = {{"eth0", 77952358, 126779}, {"wlan0", 5000000, 9000}};
    EXPECT_EQ(appearing.sample(withNew, start + 1s), (NetworkRates{1000, 0}));
}

} // namespace
} // namespace velmox
