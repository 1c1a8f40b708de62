// The device tree of the machine that the tests run on, beside what /sys shows to other means.

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <unistd.h>

#include <filesystem>
#include <fstream>
#include <set>
#include <string>
#include <utility>

#include "HVKPlatform/LiveMachine.h"
#include "HVKStatistics/core/HVKStatisticsIOKitUtilities.h"
#include "live/LoopDevice.h"

namespace hvk {
namespace {

namespace fs = std::filesystem;
using Utilities = HVKStatisticsIOKitUtilities;

std::string firstLineOf(const fs::path& path) {
    std::ifstream file(path);
    std::string line;
    std::getline(file, line);
    return line;
}

/// The kernel makes loop devices in advance; without a file they are no media.
bool isLoopWithoutFile(const fs::path& directory) {
    return directory.filename().string().starts_with("loop") && !fs::exists(directory / "loop") &&
           fs::exists(directory / "stat");
}

/// The names in a class's directory, links only.
std::set<std::string> namesOfClass(const char* directory) {
    std::set<std::string> names;
    for (const auto& entry : fs::directory_iterator(directory))
        if (entry.is_symlink() && !isLoopWithoutFile(entry.path())) names.insert(entry.path().filename());
    return names;
}

std::set<std::string> bsdNamesOf(RegistryPort& registry, const char* className) {
    std::set<std::string> names;
    for (auto services = Utilities::iteratorWithServiceMatch(registry, className); services.nextObject() != 0;)
        names.insert(services.propertyWithKey("BSD Name").get<std::string>());
    return names;
}

TEST(LiveRegistry, ShowsTheDisksAndTheirCounters) {
    const auto machine = makeLiveMachine();
    RegistryPort& registry = machine->registry();
    EXPECT_EQ(bsdNamesOf(registry, "IOMedia"), namesOfClass("/sys/class/block"));
    std::size_t drivers = 0;
    for (auto services = Utilities::iteratorWithServiceMatch(registry, "IOBlockStorageDriver");
         const RegistryHandle driver = services.nextObject(); ++drivers) {
        const RegistryReference media(registry, Utilities::childAtIndex(registry, 1, driver));
        const std::string name = Utilities::property(registry, "BSD Name", media.get()).get<std::string>();
        const fs::path directory = fs::path("/sys/class/block") / name;
        EXPECT_EQ(Utilities::property(registry, "Size", media.get()),
                  std::stoull(firstLineOf(directory / "size")) * 512);
        EXPECT_EQ(Utilities::property(registry, "Whole", media.get()), true);
        // Others use the disk: its counter lies between what it was before and after.
        const auto reads = [&] { return std::stoull(firstLineOf(directory / "stat")); };
        const auto before = reads();
        const Value statistics = services.propertyWithKey("Statistics");
        ASSERT_TRUE(statistics.is_object()) << name;
        EXPECT_LE(before, statistics["Operations (Read)"].get<std::uint64_t>());
        EXPECT_GE(reads(), statistics["Operations (Read)"].get<std::uint64_t>());
    }
    EXPECT_GT(drivers, 0U) << "a machine without a disk";
}

TEST(LiveRegistry, ShowsTheNetworkInterfaces) {
    const auto machine = makeLiveMachine();
    EXPECT_EQ(bsdNamesOf(machine->registry(), "IONetworkInterface"), namesOfClass("/sys/class/net"));
    EXPECT_TRUE(namesOfClass("/sys/class/net").contains("lo"));
    auto loopback = Utilities::iteratorWithBSDNameMatch(machine->registry(), "lo");
    EXPECT_NE(loopback.nextObject(), 0U);
    EXPECT_EQ(loopback.propertyWithKey("IOMACAddress"), Value::binary(std::vector<std::uint8_t>(6)));
    EXPECT_EQ(loopback.propertyWithKey("IOMaxTransferUnit"), std::stoull(firstLineOf("/sys/class/net/lo/mtu")));
}

/// Every device directory is an entry, wherever a driver put it; nothing that is read on the way is refused.
TEST(LiveRegistry, LeavesNoDeviceOut) {
    const auto machine = makeLiveMachine();
    RegistryPort& registry = machine->registry();
    const auto devices = [] {
        std::set<std::string> paths;
        for (auto entry = fs::recursive_directory_iterator("/sys/devices"); entry != fs::end(entry); ++entry) {
            if (!entry->is_directory() || entry->is_symlink()) continue;
            if (entry->path() == "/sys/devices/system" || isLoopWithoutFile(entry->path()))
                entry.disable_recursion_pending();
            else if (fs::exists(entry->path() / "uevent"))
                paths.insert(entry->path());
        }
        return paths;
    };
    const RegistryReference root(registry, Utilities::objectAtPath(registry, "IOService:/"));
    std::set<std::string> shown;
    std::set<std::string> before;
    // Another program may plug something: one undisturbed round is wanted.
    for (int attempt = 0; attempt < 5 && (attempt == 0 || before != devices()); ++attempt) {
        before = devices();
        shown.clear();
        for (auto walk = Utilities::initWithDeepChildIteratorFromObject(registry, root.get()); walk.nextObject() != 0;)
            if (const Value path = walk.propertyWithKey("sysfs-path"); path.is_string()) shown.insert(path);
    }
    EXPECT_EQ(shown, before);
    for (const SourceReport& report : machine->diagnostics().reports()) {
        if (report.source != "/sys/devices") continue;
        EXPECT_EQ(report.failures, 0U) << report.lastFailure->source;
    }
}

TEST(LiveRegistry, ALoopDeviceComesAndGoes) {
    if (::geteuid() != 0) GTEST_SKIP() << "only root may attach a file to a loop device";
    const auto machine = makeLiveMachine();
    RegistryPort& registry = machine->registry();
    LoopDevice loop;
    if (loop.name().empty() && !fs::exists("/dev/loop-control")) GTEST_SKIP() << "the kernel has no loop devices";
    ASSERT_FALSE(loop.name().empty()) << loop.why();
    auto found = Utilities::iteratorWithBSDNameMatch(registry, loop.name());
    ASSERT_NE(found.nextObject(), 0U) << loop.name();
    EXPECT_EQ(found.propertyWithKey("Size"), LoopDevice::Size);
    const auto path = found.objectPath();
    ASSERT_TRUE(path);
    const RegistryReference driver(registry, Utilities::parentAtIndex(registry, 1, found.object()));
    EXPECT_TRUE(Utilities::property(registry, "Statistics", driver.get()).is_object());

    loop.detach();
    // A program that looks at new disks may still have it open, and the kernel detaches it when that one closes it.
    for (int round = 0; round < 1'000'000 && fs::exists("/sys/class/block/" + loop.name() + "/loop"); ++round) {
    }
    EXPECT_EQ(registry.property(found.object(), "Size").failure().kind, FailureKind::Gone);
    EXPECT_EQ(registry.path(driver.get()).failure().kind, FailureKind::Gone);
    EXPECT_EQ(Utilities::iteratorWithBSDNameMatch(registry, loop.name()).nextObject(), 0U);
    EXPECT_EQ(Utilities::objectAtPath(registry, *path), 0U);
}

}  // namespace
}  // namespace hvk
