#include "HVKPlatform/darwin/decode/ProcessRecords.h"

#include <algorithm>
#include <string>

#include "HVKPlatform/darwin/decode/Bytes.h"

namespace hvk::decode {

namespace {

/// The text of a fixed field: up to its first NUL or to its end.
std::string fixedText(std::span<const std::uint8_t> bytes, std::size_t offset, std::size_t width) {
    const auto text = bytes.subspan(offset, width);
    return {text.begin(), std::find(text.begin(), text.end(), 0)};
}

/// The identity in a record that is long enough.
std::uint64_t identityIn(std::span<const std::uint8_t> bytes) {
    constexpr std::uint64_t MicrosecondsPerSecond = 1'000'000;
    const auto seconds = field<std::uint64_t>(bytes, 120);
    const auto microseconds = field<std::uint64_t>(bytes, 128);
    return std::max<std::uint64_t>(seconds * MicrosecondsPerSecond + microseconds, 1);
}

}  // namespace

Result<std::int64_t> decodeTimebaseFrequency(std::span<const std::uint8_t> bytes) {
    constexpr const char* Source = "hw.tbfrequency";
    if (bytes.size() < sizeof(std::int64_t)) return shortRecord(Source, bytes.size(), sizeof(std::int64_t));
    const auto frequency = field<std::int64_t>(bytes, 0);
    if (frequency <= 0) return Failure{FailureKind::Absent, Source, std::to_string(frequency) + " ticks per second"};
    return frequency;
}

Status decodeProcessList(std::span<const std::int32_t> listed, std::vector<std::int32_t>& pids) {
    if (listed.empty()) return Failure{FailureKind::Absent, "proc_listallpids", "no process is listed"};
    pids.assign(listed.begin(), listed.end());
    std::sort(pids.begin(), pids.end());
    pids.erase(std::unique(pids.begin(), pids.end()), pids.end());
    return {};
}

Result<ProcessInformation> decodeProcessInformation(std::span<const std::uint8_t> bytes) {
    if (bytes.size() < ProcessInformationSize)
        return shortRecord("PROC_PIDTBSDINFO", bytes.size(), ProcessInformationSize);
    ProcessInformation information;
    information.pid = field<std::int32_t>(bytes, 12);
    information.parent = field<std::int32_t>(bytes, 16);
    information.user = field<std::uint32_t>(bytes, 20);
    information.command = fixedText(bytes, 48, 16);
    information.name = fixedText(bytes, 64, 32);
    information.identity = identityIn(bytes);
    return information;
}

Result<std::uint64_t> decodeProcessIdentity(std::span<const std::uint8_t> bytes) {
    if (bytes.size() < ProcessInformationSize)
        return shortRecord("PROC_PIDTBSDINFO", bytes.size(), ProcessInformationSize);
    return identityIn(bytes);
}

Result<ResourceUsage> decodeResourceUsage(std::span<const std::uint8_t> bytes) {
    if (bytes.size() < ResourceUsageSize) return shortRecord("proc_pid_rusage", bytes.size(), ResourceUsageSize);
    ResourceUsage resources;
    resources.startTicks = field<std::uint64_t>(bytes, 80);
    resources.usage.cputime = field<std::uint64_t>(bytes, 16) + field<std::uint64_t>(bytes, 24);
    resources.usage.memory = field<std::uint64_t>(bytes, 72);
    resources.usage.diskRead = field<std::uint64_t>(bytes, 144);
    resources.usage.diskWritten = field<std::uint64_t>(bytes, 152);
    resources.usage.wakeups = field<std::uint64_t>(bytes, 32);
    resources.usage.kind = ProcessUsageKind::Complete;
    return resources;
}

Result<ProcessUsage> decodeTaskUsage(std::span<const std::uint8_t> bytes) {
    if (bytes.size() < TaskAllInformationSize)
        return shortRecord("PROC_PIDTASKALLINFO", bytes.size(), TaskAllInformationSize);
    const auto task = bytes.subspan(ProcessInformationSize);
    ProcessUsage usage;
    usage.identity = identityIn(bytes);
    usage.cputime = field<std::uint64_t>(task, 16) + field<std::uint64_t>(task, 24);
    usage.kind = ProcessUsageKind::CPUOnly;
    return usage;
}

Result<std::uint64_t> decodeFootprint(std::span<const std::uint8_t> bytes) {
    if (bytes.size() < TaskMemorySize) return shortRecord("TASK_VM_INFO", bytes.size(), TaskMemorySize);
    return field<std::uint64_t>(bytes, 144);
}

}  // namespace hvk::decode
