// The device tree of a written-down machine: what its devices become, how they are found, and that nothing about a
// device is said after it went away.

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <sys/stat.h>

#include <atomic>
#include <filesystem>
#include <map>
#include <thread>

#include "HVKPlatform/linux/LinuxMachine.h"
#include "HVKStatistics/core/HVKStatisticsIOKitUtilities.h"
#include "support/SavedTree.h"

namespace hvk {
namespace {

using test::SavedTree;
using testing::ElementsAre;
using testing::HasSubstr;
using testing::IsEmpty;
using testing::IsSupersetOf;
using testing::Not;
using Kind = RegistryMatch::Kind;
using Utilities = HVKStatisticsIOKitUtilities;
namespace fs = std::filesystem;

const std::string Host = "/sys/devices/pci0000:00";
const std::string Controller = Host + "/0000:00:1d.0/0000:02:00.0";
const std::string Disk = Controller + "/nvme/nvme0/nvme0n1";
const std::string Stick = Host + "/0000:00:14.0/usb1/1-2";
const std::string Loop = "/sys/devices/virtual/block/loop0";
const std::string DriverPath =
    "IOService:/LinuxPlatform/pci0000:00/0000:00:1d.0/0000:02:00.0/nvme0@nvme/IOBlockStorageDriver@nvme0n1";

/// A small PC: an NVMe disk of two partitions, a USB stick, an Ethernet card, a temperature sensor, a loop device.
class LinuxRegistryTest : public testing::Test {
protected:
    LinuxRegistryTest() {
        device(Host, "");
        pci(Host + "/0000:00:14.0", "0x8086", "0xa36d");
        pci(Host + "/0000:00:1d.0", "0x8086", "0xa330");
        pci(Controller, "0x144d", "0xa808");
        tree.write(Controller + "/class", "0x010802\n").write(Controller + "/power/runtime_status", "active\n");
        link("../../../../bus/pci/drivers/nvme", Controller + "/driver");
        device(Controller + "/nvme/nvme0", "nvme");
        disk(Disk, "1000215216", "  100 0 2048 7 50 0 4096 9 0 30 40 0 0 0 0 2 1\n");
        tree.write(Disk + "/queue/logical_block_size", "512\n").write(Disk + "/queue/zoned", "none\n");
        partition(Disk, "nvme0n1p1", 1);
        partition(Disk, "nvme0n1p2", 2);
        partition(Disk, "nvme0n1p10", 10);
        device(Controller + "/nvme/nvme0/hwmon0", "hwmon");

        usb(Host + "/0000:00:14.0/usb1");
        usb(Stick);
        tree.write(Stick + "/idVendor", "0781\n").write(Stick + "/idProduct", "5581\n").write(Stick + "/devnum", "7\n");
        tree.write(Stick + "/product", "Ultra\n").write(Stick + "/manufacturer", "  SanD\xFFisk \n");
        usb(Stick + "/1-2:1.0");
        tree.write(Stick + "/1-2:1.0/bInterfaceClass", "08\n");
        device(Stick + "/1-2:1.0/host0", "scsi");
        device(Stick + "/1-2:1.0/host0/0:0:0:0", "scsi");
        tree.write(Stick + "/1-2:1.0/host0/0:0:0:0/vendor", "SanDisk \n");
        disk(Stick + "/1-2:1.0/host0/0:0:0:0/block/sda", "60062500", "1 1 1 1 1 1 1 1 1 1 1\n");
        tree.write(Stick + "/1-2:1.0/host0/0:0:0:0/block/sda/removable", "1\n");

        pci(Host + "/0000:00:1f.6", "0x8086", "0x15bc");
        network(Host + "/0000:00:1f.6/net/eth0", "52:54:00:12:34:56");
        network("/sys/devices/virtual/net/lo", "00:00:00:00:00:00");
        device("/sys/devices/virtual/cpuid/cpu0", "cpuid");
        device("/sys/devices/virtual/msr/cpu0", "msr");
        disk(Loop, "0", "0 0 0 0 0 0 0 0 0 0 0\n");
        device("/sys/devices/platform", "");
        device("/sys/devices/platform/soc@0", "platform");
        device("/sys/devices/system/cpu/cpu0", "cpu");
        machine = std::make_unique<LinuxMachine>(tree.root());
    }

