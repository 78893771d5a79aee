#include "monitor/SensorChoice.h"

#include <gtest/gtest.h>

namespace velmox {
namespace {

constexpr auto temp = SensorKind::temperature;
constexpr auto fan = SensorKind::fan;

TEST(SensorChoice, PicksALinuxPcsProcessorGpuFanAndDrives) {
    const SensorChoice choice = chooseSensors({{"acpitz temp1", 27.8, temp},
                                               {"coretemp Core 0", 40.0, temp},
                                               {"coretemp Package id 0", 45.0, temp},
                                               {"amdgpu edge", 52.0, temp},
                                               {"amdgpu junction", 60.0, temp},
                                               {"thinkpad fan1", 0.0, fan},
                                               {"thinkpad fan2", 2400.0, fan},
                                               {"nvme Composite", 38.85, temp},
                                               {"nvme Composite #2", 36.85, temp}});
    EXPECT_EQ(choice.cpuTemp, 45.0) << "the package sensor, not the ACPI zone or a core";
    EXPECT_EQ(choice.gpuTemp, 52.0);
    EXPECT_EQ(choice.fanRPM, 2400.0) << "the first fan that turns";
    EXPECT_EQ(choice.ssdTemp, 38.85);
    EXPECT_EQ(choice.ssdLabel, QStringLiteral("nvme Composite"));
    ASSERT_EQ(choice.drives.size(), 2);
    EXPECT_EQ(choice.drives[1].name, QStringLiteral("NVMe drive 2"));
    EXPECT_EQ(choice.drives[1].temp, 36.85);
}

TEST(SensorChoice, AveragesAppleSiliconCoreKeysAndPrefersIntelProximityKeys) {
    const SensorChoice silicon = chooseSensors({{"Ta08", 31.5, temp},
                                                {"Tg05", 38.0, temp},
                                                {"Tg0D", 40.0, temp},
                                                {"Tp01", 44.0, temp},
                                                {"Tp05", 46.0, temp}});
    EXPECT_EQ(silicon.cpuTemp, 45.0);
    EXPECT_EQ(silicon.gpuTemp, 39.0);
    EXPECT_EQ(silicon.fanRPM, 0.0);

    const SensorChoice intel = chooseSensors({{"Tp2F", 70.0, temp},
                                              {"TC0E", 58.5, temp},
                                              {"TC0P", 46.25, temp},
                                              {"F0Mn", 1200, fan},
                                              {"F0Ac", 2000, fan}});
    EXPECT_EQ(intel.cpuTemp, 46.25);
    EXPECT_EQ(intel.fanRPM, 2000.0);
    EXPECT_EQ(chooseSensors({}), SensorChoice{});
}

} // namespace
} // namespace velmox
