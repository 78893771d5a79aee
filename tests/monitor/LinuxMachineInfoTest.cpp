#include "platform/linux/LinuxMachineInfo.h"

#include "tests/monitor/ProcSnapshot.h"

#include <QFile>
#include <arpa/inet.h>
#include <gtest/gtest.h>

namespace velmox {
namespace {

// A hybrid Intel laptop: cpus 0-3 are two performance cores with two threads each, 4-7 four
// efficiency cores; one AMD GPU; a thermal zone past its passive trip point.
class MachineTree : public ::testing::Test {
protected:
    void SetUp() override {
        tree.write("proc/cpuinfo",
                   "processor\t: 0\nmodel name\t: 12th Gen Intel(R) Core(TM)  i7-1260P\n\n"
                   "processor\t: 1\nmodel name\t: 12th Gen Intel(R) Core(TM)  i7-1260P\n");
        tree.write("sys/devices/cpu_core/cpus", "0-3\n");
        tree.write("sys/devices/cpu_atom/cpus", "4-7\n");
        tree.write("sys/devices/system/cpu/online", "0-7\n");
        const int coreIds[] = {0, 0, 4, 4, 8, 9, 10, 11};
        for (int cpu = 0; cpu < 8; ++cpu) {
            const QString topology =
                QStringLiteral("sys/devices/system/cpu/cpu%1/topology/").arg(cpu);
            tree.write(topology + "core_id", QByteArray::number(coreIds[cpu]) + '\n');
            tree.write(topology + "physical_package_id", "0\n");
        }
        tree.write("sys/devices/virtual/dmi/id/product_name", "MacBookPro16,1\n");
        tree.write("sys/devices/virtual/dmi/id/sys_vendor", "Apple Inc.\n");
        tree.write("sys/class/drm/card0/device/vendor", "0x1002\n");
        tree.write("sys/class/drm/card0/device/gpu_busy_percent", "37\n");
        tree.write("sys/class/drm/card0-eDP-1/status", "connected\n");
        tree.write("drivers/amdgpu/.keep", "");
        QFile::link(tree.path() + "/drivers/amdgpu",
                    tree.path() + "/sys/class/drm/card0/device/driver");
        tree.write("proc/uptime", "1234.56 789.00\n");
        tree.write("proc/sys/kernel/hostname", "workbench\n");
        tree.write("etc/os-release",
                   "NAME=\"Debian GNU/Linux\"\nPRETTY_NAME=\"Debian GNU/Linux 12 (bookworm)\"\n");
        tree.write("sys/class/thermal/thermal_zone0/temp", "91000\n");
        tree.write("sys/class/thermal/thermal_zone0/trip_point_0_type", "passive\n");
        tree.write("sys/class/thermal/thermal_zone0/trip_point_0_temp", "90000\n");
        tree.write("sys/class/thermal/thermal_zone0/trip_point_1_type", "critical\n");
        tree.write("sys/class/thermal/thermal_zone0/trip_point_1_temp", "105000\n");
    }
    test::ProcSnapshot tree;
};

TEST_F(MachineTree, DescribesModelProcessorGpuAndThermalState) {
    LinuxMachineInfo info(tree.path());
    EXPECT_EQ(info.modelIdentifier(), QStringLiteral("MacBookPro16,1"));
    EXPECT_EQ(info.modelName(), QStringLiteral("Apple Inc. MacBookPro16,1"));
    EXPECT_EQ(info.processorInfo(),
              QStringLiteral("12th Gen Intel(R) Core(TM) i7-1260P (2 performance + 4 efficiency)"));
    EXPECT_EQ(info.gpuModel(), QStringLiteral("AMD GPU (amdgpu)"));
    EXPECT_EQ(info.gpuUtilization(), 37.0);
    EXPECT_EQ(info.uptimeSeconds(), 1234.56);
    EXPECT_EQ(info.thermalState(), QStringLiteral("fair"));
    EXPECT_EQ(info.hostName(), QStringLiteral("workbench"));
    EXPECT_EQ(info.osName(), QStringLiteral("Debian GNU/Linux 12 (bookworm)"));
    const auto space = info.startupVolumeSpace();
    ASSERT_TRUE(space);
    EXPECT_GE(space->total, space->free);
    EXPECT_GE(space->free, space->available);
}

TEST(LinuxMachineInfo, AnEmptyTreeStillDescribesTheMachineInWords) {
    test::ProcSnapshot empty;
    LinuxMachineInfo info(empty.path());
    EXPECT_EQ(info.modelIdentifier(), QString());
    EXPECT_EQ(info.modelName(), QStringLiteral("Unknown computer"));
    EXPECT_EQ(info.processorInfo(), QStringLiteral("Unknown processor"));
    EXPECT_EQ(info.gpuModel(), QString());
    EXPECT_EQ(info.gpuUtilization(), std::nullopt);
    EXPECT_EQ(info.uptimeSeconds(), std::nullopt);
    EXPECT_EQ(info.thermalState(), QStringLiteral("unknown"));
    EXPECT_EQ(info.hostName(), QString());
    EXPECT_EQ(info.osName(), QString());
}

// A laptop on Wi-Fi and Ethernet with a VPN up: the tunnel's default route has the lowest
// metric; eth1's default route is down; docker0 has only its own network.
TEST(LinuxMachineInfo, PutsInterfacesWithADefaultRouteFirstByMetric) {
    LinuxMachineInfo info(QStringLiteral(VELMOX_TEST_DATA "/proc/laptop-vpn"));
    const QList<NetworkAddress> addresses = {{"docker0", "172.17.0.1"},
                                             {"eth1", "192.168.1.30"},
                                             {"wlan0", "192.168.0.12"},
                                             {"eth0", "192.168.0.11"},
                                             {"tun0", "10.8.0.2"}};
    EXPECT_EQ(info.byDefaultRoute(addresses), (QList<NetworkAddress>{{"tun0", "10.8.0.2"},
                                                                     {"eth0", "192.168.0.11"},
                                                                     {"wlan0", "192.168.0.12"},
                                                                     {"docker0", "172.17.0.1"},
                                                                     {"eth1", "192.168.1.30"}}));
    test::ProcSnapshot noRoutes;
    EXPECT_EQ(LinuxMachineInfo(noRoutes.path()).byDefaultRoute(addresses), addresses);
}

TEST(LinuxMachineInfo, ListsThisMachinesAddressesWithoutLoopback) {
    LinuxMachineInfo info;
    for (const NetworkAddress& address : info.activeIPv4Interfaces()) {
        EXPECT_NE(address.interfaceName, QStringLiteral("lo"));
        in_addr parsed{};
        EXPECT_EQ(inet_pton(AF_INET, address.address.toLatin1().constData(), &parsed), 1);
    }
}

} // namespace
} // namespace velmox
