// ProcessRecords.h - decodes what the kernel tells of processes: the list, who they are, what they have used.
//
// Owns no call. Arguments are ProcessArguments's.
#pragma once

#include <cstddef>
#include <cstdint>
#include <span>
#include <vector>

#include "HVKPlatform/ports/ProcessTable.h"

namespace hvk::decode {

/// Bytes of proc_bsdinfo, proc_pidinfo flavour PROC_PIDTBSDINFO.
inline constexpr std::size_t ProcessInformationSize = 136;

/// Bytes of proc_taskallinfo, flavour PROC_PIDTASKALLINFO: proc_bsdinfo, then proc_taskinfo.
inline constexpr std::size_t TaskAllInformationSize = 232;

/// Bytes of rusage_info_v3.
inline constexpr std::size_t ResourceUsageSize = 232;

/// Bytes of task_vm_info as far as it is read: 38 words, up to the footprint.
inline constexpr std::size_t TaskMemorySize = 152;

/// One reading of proc_pid_rusage.
struct ResourceUsage {
    std::uint64_t startTicks = 0;  ///< when the process started, ticks; the same for as long as it lives
    ProcessUsage usage;            ///< Complete; the identity is not in this record and stays 0
};

/// sysctl hw.tbfrequency, ticks per second. Malformed when short, Absent when not positive.
Result<std::int64_t> decodeTimebaseFrequency(std::span<const std::uint8_t> bytes);

/// proc_listallpids: orders the pids and drops what is listed twice. The kernel's order is that of creation. Absent,
/// with the caller's pids left alone, when none is listed.
Status decodeProcessList(std::span<const std::int32_t> listed, std::vector<std::int32_t>& pids);

/// PROC_PIDTBSDINFO. The names may fill their fields without a terminator. Malformed when short.
Result<ProcessInformation> decodeProcessInformation(std::span<const std::uint8_t> bytes);

/// The identity in PROC_PIDTBSDINFO: microseconds since 1970 when the process started, at least 1 (the kernel's own
/// process starts before the clock is set). Malformed when short.
Result<std::uint64_t> decodeProcessIdentity(std::span<const std::uint8_t> bytes);

/// proc_pid_rusage flavour 3; wakeups are those of an idle package. Malformed when short.
Result<ResourceUsage> decodeResourceUsage(std::span<const std::uint8_t> bytes);

/// PROC_PIDTASKALLINFO: processor time and identity, kind CPUOnly. Malformed when short.
Result<ProcessUsage> decodeTaskUsage(std::span<const std::uint8_t> bytes);

/// task_info(TASK_VM_INFO): the physical footprint, bytes. Malformed when short: a kernel that does not count it.
Result<std::uint64_t> decodeFootprint(std::span<const std::uint8_t> bytes);

}  // namespace hvk::decode