    void link(const std::string& target, const std::string& at) {
        fs::create_directories(fs::path(tree.path(at)).parent_path());
        fs::create_symlink(target, tree.path(at));
    }

    /// A device with its link in /sys/class or /sys/bus, as the kernel makes them.
    void device(const std::string& path, const std::string& subsystem) {
        tree.write(path + "/uevent", "");
        if (subsystem.empty()) return;
        const bool isBus = subsystem == "pci" || subsystem == "usb" || subsystem == "scsi" || subsystem == "platform";
        std::string up;
        for (const char c : path.substr(1))
            if (c == '/') up += "../";
        link(up + (isBus ? "bus/" : "class/") + subsystem, path + "/subsystem");
        const std::string links = isBus ? "/sys/bus/" + subsystem + "/devices/" : "/sys/class/" + subsystem + "/";
        link((isBus ? "../../../" : "../../") + path.substr(5), links + path.substr(path.rfind('/') + 1));
    }

    void pci(const std::string& path, const std::string& vendor, const std::string& product) {
        device(path, "pci");
        tree.write(path + "/vendor", vendor + "\n").write(path + "/device", product + "\n");
        tree.write(path + "/modalias", "pci:v0000\n");
    }

    void usb(const std::string& path) { device(path, "usb"); }

    void network(const std::string& path, const std::string& address) {
        device(path, "net");
        tree.write(path + "/address", address + "\n").write(path + "/mtu", "1500\n");
        tree.write(path + "/queues/rx-0/rps_cpus", "0\n");
    }

    void disk(const std::string& path, const std::string& sectors, const std::string& statistics) {
        device(path, "block");
        tree.write(path + "/size", sectors + "\n").write(path + "/stat", statistics).write(path + "/ro", "0\n");
        tree.write(path + "/removable", "0\n").write(path + "/dev", "259:0\n");
    }

    void partition(const std::string& of, const std::string& name, int number) {
        const std::string path = of + "/" + name;
        device(path, "block");
        tree.write(path + "/partition", std::to_string(number) + "\n").write(path + "/size", "2048\n");
        tree.write(path + "/start", "34\n").write(path + "/ro", "1\n").write(path + "/dev", "259:1\n");
    }

    void attachLoopFile() { tree.write(Loop + "/loop/backing_file", "/disk.img\n"); }

    LinuxRegistryPort& registry() { return static_cast<LinuxRegistryPort&>(machine->registry()); }

    /// The names that an iterator goes through; every reference is given back.
    std::vector<std::string> names(Result<RegistryHandle> iterator) {
        std::vector<std::string> found;
        if (!iterator) return {"failed: " + iterator.failure().detail};
        const RegistryReference owner(registry(), *iterator);
        while (const RegistryReference entry{registry(), registry().next(owner.get())})
            found.push_back(registry().name(entry.get()).valueOr("?"));
        return found;
    }

    std::vector<std::string> ofClass(const std::string& name) {
        return names(registry().matchingServices({Kind::Class, name, {}}));
    }

    std::vector<std::string> matching(const Value& dictionary) {
        return names(registry().matchingServices({Kind::Dictionary, {}, dictionary}));
    }

    RegistryReference at(const std::string& path) {
        return {registry(), registry().entryAtPath("IOService:/LinuxPlatform" + path).valueOr(0)};
    }

    /// The medium or the interface of a BSD name.
    RegistryReference media(const std::string& bsdName) {
        const RegistryReference found(registry(), registry().matchingServices({Kind::BSDName, bsdName, {}}).valueOr(0));
        return {registry(), registry().next(found.get())};
    }

    SourceReport report() {
        for (SourceReport& one : machine->diagnostics().reports())
            if (one.source == "/sys/devices") return one;
        ADD_FAILURE();
        return {};
    }

    void TearDown() override {
        EXPECT_EQ(registry().handles().liveReferences(), 0U) << "what was received was given back";
        EXPECT_EQ(registry().handles().overReleases(), 0U);
    }

