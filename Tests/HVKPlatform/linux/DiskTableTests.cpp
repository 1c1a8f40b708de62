// The disks of a written-down machine as disk arbitration describes them.

#include "HVKPlatform/linux/events/DiskTable.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "HVKPlatform/linux/LinuxMachine.h"
#include "support/SavedTree.h"

namespace hvk {
namespace {

using test::SavedTree;

class DiskTables : public testing::Test {
protected:
    /// A device of the block class; `sectors` of 512 bytes.
    void device(const std::string& name, const std::string& number, const std::string& sectors) {
        const std::string directory = "/sys/class/block/" + name;
        tree_.write(directory + "/dev", number + "\n").write(directory + "/size", sectors + "\n");
        tree_.write(directory + "/ro", "0\n").write(directory + "/removable", "0\n");
    }
    void partition(const std::string& disk, const std::string& name, const std::string& number,
                   const std::string& sectors, const std::string& uevent = "") {
        device(name, number, sectors);
        tree_.write("/sys/class/block/" + name + "/partition", "1\n")
            .write("/sys/class/block/" + name + "/uevent", uevent);
        tree_.write("/sys/class/block/" + disk + "/" + name + "/partition", "1\n");
    }
    void mounts(const std::string& lines) { tree_.write("/proc/self/mountinfo", lines); }

    Value described(const std::string& name) {
        const auto states = table_.states();
        const auto found = states->find(name);
        return found == states->end() ? Value() : found->second->description;
    }

