#include "HVKPlatform/linux/events/DiskTable.h"

#include <sys/stat.h>

#include <algorithm>
#include <string_view>
#include <utility>

#include "HVKPlatform/linux/parse/DeviceDatabase.h"
#include "HVKPlatform/linux/parse/Scan.h"
#include "HVKPlatform/linux/parse/SysfsText.h"

namespace hvk {

namespace {

constexpr const char* BlockClass = "/sys/class/block";
constexpr const char* MountTable = "/proc/self/mountinfo";
constexpr std::size_t LargestMountTable = 64 << 20;
/// The kernel's own, whatever the disk's is.
constexpr std::uint64_t BytesPerSector = 512;
/// An extended partition only holds others: the kernel shows two sectors of it.
constexpr std::uint64_t ExtendedPartitionBytes = 1024;
constexpr std::string_view SystemPartitionType = "c12a7328-f81f-11d2-ba4b-00a0c93ec93b";

std::string fileOf(const std::string& name, std::string_view attribute) {
    return std::string(BlockClass).append("/").append(name).append("/").append(attribute);
}

/// A file of one device, as it is now.
class Device {
public:
    Device(const LinuxRoot& root, const std::string& name) : root_(root), name_(name) {}

    std::optional<std::string> line(std::string_view attribute) const {
        return root_.readLine(fileOf(name_, attribute));
    }
    std::uint64_t number(std::string_view attribute) const {
        const auto text = line(attribute);
        return text ? parse::toUnsigned(*text).value_or(0) : 0;
    }
    bool flag(std::string_view attribute) const { return number(attribute) != 0; }
    bool has(std::string_view attribute) const {
        struct stat status {};
        return ::stat(root_.path(fileOf(name_, attribute)).c_str(), &status) == 0;
    }
    std::uint64_t inode() const {
        struct stat status {};
        return ::stat(root_.path(fileOf(name_, "")).c_str(), &status) == 0 ? status.st_ino : 0;
    }
    bool isPartition() const { return has("partition"); }

    /// An attribute of the disk that a partition lies on.
    std::string ofDisk(std::string_view attribute) const {
        return (isPartition() ? "../" : "") + std::string(attribute);
    }

    /// Whether it is divided: its partitions are directories in its own.
    bool isDivided() const {
        const auto entries = root_.list(fileOf(name_, ""));
        return std::any_of(entries.begin(), entries.end(), [&](const std::string& entry) {
            return entry.starts_with(name_) && has(entry + "/partition");
        });
    }
    bool isPartOfAnother() const { return !root_.list(fileOf(name_, "holders")).empty(); }