    SavedTree tree;
    std::unique_ptr<LinuxMachine> machine;
};

TEST_F(LinuxRegistryTest, NestsDevicesAsTheirDirectories) {
    const auto platform = at("");
    EXPECT_THAT(names(registry().childIterator(platform.get())),
                ElementsAre("platform", "pci0000:00", "cpu0", "lo", "cpu0"))
        << "no processors of /sys/devices/system, no loop device without a file";
    EXPECT_THAT(names(registry().descendantIterator(at("/pci0000:00/0000:00:1d.0").get())),
                ElementsAre("0000:02:00.0", "nvme0", "hwmon0", "IOBlockStorageDriver", "nvme0n1", "nvme0n1p1",
                            "nvme0n1p2", "nvme0n1p10"));

    const auto disk = at("/pci0000:00/0000:00:1d.0/0000:02:00.0/nvme0/IOBlockStorageDriver/nvme0n1");
    ASSERT_TRUE(disk);
    EXPECT_EQ(registry().path(disk.get()).valueOr(""), DriverPath + "/nvme0n1");
    EXPECT_EQ(Utilities::searchForKeyInParents(registry(), "IOName", 4, disk.get()), "pci144d,a808");
    EXPECT_EQ(Utilities::dictionaryForParentOfObject(registry(), disk.get())["Statistics"]["Bytes (Read)"], 1048576);
    const RegistryReference first(registry(), registry().child(disk.get()).valueOr(0));
    EXPECT_EQ(Utilities::nameForObject(registry(), first.get()), "nvme0n1p1");
    EXPECT_EQ(registry().parent(first.get()).valueOr(0), disk.get()) << "one handle while somebody holds it";
    registry().release(disk.get());
}

TEST_F(LinuxRegistryTest, EveryPathLeadsBackToItsEntry) {
    device("/sys/devices/platform/odd %name\x01", "platform");
    device("/sys/devices/platform/bad\xC3(", "platform");
    attachLoopFile();
    std::size_t entries = 0;
    auto walk = Utilities::initWithDeepChildIteratorFromObject(registry(), at("").get());
    while (const RegistryHandle entry = walk.nextObject()) {
        const auto path = walk.objectPath();
        ASSERT_TRUE(path);
        EXPECT_EQ(path->find_first_of("\x01\xC3"), std::string::npos);
        const RegistryReference same(registry(), registry().entryAtPath(*path).valueOr(0));
        EXPECT_EQ(same.get(), entry) << *path;
        ++entries;
    }
    EXPECT_EQ(entries, 29U);
    EXPECT_TRUE(at("/platform/soc%400"));
    EXPECT_TRUE(at("/platform/bad%C3(")) << "bytes that are no UTF-8";
    EXPECT_FALSE(at("/platform/soc@0") || at("/platform/nothing") || at("/") || at("/platform/"));
    EXPECT_EQ(registry().entryAtPath("IODeviceTree:/").failure().kind, FailureKind::Malformed);
    const auto cpuid = at("/cpu0@cpuid");
    const auto msr = at("/cpu0@msr");
    EXPECT_NE(cpuid.get(), msr.get()) << "two devices of one name in different classes";
}

TEST_F(LinuxRegistryTest, MatchesByClassNameBSDNameAndDictionary) {
    attachLoopFile();
    EXPECT_THAT(ofClass("IOMedia"), ElementsAre("sda", "nvme0n1", "nvme0n1p1", "nvme0n1p2", "nvme0n1p10", "loop0"))
        << "in the order of the tree";
    EXPECT_THAT(ofClass("IOStorage").size(), 9U) << "and the three drivers that derive from it too";
    EXPECT_THAT(ofClass("IONetworkInterface"), ElementsAre("eth0", "lo"));
    EXPECT_THAT(ofClass("IOUSBHostDevice"), ElementsAre("usb1", "1-2"));
    EXPECT_THAT(ofClass("IOUSBHostInterface"), ElementsAre("1-2:1.0"));
    EXPECT_THAT(ofClass("LinuxHwmonDevice"), ElementsAre("hwmon0"));
    EXPECT_THAT(ofClass("IOPlatformExpertDevice"), ElementsAre("LinuxPlatform"));
    EXPECT_THAT(ofClass("IOPlatformDevice"), IsEmpty()) << "kept for the processors of a hybrid machine";
    EXPECT_THAT(ofClass("NoSuchClass"), IsEmpty());
    EXPECT_THAT(names(registry().matchingServices({Kind::BSDName, "eth0", {}})), ElementsAre("eth0"));
    EXPECT_THAT(names(registry().matchingServices({Kind::BSDName, "../net/eth0", {}})), IsEmpty());
    EXPECT_THAT(names(registry().matchingServices({Kind::BSDName, "..", {}})), IsEmpty());
    EXPECT_THAT(names(registry().matchingServices({Kind::ServiceName, "cpu0", {}})), ElementsAre("cpu0", "cpu0"));
    EXPECT_THAT(matching({{"IOProviderClass", "IOMedia"}, {"Whole", true}}), ElementsAre("sda", "nvme0n1", "loop0"));
    EXPECT_THAT(matching({{"BSD Name", "nvme0n1"}, {"Whole", false}}), IsEmpty());
    EXPECT_THAT(matching({{"IOPropertyMatch", {{"idVendor", 0x781}, {"USB Product Name", "Ultra"}}}}),
                ElementsAre("1-2"));
    EXPECT_THAT(matching({{"IOPropertyMatch", {{"SMART Capable", true}}}}), IsEmpty());
    EXPECT_EQ(registry().matchingServices({Kind::Dictionary, {}, 5}).failure().kind, FailureKind::Malformed);
}

/// The index of a class must find what a walk finds, in the same order.
TEST_F(LinuxRegistryTest, TheIndexAgreesWithAWalk) {
    attachLoopFile();
    std::map<std::string, std::vector<std::string>> byClass;
    auto walk = Utilities::initWithDeepChildIteratorFromObject(registry(), at("").get());
    while (const RegistryHandle entry = walk.nextObject())
        byClass[registry().className(entry).valueOr("?")].push_back(*walk.objectPath());
    EXPECT_EQ(byClass.size(), 13U);
    for (const auto& [name, paths] : byClass) {
        std::vector<std::string> found;
        for (auto index = Utilities::iteratorWithServiceMatch(registry(), name); index.nextObject() != 0;)
            if (registry().className(index.object()).valueOr("") == name) found.push_back(*index.objectPath());
        if (name != "IOService") {
            EXPECT_EQ(found, paths) << name;
        }
    }
}

TEST_F(LinuxRegistryTest, AnEntryConformsToItsClassesAlone) {
    const auto disk = media("nvme0n1");
    EXPECT_EQ(registry().className(disk.get()).valueOr(""), "IOMedia");
    for (const char* name : {"IOMedia", "IOStorage", "IOService", "IORegistryEntry"})
        EXPECT_TRUE(registry().conformsTo(disk.get(), name)) << name;
    EXPECT_FALSE(registry().conformsTo(disk.get(), "IOBlockStorageDriver"));
    const RegistryReference root(registry(), registry().entryAtPath("IOService:/").valueOr(0));
    EXPECT_FALSE(registry().conformsTo(root.get(), "IOService"));
    EXPECT_EQ(registry().parent(root.get()).failure().kind, FailureKind::Absent);
    EXPECT_EQ(registry().path(root.get()).valueOr(""), "IOService:/");
}

TEST_F(LinuxRegistryTest, ReadsPropertiesOfEachKindOfDevice) {
    const auto bytes = [](std::vector<std::uint8_t> content) { return Value::binary(std::move(content)); };
    const auto controller = at("/pci0000:00/0000:00:1d.0/0000:02:00.0");
    EXPECT_EQ(registry().properties(controller.get()).valueOr({}), Value({{"IOName", "pci144d,a808"},
                                                                          {"Subsystem", "pci"},
                                                                          {"Driver", "nvme"},
                                                                          {"modalias", "pci:v0000"},
                                                                          {"vendor-id", bytes({0x4D, 0x14, 0, 0})},
                                                                          {"device-id", bytes({0x08, 0xA8, 0, 0})},
                                                                          {"class-code", bytes({0x02, 0x08, 0x01, 0})},
                                                                          {"Runtime Status", "active"},
                                                                          {"sysfs-path", Controller}}));

    const auto partition = media("nvme0n1p2");
    EXPECT_EQ(registry().properties(partition.get()).valueOr({}), Value({{"BSD Name", "nvme0n1p2"},
                                                                         {"BSD Major", 259U},
                                                                         {"BSD Minor", 1U},
                                                                         {"Size", 1048576U},
                                                                         {"Base", 17408U},
                                                                         {"Partition ID", 2U},
                                                                         {"Preferred Block Size", 512U},
                                                                         {"Whole", false},
                                                                         {"Writable", false},
                                                                         {"Removable", false},
                                                                         {"Subsystem", "block"},
                                                                         {"sysfs-path", Disk + "/nvme0n1p2"}}));
    EXPECT_EQ(registry().property(media("sda").get(), "Removable").valueOr({}), true);
    EXPECT_EQ(registry().property(media("nvme0n1").get(), "Size").valueOr({}), 512110190592U);

    const RegistryReference driver(registry(), registry().entryAtPath(DriverPath).valueOr(0));
    EXPECT_EQ(registry().property(driver.get(), "Statistics").valueOr({}), Value({{"Operations (Read)", 100U},
                                                                                  {"Operations (Write)", 50U},
                                                                                  {"Bytes (Read)", 1048576U},
                                                                                  {"Bytes (Write)", 2097152U},
                                                                                  {"Total Time (Read)", 7000000U},
                                                                                  {"Total Time (Write)", 9000000U}}));

    const auto stick = at("/pci0000:00/0000:00:14.0/usb1/1-2");
    EXPECT_EQ(registry().properties(stick.get()).valueOr({}), Value({{"idVendor", 0x781U},
                                                                     {"idProduct", 0x5581U},
                                                                     {"USB Product Name", "Ultra"},
                                                                     {"USB Vendor Name", "SanD\xEF\xBF\xBDisk"},
                                                                     {"USB Address", 7U},
                                                                     {"Subsystem", "usb"},
                                                                     {"sysfs-path", Stick}}));
    EXPECT_EQ(registry().property(media("eth0").get(), "IOMACAddress").valueOr({}),
              bytes({0x52, 0x54, 0, 0x12, 0x34, 0x56}));
    const auto scsi = at("/pci0000:00/0000:00:14.0/usb1/1-2/1-2:1.0/host0/0:0:0:0");
    EXPECT_EQ(registry().property(scsi.get(), "vendor-id").failure().kind, FailureKind::Absent) << "a name, no number";
    EXPECT_EQ(registry().property(scsi.get(), "No Such").failure().kind, FailureKind::Absent);
}

TEST_F(LinuxRegistryTest, ReadsOnlyTheFilesOfTheProperty) {
    // A file that cannot be read tells whether somebody tried.
    for (const char* file : {"/size", "/ro", "/stat", "/dev", "/removable", "/uevent"}) {
        tree.remove(Disk + file);
        tree.write(Disk + file + "/is a directory", "");
    }
    EXPECT_THAT(ofClass("IOMedia"), testing::Contains("nvme0n1"));
    const auto disk = media("nvme0n1");
    EXPECT_EQ(registry().property(disk.get(), "BSD Name").valueOr({}), "nvme0n1");
    EXPECT_EQ(registry().property(disk.get(), "Preferred Block Size").valueOr({}), 512U);
    EXPECT_EQ(names(registry().descendantIterator(at("").get())).size(), 25U);
    EXPECT_EQ(report().failures, 0U);

    const auto size = registry().property(disk.get(), "Size");
    EXPECT_EQ(size.failure().kind, FailureKind::Malformed);
    EXPECT_EQ(report().failures, 1U) << "and it says so";
    EXPECT_EQ(report().failure->source, Disk + "/size");
    EXPECT_EQ(registry().property(disk.get(), "Whole").valueOr({}), true) << "nothing else changes";
}

TEST_F(LinuxRegistryTest, ADeviceThatSleepsIsNotAsked) {
    Diagnostics diagnostics;
    const LinuxRoot root(tree.root());
    const SysfsTree sysfs(root, diagnostics);
    const SysfsDevice sensor(sysfs, Controller + "/nvme/nvme0/hwmon0", "hwmon");
    int readings = 0;
    const auto read = [&]() -> Result<Value> { return Value(++readings); };
    EXPECT_TRUE(sensor.ifAwake(read)) << "no word of its own: the controller above it is active";
    tree.write(sensor.path() + "/power/runtime_status", "unsupported\n");
    for (const char* status : {"suspended\n", "suspending\n"}) {
        tree.write(Controller + "/power/runtime_status", status);
        EXPECT_EQ(sensor.ifAwake(read).failure().kind, FailureKind::Absent) << status;
    }
    EXPECT_EQ(readings, 1);
}

TEST_F(LinuxRegistryTest, WhatWentAwayAnswersNothingAndComesBackAsAnother) {
    const auto disk = media("nvme0n1");
    const RegistryReference driver(registry(), registry().parent(disk.get()).valueOr(0));
    const std::uint64_t idBefore = registry().entryID(disk.get()).valueOr(0);
    EXPECT_EQ(registry().entryID(media("nvme0n1").get()).valueOr(0), idBefore);
    EXPECT_NE(registry().entryID(driver.get()).valueOr(0), idBefore);

    const auto expectGone = [&](RegistryHandle entry) {
        EXPECT_EQ(registry().property(entry, "BSD Name").failure().kind, FailureKind::Gone);
        EXPECT_EQ(registry().properties(entry).failure().kind, FailureKind::Gone);
        EXPECT_EQ(registry().name(entry).failure().kind, FailureKind::Gone);
        EXPECT_EQ(registry().path(entry).failure().kind, FailureKind::Gone);
        EXPECT_EQ(registry().className(entry).failure().kind, FailureKind::Gone);
        EXPECT_EQ(registry().entryID(entry).failure().kind, FailureKind::Gone);
        EXPECT_EQ(registry().parent(entry).failure().kind, FailureKind::Gone);
        EXPECT_EQ(registry().child(entry).failure().kind, FailureKind::Gone);
        EXPECT_EQ(registry().childIterator(entry).failure().kind, FailureKind::Gone);
        EXPECT_EQ(registry().descendantIterator(entry).failure().kind, FailureKind::Gone);
        EXPECT_FALSE(registry().conformsTo(entry, "IOService"));
    };
    // Kept elsewhere, so that its inode number is not used again.
    fs::rename(tree.path(Disk), tree.path("/old"));
    expectGone(disk.get());
    expectGone(driver.get());
    EXPECT_FALSE(media("nvme0n1"));
    EXPECT_THAT(ofClass("IOMedia"), ElementsAre("sda")) << "the link of the class leads to nothing";
    fs::remove(tree.path("/sys/class/block/nvme0n1"));

    this->disk(Disk, "16", "1 1 1 1 1 1 1 1 1 1 1\n");
    const auto again = media("nvme0n1");
    EXPECT_NE(registry().entryID(again.get()).valueOr(idBefore), idBefore);
    EXPECT_NE(again.get(), disk.get());
    expectGone(disk.get());
    EXPECT_EQ(report().failures, 0U) << "devices come and go";
}

TEST_F(LinuxRegistryTest, ALoopDeviceIsAnEntryWhileAFileIsAttached) {
    EXPECT_FALSE(media("loop0"));
    attachLoopFile();
    const auto first = media("loop0");
    ASSERT_TRUE(first);
    const std::uint64_t id = registry().entryID(first.get()).valueOr(0);
    fs::rename(tree.path(Loop + "/loop"), tree.path("/old"));
    EXPECT_EQ(registry().property(first.get(), "Size").failure().kind, FailureKind::Gone);
    attachLoopFile();
    const auto second = media("loop0");
    EXPECT_NE(registry().entryID(second.get()).valueOr(id), id) << "another medium";
    EXPECT_EQ(registry().name(first.get()).failure().kind, FailureKind::Gone);
}

TEST_F(LinuxRegistryTest, IteratorsGoOnWhileTheTreeChanges) {
    auto media = Utilities::iteratorWithServiceMatch(registry(), "IOMedia");
    media.nextObject();
    EXPECT_EQ(media.objectName(), "sda");
    tree.remove(Disk + "/nvme0n1p1");
    partition(Disk, "nvme0n1p3", 3);
    std::vector<std::string> rest;
    while (media.nextObject() != 0) rest.push_back(*media.objectName());
    EXPECT_THAT(rest, ElementsAre("nvme0n1", "nvme0n1p2", "nvme0n1p10")) << "settled when it was made";
    media.reset();
    EXPECT_NE(media.nextObject(), 0U);
    EXPECT_EQ(media.objectName(), "sda");

    auto walk = Utilities::initWithDeepChildIteratorFromObject(registry(), at("/pci0000:00/0000:00:1d.0").get());
    walk.nextObject();
    EXPECT_EQ(walk.objectName(), "0000:02:00.0");
    tree.remove(Disk);
    rest.clear();
    while (walk.nextObject() != 0) rest.push_back(*walk.objectName());
    EXPECT_THAT(rest, ElementsAre("nvme0", "hwmon0"));
    walk.reset();
    EXPECT_NE(walk.nextObject(), 0U);
    tree.remove(Host + "/0000:00:1d.0");
    EXPECT_EQ(walk.nextObject(), 0U);
    walk.reset();
    EXPECT_EQ(walk.nextObject(), 0U) << "where it started is gone";
}

TEST_F(LinuxRegistryTest, CountsHandles) {
    const RegistryHandles& handles = registry().handles();
    RegistryReference disk = media("nvme0n1");
    registry().retain(disk.get());
    EXPECT_EQ(handles.liveHandles(), 1U);
    EXPECT_EQ(handles.liveReferences(), 2U);
    tree.remove(Disk);
    registry().release(disk.get());
    EXPECT_EQ(handles.liveReferences(), 1U) << "a handle of something that went away is given back like any other";
    const RegistryHandle stale = disk.get();
    disk.reset();
    EXPECT_EQ(registry().name(stale).failure().kind, FailureKind::Absent);
    EXPECT_EQ(registry().next(stale), 0U);
    const RegistryReference iterator(registry(), registry().matchingServices({Kind::Class, "IOMedia", {}}).valueOr(0));
    EXPECT_EQ(registry().name(iterator.get()).failure().kind, FailureKind::Malformed);
    registry().retain(0);
    registry().release(0);
}

TEST_F(LinuxRegistryTest, ThreadsShareHandlesWhileDevicesComeAndGo) {
    std::atomic<int> open = 3;
    std::vector<std::thread> readers;
    for (int index = open; index > 0; --index)
        readers.emplace_back([&] {
            for (int round = 0; round < 20; ++round)
                for (auto media = Utilities::iteratorWithServiceMatch(registry(), "IOStorage");
                     media.nextObject() != 0;)
                    EXPECT_TRUE(media.propertyWithKey("Size").is_null() ||
                                media.propertyWithKey("sysfs-path").is_string() || !media.objectPath());
            --open;
        });
    while (open > 0) {
        attachLoopFile();
        fs::rename(tree.path(Loop + "/loop"), tree.path("/old"));
        tree.remove("/old");
    }
    for (std::thread& reader : readers) reader.join();
    EXPECT_EQ(registry().handles().liveHandles(), 0U);
}

TEST_F(LinuxRegistryTest, LinksOfASavedTreeStayInIt) {
    SavedTree elsewhere;
    elsewhere.write("/disk/uevent", "").write("/disk/size", "99\n");
    link(elsewhere.root() + "/disk", "/sys/class/block/outside");
    link("../../../../../../../../../../.." + elsewhere.root() + "/disk", "/sys/class/block/above");
    link("circle", "/sys/class/block/circle");
    link("/sys/devices/virtual/net/lo", "/sys/class/net/absolute");
    link(elsewhere.root(), "/sys/devices/virtual/block/escape");
    link("../../devices/virtual/block/escape/disk", "/sys/class/block/hidden");
    tree.write("/sys/class/block/no link", "");
    EXPECT_THAT(ofClass("IOMedia"), Not(testing::Contains("disk")));
    EXPECT_GE(report().failures, 1U);
    EXPECT_THAT(report().lastFailure->detail, HasSubstr("circle"));
    EXPECT_THAT(ofClass("IONetworkInterface"), ElementsAre("eth0", "lo", "lo")) << "an absolute link is the root's own";

    tree.remove(Disk + "/size");
    link(elsewhere.root() + "/disk/size", Disk + "/size");
    EXPECT_EQ(registry().property(media("nvme0n1").get(), "Size").failure().kind, FailureKind::Malformed);
    EXPECT_EQ(names(registry().descendantIterator(at("").get())).size(), 25U) << "a walk enters no link";
}

TEST_F(LinuxRegistryTest, ABadFileCostsItsOwnPropertyOnly) {
    const struct {
        const char* what;
        std::string content;
    } cases[] = {{"empty", ""},
                 {"no number", "abc\n"},
                 {"too large a number", "99999999999999999999\n"},
                 {"overflow", "18446744073709551615\n"},
                 {"no end", std::string(200000, '1')},
                 {"bytes", "\xFF\xFE\n"}};
    const auto disk = media("nvme0n1");
    for (const auto& one : cases) {
        tree.write(Disk + "/size", one.content);
        EXPECT_FALSE(registry().property(disk.get(), "Size")) << one.what;
        const Value all = registry().properties(disk.get()).valueOr({});
        EXPECT_FALSE(all.contains("Size")) << one.what;
        EXPECT_EQ(all["Whole"], true) << one.what;
        EXPECT_NO_THROW((void)all.dump());
    }
    EXPECT_THAT(report().lastFailure->detail, HasSubstr("larger"));
    tree.remove(Disk + "/size");
    ASSERT_EQ(::mkfifo(tree.path(Disk + "/size").c_str(), 0600), 0);
    EXPECT_EQ(registry().property(disk.get(), "Size").failure().kind, FailureKind::Malformed) << "and does not block";
    tree.write(Disk + "/stat", "1 2 3\n");
    const RegistryReference driver(registry(), registry().parent(disk.get()).valueOr(0));
    EXPECT_THAT(registry().property(driver.get(), "Statistics").failure().detail, HasSubstr("field 4"));
}

TEST(LinuxRegistryWithoutSysfs, HasAPlatformAndSaysWhatIsMissing) {
    SavedTree tree;
    tree.write("/proc/stat", "cpu 1 1 1 1\n");
    LinuxMachine machine(tree.root());
    auto walk = Utilities::iteratorWithServiceMatch(machine.registry(), "IOMedia");
    EXPECT_EQ(walk.nextObject(), 0U);
    for (const SourceReport& report : machine.diagnostics().reports()) {
        if (report.source != "/sys/devices") continue;
        ASSERT_TRUE(report.failure);
        EXPECT_EQ(report.failure->kind, FailureKind::Absent);
        EXPECT_EQ(report.mend, "mount sysfs at /sys");
    }
}

TEST(LinuxRegistryWithoutSysfs, ATreeWithoutAnIndexIsWalked) {
    SavedTree tree;
    tree.write(Loop + "/uevent", "").write("/sys/devices/virtual/net/lo/uevent", "").write(Loop + "/loop/offset", "0");
    fs::create_symlink("../../../../class/block", tree.path(Loop + "/subsystem"));
    LinuxMachine machine(tree.root());
    auto media = Utilities::iteratorWithServiceMatch(machine.registry(), "IOMedia");
    EXPECT_NE(media.nextObject(), 0U);
    EXPECT_EQ(media.propertyWithKey("BSD Name"), "loop0");
    EXPECT_EQ(media.nextObject(), 0U);
}

}  // namespace
}  // namespace hvk