    SavedTree tree_;
    LinuxRoot root_{tree_.root()};
    Diagnostics diagnostics_;
    DiskTable table_{root_, diagnostics_.source("mounts", "test")};
};

TEST_F(DiskTables, EachKindOfDeviceIsDescribed) {
    device("sda", "8:0", "2000");
    tree_.write("/sys/class/block/sda/device/model", "Fast Disk  \n");
    partition("sda", "sda1", "8:1", "100", "PARTNAME=EFI System Partition\n");
    partition("sda", "sda2", "8:2", "2");
    partition("sda", "sda3", "8:3", "1000");
    partition("sda", "sda4", "8:4", "500");
    tree_.write("/sys/class/block/sda4/holders/dm-0/dev", "253:0\n");
    device("dm-0", "253:0", "490");
    device("sdb", "8:16", "800");
    tree_.write("/run/udev/data/b8:16",
                "E:ID_FS_USAGE=filesystem\nE:ID_FS_TYPE=ext4\nE:ID_FS_UUID=1-2\nE:ID_FS_LABEL_ENC=My\\x20Disk\n");
    device("sdc", "8:32", "800");
    tree_.write("/run/udev/data/b8:32", "E:ID_FS_USAGE=raid\n");
    device("sr0", "11:0", "0");
    device("zram1", "252:1", "0");
    device("loop0", "7:0", "0");
    device("loop1", "7:1", "10");
    tree_.write("/sys/class/block/loop1/loop/backing_file", "/image\n");
    device("nvme0c0n1", "259:9", "10");
    tree_.write("/sys/class/block/nvme0c0n1/hidden", "1\n");
    mounts(
        "1 0 8:3 /part /bound rw - ext4 /dev/sda3 rw\n2 0 8:3 / /data rw - ext4 /dev/sda3 rw\n"
        "3 0 0:50 / /share rw - nfs4 host:/x rw\n4 0 0:51 / /tmp rw - tmpfs tmpfs rw\n");
    ASSERT_TRUE(table_.lookAtEverything());

    const struct {
        const char* name;
        Value mountable;  ///< null: there is no such disk
    } cases[] = {{"sda", false},     {"sda1", true},  {"sda2", false},       {"sda3", true},   {"sda4", false},
                 {"dm-0", true},     {"sdb", true},   {"sdc", false},        {"sr0", nullptr}, {"zram1", true},
                 {"loop0", nullptr}, {"loop1", true}, {"nvme0c0n1", nullptr}};
    for (const auto& one : cases)
        EXPECT_EQ(described(one.name).is_null() ? Value() : described(one.name)["DAVolumeMountable"], one.mountable)
            << one.name;
    EXPECT_EQ(described("sda")["DADeviceModel"], "Fast Disk");
    EXPECT_EQ(described("sda")["DAMediaSize"], 2000 * 512);
    EXPECT_EQ(described("sda1")["DAVolumeName"], "EFI");
    EXPECT_EQ(described("sda3")["DAVolumePath"], "/data") << "the whole rather than a part of it";
    EXPECT_EQ(described("sda3")["DAVolumeKind"], "ext4");
    EXPECT_EQ(described("sdb")["DAVolumeName"], "My Disk");
    EXPECT_FALSE(described("sdb").contains("DAVolumePath"));
    EXPECT_EQ(described("loop1")["DADeviceModel"], "Disk Image");
    const Value share = described("/share of host:/x");
    EXPECT_EQ(share["DAVolumeNetwork"], true);
    EXPECT_EQ(share["DAVolumePath"], "/share");
    EXPECT_EQ(table_.states()->size(), 11U) << "a file system in memory is no disk";
}

TEST_F(DiskTables, OnlyWhatIsOtherThanBeforeIsOther) {
    device("sda", "8:0", "2000");
    device("sdb", "8:16", "800");
    mounts("");
    EXPECT_TRUE(table_.lookAtEverything());
    const auto before = table_.states();
    EXPECT_FALSE(table_.lookAtEverything());
    EXPECT_FALSE(table_.lookAt({"sda", "never"}));
    EXPECT_FALSE(table_.lookAtMounts());
    mounts("1 0 8:0 / /data rw - ext4 /dev/sda rw\n3 0 0:50 / /share rw - cifs //host/x rw\n");
    EXPECT_TRUE(table_.lookAtMounts());
    EXPECT_EQ(described("sda")["DAVolumePath"], "/data");
    EXPECT_EQ(table_.states()->at("sdb"), before->at("sdb")) << "the same object";
    EXPECT_EQ(before->count("/share of //host/x"), 0U) << "a state that was given out stays as it was";
    // A table that cannot be read says nothing, and so nothing was unmounted.
    mounts("1 0 8:0 / /data rw - ext4");
    EXPECT_FALSE(table_.lookAtMounts());
    EXPECT_EQ(diagnostics_.reports().back().failure->kind, FailureKind::Malformed);
    mounts("");
    tree_.remove("/sys/class/block/sdb");
    EXPECT_TRUE(table_.lookAtEverything());
    EXPECT_EQ(table_.states()->size(), 1U);
    partition("sda", "sda1", "8:1", "100");
    EXPECT_TRUE(table_.lookAt({"sda1"}));
    EXPECT_EQ(described("sda")["DAVolumeMountable"], false) << "it is divided now";
}

TEST(SavedTrees, TellNothingAndSayWhy) {
    SavedTree tree;
    tree.write("/proc/stat", "btime 1700000000\n").write("/proc/self/mountinfo", "");
    LinuxMachine machine(tree.root());
    HardwareEventsPort& events = machine.hardwareEvents();
    const auto isRefused = [](const auto& answer) {
        return !answer && answer.failure().kind == FailureKind::Unsupported && !answer.failure().detail.empty();
    };
    EXPECT_TRUE(
        isRefused(events.watchServices(ServiceEvent::Publish, {RegistryMatch::Kind::Class, "IOMedia", {}}, {})));
    EXPECT_TRUE(isRefused(events.watchDisks({})));
    EXPECT_TRUE(isRefused(events.watchConfiguration("x", {}, {}, {})));
    EXPECT_TRUE(isRefused(events.watchPowerSources({})));
    EXPECT_TRUE(isRefused(events.watchSystemPower({})));
    EXPECT_TRUE(isRefused(events.watchBluetooth({"USB"}, {})));
    EXPECT_TRUE(isRefused(events.interfaceAddresses()));
    events.allowPowerChange(1);
}

}  // namespace
}  // namespace hvk