    /// Whether there is a medium: many devices are made in advance, and a drive may be empty.
    bool hasMedium(std::uint64_t bytes) const {
        if (name_.starts_with("loop") && !isPartition()) return has("loop/backing_file");
        return bytes > 0 || name_.starts_with("zram");
    }

private:
    const LinuxRoot& root_;
    const std::string& name_;
};

/// What the device manager found out about a device; empty without one.
std::string findingsOf(const LinuxRoot& root, const std::string& device) {
    return root.readFile("/run/udev/data/b" + device).valueOr("");
}

void set(Value& description, const char* key, std::optional<std::string> text) {
    if (text && !text->empty()) description[key] = parse::readableText(*text);
}

std::optional<std::string> textOf(std::optional<std::string_view> text) {
    return text ? std::optional<std::string>(*text) : std::nullopt;
}

}  // namespace

/// Where a device's file system is mounted: its root rather than a part of it, the first place rather than a later one.
const parse::MountRecord* DiskTable::mountOf(const std::string& device, const std::string& name) const {
    // A file system of several devices has a number of its own, and names the first.
    for (const std::string& key : {device, "/dev/" + name})
        if (const auto found = mountOf_.find(key); found != mountOf_.end()) return &mounts_[found->second];
    return nullptr;
}

std::optional<DiskState> DiskTable::read(const std::string& name) const {
    const Device device(root_, name);
    const auto number = device.line("dev");
    const std::uint64_t bytes = device.number("size") * BytesPerSector;
    if (!number || device.flag("hidden") || !device.hasMedium(bytes)) return std::nullopt;

    DiskState state;
    state.identity = device.inode() * 0x9E3779B97F4A7C15 + device.number("diskseq");
    Value& about = state.description;
    const bool whole = !device.isPartition();
    about = {{"DAMediaBSDName", parse::readableText(name)},
             {"DAMediaSize", bytes},
             {"DAMediaWhole", whole},
             {"DAMediaWritable", !device.flag("ro")},
             {"DAMediaRemovable", device.flag(device.ofDisk("removable"))},
             {"DAVolumeNetwork", false}};
    const std::string_view pair = *number;
    const std::size_t colon = std::min(pair.find(':'), pair.size() - 1);
    if (const auto major = parse::toUnsigned(pair.substr(0, colon))) about["DAMediaBSDMajor"] = *major;
    if (const auto minor = parse::toUnsigned(pair.substr(colon + 1))) about["DAMediaBSDMinor"] = *minor;
    if (name.starts_with("loop")) {
        about["DADeviceModel"] = "Disk Image";
    } else {
        set(about, "DADeviceModel", device.line(device.ofDisk("device/model")));
        set(about, "DADeviceVendor", device.line(device.ofDisk("device/vendor")));
    }

    const std::string findings = findingsOf(root_, *number);
    const auto finding = [&](const char* key) { return textOf(parse::deviceProperty(findings, key)); };
    const auto usage = finding("ID_FS_USAGE");
    set(about, "DAVolumeKind", finding("ID_FS_TYPE"));
    set(about, "DAVolumeUUID", finding("ID_FS_UUID"));
    if (const auto label = finding("ID_FS_LABEL_ENC")) set(about, "DAVolumeName", parse::decodedDeviceText(*label));
    // Without the device manager the partition's own name tells.
    const std::string variables = root_.readFile(fileOf(name, "uevent")).valueOr("");
    if (finding("ID_PART_ENTRY_TYPE") == SystemPartitionType ||
        parse::deviceVariable(variables, "PARTNAME").value_or("").starts_with("EFI "))
        about["DAVolumeName"] = "EFI";

    const parse::MountRecord* mount = mountOf(*number, name);
    if (mount != nullptr) {
        about["DAVolumePath"] = parse::readableText(mount->path);
        about["DAVolumeKind"] = parse::readableText(mount->kind);
    }
    about["DAVolumeMountable"] = mount != nullptr || ((!usage || *usage == "filesystem") && !device.isPartOfAnother() &&
                                                      (!whole ? bytes != ExtendedPartitionBytes : !device.isDivided()));
    return state;
}

void DiskTable::readMounts() {
    const auto content = root_.readFile(MountTable, LargestMountTable);
    if (!content) {
        (void)health_.failed(content.failure());
        return;
    }
    auto mounts = parse::parseMountInfo(*content);
    if (!mounts) {
        (void)health_.failed(mounts.failure());
        return;
    }
    health_.works();
    mounts_ = std::move(*mounts);
    mountOf_.clear();
    for (std::size_t index = 0; index < mounts_.size(); ++index) {
        const parse::MountRecord& mount = mounts_[index];
        const std::string key =
            mount.major == 0 ? mount.source : std::to_string(mount.major) + ":" + std::to_string(mount.minor);
        const auto [known, isNew] = mountOf_.try_emplace(key, index);
        if (!isNew && mount.root == "/" && mounts_[known->second].root != "/") known->second = index;
    }
}

void DiskTable::lookAt(const std::string& name, DiskStates& states) const {
    auto state = read(name);
    if (!state) {
        states.erase(name);
        return;
    }
    auto& place = states[name];
    // One that did not change stays the same object: comparing it costs nothing.
    if (!place || *place != *state) place = std::make_shared<const DiskState>(std::move(*state));
}

void DiskTable::lookAtNetworkVolumes(DiskStates& states) const {
    DiskStates before;
    std::erase_if(states, [&](const auto& one) {
        const bool isVolume = one.first.starts_with('/');
        if (isVolume) before.insert(one);
        return isVolume;
    });
    for (const parse::MountRecord& mount : mounts_) {
        if (!parse::isNetworkFileSystem(mount.kind)) continue;
        DiskState state;
        state.description = {{"DAVolumePath", parse::readableText(mount.path)},
                             {"DAVolumeName", parse::readableText(mount.source)},
                             {"DAVolumeKind", parse::readableText(mount.kind)},
                             {"DAVolumeMountable", true},
                             {"DAVolumeNetwork", true}};
        const std::string key = mount.path + " of " + mount.source;
        const auto known = before.find(key);
        if (known != before.end() && *known->second == state)
            states.insert(*known);
        else
            states[key] = std::make_shared<const DiskState>(std::move(state));
    }
}

bool DiskTable::publish(DiskStates states) {
    if (states == *states_) return false;
    states_ = std::make_shared<const DiskStates>(std::move(states));
    return true;
}

bool DiskTable::lookAtEverything() {
    readMounts();
    DiskStates states = *states_;
    const std::vector<std::string> names = root_.list(BlockClass);
    std::erase_if(states, [&](const auto& one) {
        return !one.first.starts_with('/') && !std::binary_search(names.begin(), names.end(), one.first);
    });
    for (const std::string& name : names) lookAt(name, states);
    lookAtNetworkVolumes(states);
    return publish(std::move(states));
}

bool DiskTable::lookAt(const std::vector<std::string>& names) {
    readMounts();
    DiskStates states = *states_;
    for (const std::string& name : names) {
        lookAt(name, states);
        // Whether a disk is divided is seen by its partitions.
        std::vector<std::string> wholes;
        for (const auto& [disk, state] : states)
            if (name != disk && name.starts_with(disk)) wholes.push_back(disk);
        for (const std::string& whole : wholes) lookAt(whole, states);
    }
    lookAtNetworkVolumes(states);
    return publish(std::move(states));
}

bool DiskTable::lookAtMounts() {
    readMounts();
    DiskStates states = *states_;
    for (const auto& [name, state] : *states_) {
        if (name.starts_with('/')) continue;
        const Value& about = state->description;
        const parse::MountRecord* mount = mountOf(std::to_string(about.value("DAMediaBSDMajor", 0U)) + ":" +
                                                      std::to_string(about.value("DAMediaBSDMinor", 0U)),
                                                  name);
        const std::string path = mount == nullptr ? std::string() : parse::readableText(mount->path);
        if (path != about.value("DAVolumePath", std::string())) lookAt(name, states);
    }
    lookAtNetworkVolumes(states);
    return publish(std::move(states));
}

}  // namespace hvk
