// ProcessStat.h - the texts of one process: /proc/[pid]/stat, statm, io and status.
//
// Nothing here allocates: a pass reads them for every process of the machine.
#pragma once

#include <cstdint>
#include <string_view>

#include "HVKPlatform/Result.h"

namespace hvk::parse {

/// What is wanted of /proc/[pid]/stat. Ticks are those of the machine's tick rate, pages those of its page size.
struct ProcessStat {
    std::int32_t pid = 0;             ///< field 1
    std::string_view command;         ///< field 2 without its parentheses, inside the text that was read
    std::int32_t parent = 0;          ///< field 4; 0 for the first process and kernel threads' root
    std::int32_t session = 0;         ///< field 6
    std::uint64_t flags = 0;          ///< field 9
    std::uint64_t faults = 0;         ///< fields 10 and 12: minor and major
    std::uint64_t cpuTicks = 0;       ///< fields 14 and 15: user and system, ended threads included
    std::uint64_t startTicks = 0;     ///< field 22, since the machine started
    std::uint64_t residentPages = 0;  ///< field 24

    /// Whether it is a thread of the kernel: it has no program and no memory of its own.
    static constexpr std::uint64_t KernelThread = 0x00200000;
    bool isKernelThread() const { return (flags & KernelThread) != 0; }
};

/// The line of a process. The command stands between the first parenthesis and the last one, whatever is in between:
/// a program may name itself "a) R 1 (b". Malformed when cut within a field that is wanted.
Result<ProcessStat> parseProcessStat(std::string_view text);

/// The short name of a process: at most 15 bytes. The kernel prints what a worker thread is doing behind its name
/// ("kworker/0:1H-events"), which changes from one reading to the next and is left off.
std::string_view shortCommand(const ProcessStat& stat);

/// Anonymous pages of /proc/[pid]/statm: resident (field 2) less file-backed and shared (field 3).
Result<std::uint64_t> parseAnonymousPages(std::string_view text);

/// Bytes moved between a process and storage, of /proc/[pid]/io.
struct ProcessIO {
    std::uint64_t read = 0;     ///< read_bytes
    std::uint64_t written = 0;  ///< write_bytes
};
Result<ProcessIO> parseProcessIO(std::string_view text);

/// voluntary_ctxt_switches of /proc/[pid]/status: how often the main thread went to sleep, to be woken again.
Result<std::uint64_t> parseContextSwitches(std::string_view text);

/// The effective user of the Uid line of /proc/[pid]/status.
Result<std::uint32_t> parseProcessUser(std::string_view text);

}  // namespace hvk::parse
