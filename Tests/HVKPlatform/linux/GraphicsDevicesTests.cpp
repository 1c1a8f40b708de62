// The graphics processors of Linux machines: drivers that tell by files, and the library of one that does not.

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <cstdlib>

#include "HVKPlatform/linux/LinuxMachine.h"
#include "HVKPlatform/linux/NVML.h"
#include "HVKPlatform/linux/parse/PCIIdentifiers.h"
#include "HVKStatistics/graphics/HVKStatisticsGPU.h"
#include "support/SavedTree.h"

namespace hvk {
namespace {

using testing::HasSubstr;

constexpr const char* Bus = "/sys/devices/pci0000:00/";

/// A PCI device with a driver.
std::string device(test::SavedTree& tree, const std::string& place, const std::string& vendor,
                   const std::string& product, const std::string& driver) {
    std::string path = Bus + place;
    const std::string name = path.substr(path.rfind('/') + 1);
    std::string up;
    for (const char letter : path.substr(1))
        if (letter == '/') up += "../";
    tree.write(path + "/uevent", "").write(path + "/vendor", vendor + "\n").write(path + "/device", product + "\n");
    tree.link(path + "/subsystem", up + "bus/pci").link(path + "/driver", up + "bus/pci/drivers/" + driver);
    tree.link("/sys/bus/pci/devices/" + name, "../../../devices/pci0000:00/" + place);
    return path;
}

/// A card with a fan, whose figures lie in its directory.
std::string card(test::SavedTree& tree) {
    const std::string path = device(tree, "0000:03:00.0", "0x1002", "0x744c", "amdgpu");
    tree.write(path + "/gpu_busy_percent", "63\n").write(path + "/power/runtime_status", "active\n");
    tree.write(path + "/mem_info_vram_total", "8573157376\n").write(path + "/mem_info_vram_used", "2143289344\n");
    const std::string monitor = path + "/hwmon/hwmon4";
    tree.write(monitor + "/freq1_input", "2100000000\n").write(monitor + "/freq2_input", "1000000000\n");
    tree.write(monitor + "/fan1_input", "1180\n").write(monitor + "/pwm1", "51\n");
    tree.write(monitor + "/power1_average", "103000000\n").write(monitor + "/temp1_input", "61000\n");
    return path;
}

constexpr const char* Names =
    "# a list\n"
    "1002  Advanced Micro Devices, Inc. [AMD/ATI]\n"
    "\t744c  Navi 31 [Radeon RX 7900 XT]\n"
    "\t\t1002 0e3b  a board of it\n"
    "8086  Intel Corporation\n"
    "\t46a6  Alder Lake-P GT2 [Iris Xe Graphics]\n"
    "\t56a0  DG2 [Arc A770]\n"
    "C 03  Display controller\n"
    "\t46a6  not a device\n";

TEST(GraphicsDevices, OfFilesAreReadAndLeftAsleep) {
    test::SavedTree tree;
    const std::string path = card(tree);
    tree.write("/usr/share/misc/pci.ids", Names);
    LinuxMachine machine(tree.root());
    HVKStatisticsGPU graphics(machine);
    EXPECT_EQ(graphics.update(1), 4);
    ASSERT_EQ(graphics.devices().size(), 1U);
    const HVKStatisticsGPUItem& item = *graphics.devices().front();
    EXPECT_EQ(item.name, "Radeon RX 7900 XT");
    EXPECT_EQ(item.type, HVKStatisticsGPUTypeDiscrete);
    EXPECT_EQ(item.memorySize, 8573157376.0);
    EXPECT_EQ(item.processor, 63);
    EXPECT_DOUBLE_EQ(item.memory, 25);
    EXPECT_EQ(item.features["clock-core"], 2100.0);
    EXPECT_EQ(item.features["clock-memory"], 1000.0);
    EXPECT_EQ(item.features["fan-speed"], 1180.0);
    EXPECT_EQ(item.features["fan-percentage"], 20.0);
    EXPECT_EQ(item.features["power"], 103.0);
    EXPECT_EQ(item.features["temperature"], 61.0);

    // Its files must not be touched while it sleeps: they are gone here, and nothing changes.
    tree.write(path + "/power/runtime_status", "suspended\n").remove(path + "/gpu_busy_percent");
    tree.remove(path + "/hwmon");
    graphics.update(2);
    EXPECT_EQ(item.processor, 63);
    EXPECT_DOUBLE_EQ(item.memory, 25);
    std::string note;
    for (const SourceReport& report : machine.diagnostics().reports())
        if (report.source == "graphics drivers") note = report.note;
    EXPECT_EQ(note, "asleep, and not woken: 0000:03:00.0");

    tree.write(path + "/power/runtime_status", "active\n").write(path + "/gpu_busy_percent", "many\n");
    tree.write(path + "/mem_info_vram_used", "");
    graphics.update(3);
    EXPECT_EQ(item.processor, 63) << "garbage is no reading";
}

TEST(GraphicsDevices, AreNamedSoThatTheBuiltInOneIsKnown) {
    test::SavedTree tree;
    tree.write("/usr/share/misc/pci.ids", Names);
    device(tree, "0000:00:02.0", "0x8086", "0x46a6", "i915");
    device(tree, "0000:04:00.0", "0x8086", "0x56a0", "xe");
    device(tree, "0000:05:00.0", "0x8086", "0xffff", "i915");
    device(tree, "0000:06:00.0", "0x1002", "0xffff", "amdgpu");
    device(tree, "0000:07:00.0", "0x10de", "0x2504", "nvidia");
    device(tree, "0000:00:1f.3", "0x8086", "0x51c8", "snd_hda_intel");
    tree.write("/proc/driver/nvidia/gpus/0000:07:00.0/information", "Model: \t\t Example RTX 3060\nIRQ: 160\n");
    LinuxMachine machine(tree.root());
    HVKStatisticsGPU graphics(machine);
    graphics.update(1);
    std::vector<std::pair<std::string, std::int64_t>> found;
    for (const auto& item : graphics.devices()) found.emplace_back(item->name, item->type);
    EXPECT_EQ(found, (std::vector<std::pair<std::string, std::int64_t>>{{"Intel Iris Xe Graphics", 0},
                                                                        {"Arc A770", 1},
                                                                        {"Arc Graphics", 1},
                                                                        {"Radeon Graphics", 1},
                                                                        {"Example RTX 3060", 1}}));
}

TEST(PCIIdentifiers, AreFoundInTheirVendor) {
    using parse::pciDeviceName;
    EXPECT_EQ(pciDeviceName(Names, 0x8086, 0x56a0), "DG2 [Arc A770]");
    EXPECT_EQ(pciDeviceName(Names, 0x1002, 0x56a0), std::nullopt);
    EXPECT_EQ(pciDeviceName(Names, 0x1002, 0x1002), std::nullopt) << "a board is no device";
    EXPECT_EQ(pciDeviceName(Names, 0xc, 0x46a6), std::nullopt);
    const std::string text = Names;
    for (std::size_t length = 0; length < text.size(); ++length)
        (void)pciDeviceName(std::string_view(text).substr(0, length), 0x8086, 0x56a0);
    EXPECT_EQ(pciDeviceName("8086\n\t56a0\n8086  x\n\t56a0\n\t56a0 \n", 0x8086, 0x56a0), std::nullopt);
    EXPECT_EQ(parse::marketedName("GA106 [Example RTX 3060]"), "Example RTX 3060");
    EXPECT_EQ(parse::marketedName("plain ]["), "plain ][");
}

TEST(ManagementLibrary, AnswersOrSaysWhyNot) {
    NVML library(HVK_STUB_LIBRARY);
    const auto figures = library.figures("0000:01:00.0");
    ASSERT_TRUE(figures) << figures.failure().detail;
    EXPECT_EQ(figures->name, "Example 3060");
    EXPECT_EQ(figures->utilization, 37);
    EXPECT_EQ(figures->memoryTotal, 12.0 * (1 << 30));
    EXPECT_EQ(figures->memoryUsed, 3.0 * (1 << 30));
    EXPECT_EQ(figures->coreClock, 1777);
    EXPECT_EQ(figures->memoryClock, 7501);
    EXPECT_EQ(figures->fanPercentage, -1) << "not told";
    EXPECT_EQ(figures->power, 41.5);
    EXPECT_EQ(figures->temperature, 54);
    EXPECT_EQ(library.figures("0000:02:00.0").failure().kind, FailureKind::Absent);

    ::setenv("HVK_STUB_FAILS", "nvmlDeviceGetHandleByPciBusId_v2=15", 1);
    EXPECT_EQ(library.figures("0000:01:00.0").failure().kind, FailureKind::Gone);
    ::setenv("HVK_STUB_FAILS", "nvmlInit_v2=4", 1);
    NVML forbidden(HVK_STUB_LIBRARY);
    for (int time = 0; time < 2; ++time) {
        const Failure failure = forbidden.figures("0000:01:00.0").failure();
        EXPECT_EQ(failure.kind, FailureKind::Denied);
        EXPECT_THAT(failure.detail, HasSubstr("does not start"));
    }
    ::unsetenv("HVK_STUB_FAILS");
    EXPECT_EQ(NVML("libhvk-there-is-none.so.1").figures("0000:01:00.0").failure().kind, FailureKind::Absent);
    EXPECT_EQ(NVML("libm.so.6").figures("0000:01:00.0").failure().kind, FailureKind::Malformed);
}

}  // namespace
}  // namespace hvk
