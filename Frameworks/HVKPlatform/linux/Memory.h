// Memory.h - memory of a Linux machine, projected onto the page counts of the port.
//
// docs/memory.md holds the table of which kernel figure goes where and why.
#pragma once

#include <optional>
#include <vector>

#include "HVKPlatform/linux/KernelFile.h"
#include "HVKPlatform/linux/parse/MemInfo.h"
#include "HVKPlatform/ports/Clock.h"
#include "HVKPlatform/ports/Memory.h"
#include "HVKPlatform/support/Diagnostics.h"

namespace hvk {

/// The memory that the zram devices of a machine occupy. The list of devices is read again every 10 seconds.
class ZramDevices {
public:
    ZramDevices(const LinuxRoot& root, ClockPort& clock, Diagnostics& diagnostics);

    /// Bytes of real memory, of all devices; a device that cannot be read counts nothing.
    std::uint64_t memoryUsed();

private:
    void findDevices();

    const LinuxRoot& root_;
    ClockPort& clock_;
    SourceHealth& source_;
    std::vector<KernelFile> devices_;
    std::optional<double> foundAt_;  ///< monotonic
};

/// Memory from /proc/meminfo, /proc/vmstat and the mm_stat of each /sys/block/zramN.
class LinuxMemoryPort : public MemoryPort {
public:
    LinuxMemoryPort(const LinuxRoot& root, std::uint64_t pageSize, ClockPort& clock, Diagnostics& diagnostics);
    Result<VirtualMemoryStatistics> virtualMemory() override;
    /// Each reading of the virtual memory also brings the swap figures of the same instant, handed out once; asked on
    /// its own it reads the file.
    Result<SwapUsage> swapUsage() override;
    Result<std::uint64_t> physicalMemory() override;

private:
    Result<parse::MemInfo> readMemInfo();
    std::uint64_t compressedBytes(const parse::MemInfo& info);

    std::uint64_t pageSize_;
    KernelFile memInfo_;
    KernelFile vmStat_;
    KernelFile zswapPool_;
    ZramDevices zram_;
    SourceHealth& memInfoSource_;
    SourceHealth& vmStatSource_;
    std::optional<SwapUsage> pendingSwap_;
    parse::PagingCounts paging_;
};

}  // namespace hvk
