#include "HVKPlatform/linux/registry/BlockProjector.h"

#include <algorithm>
#include <array>
#include <limits>
#include <string_view>

#include "HVKPlatform/linux/parse/BlockStat.h"
#include "HVKPlatform/linux/parse/Scan.h"

namespace hvk {

namespace {

/// The kernel's own, in "size", "start" and "stat", whatever the disk's is.
constexpr std::uint64_t BytesPerSector = 512;

bool isPartition(const SysfsDevice& media) { return media.has("partition"); }

/// The disk of a partition is the device that it lies in.
std::string ofDisk(const SysfsDevice& media, std::string_view attribute) {
    return (isPartition(media) ? "../" : "") + std::string(attribute);
}

Result<Value> sectors(const SysfsDevice& media, std::string_view attribute) {
    const auto count = media.number(attribute);
    if (!count) return count.failure();
    if (!count->is_number_unsigned() || *count > std::numeric_limits<std::uint64_t>::max() / BytesPerSector)
        return Failure{FailureKind::Malformed, media.file(attribute), "it is no number of sectors"};
    return Value(count->get<std::uint64_t>() * BytesPerSector);
}

/// The half of "259:3" before or after the colon.
Result<Value> deviceNumber(const SysfsDevice& media, bool isMajor) {
    const auto text = media.text("dev");
    if (!text) return text.failure();
    const std::string_view word = text->get_ref<const std::string&>();
    const std::size_t colon = std::min(word.find(':'), word.size());
    const auto number =
        parse::toUnsigned(isMajor ? word.substr(0, colon) : word.substr(std::min(word.size(), colon + 1)));
    if (!number) return Failure{FailureKind::Malformed, media.file("dev"), "it is no device number"};
    return Value(*number);
}

Result<Value> isWritable(const SysfsDevice& media) {
    const auto readOnly = media.flag("ro");
    if (!readOnly) return readOnly.failure();
    return Value(*readOnly == false);
}

Result<Value> statistics(const SysfsDevice& disk) {
    const auto content = disk.read("stat");
    if (!content) return content.failure();
    const auto counters = parse::parseBlockStatistics(*content, disk.file("stat"));
    if (!counters) return counters.failure();
    return Value{
        {"Operations (Read)", counters->readOperations},
        {"Operations (Write)", counters->writeOperations},
        {"Bytes (Read)", counters->readBytes},
        {"Bytes (Write)", counters->writeBytes},
        {"Total Time (Read)", counters->readNanoseconds},
        {"Total Time (Write)", counters->writeNanoseconds},
    };
}

}  // namespace

BlockProjector::BlockProjector()
    : media_{
          {"BSD Name", [](const SysfsDevice& media) -> Result<Value> { return Value(media.nodeName()); }},
          {"BSD Major", [](const SysfsDevice& media) { return deviceNumber(media, true); }},
          {"BSD Minor", [](const SysfsDevice& media) { return deviceNumber(media, false); }},
          {"Size", [](const SysfsDevice& media) { return sectors(media, "size"); }},
          {"Base", [](const SysfsDevice& media) { return sectors(media, "start"); }},
          {"Partition ID", [](const SysfsDevice& media) { return media.number("partition"); }},
          {"Preferred Block Size",
           [](const SysfsDevice& media) { return media.number(ofDisk(media, "queue/logical_block_size")); }},
          {"Whole", [](const SysfsDevice& media) -> Result<Value> { return Value(!isPartition(media)); }},
          {"Writable", isWritable},
          {"Removable", [](const SysfsDevice& media) { return media.flag(ofDisk(media, "removable")); }},
      },
      driver_{{"Statistics", statistics}} {}

bool BlockProjector::serves(const std::string& subsystem) const { return subsystem == "block"; }

bool BlockProjector::mayYield(const std::string&, const std::string& className) const {
    return className == "IOMedia" || className == "IOBlockStorageDriver" || className == "IOStorage";
}

std::optional<Projection> BlockProjector::project(const SysfsDevice& device) const {
    Projection projection;
    projection.classes = {"IOMedia", "IOStorage", "IOService"};
    projection.properties = &media_;
    if (isPartition(device)) return projection;

    const std::string name = device.nodeName();
    // The kernel makes a number of loop devices in advance; "loop" is in the directory while a file is attached.
    if (std::string_view(name).substr(0, 4) == "loop") {
        if (!device.has("loop")) return std::nullopt;
        projection.lifeline = "loop";
    }
    projection.above.push_back(
        {"IOBlockStorageDriver", name, {"IOBlockStorageDriver", "IOStorage", "IOService"}, &driver_});
    return projection;
}

}  // namespace hvk
