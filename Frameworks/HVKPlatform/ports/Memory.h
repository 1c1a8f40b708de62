// Memory.h - the kernel's virtual-memory counters, the swap space and the size of the memory.
#pragma once

#include <cstdint>

#include "HVKBase/Export.h"
#include "HVKPlatform/Result.h"

namespace hvk {

/// Virtual-memory counters, all in pages. The first nine are current, the last two count since boot.
/// docs/memory.md says how a Linux kernel's figures are projected onto them.
struct VirtualMemoryStatistics {
    std::uint64_t wireCount = 0;
    std::uint64_t freeCount = 0;
    std::uint64_t activeCount = 0;
    std::uint64_t inactiveCount = 0;
    std::uint64_t compressorPageCount = 0;  ///< pages of real memory that compressed data occupies
    std::uint64_t externalPageCount = 0;    ///< pages that a file backs
    std::uint64_t internalPageCount = 0;    ///< anonymous pages
    std::uint64_t purgeableCount = 0;       ///< anonymous pages that may be dropped unwritten
    std::uint64_t pageIns = 0;
    std::uint64_t pageOuts = 0;

    bool operator==(const VirtualMemoryStatistics&) const = default;
};

/// Swap space in bytes.
struct SwapUsage {
    std::uint64_t total = 0;
    std::uint64_t available = 0;
    std::uint64_t used = 0;

    bool operator==(const SwapUsage&) const = default;
};

/// Memory counters. Thread: the one that updates the memory module.
class HVK_EXPORT MemoryPort {
public:
    virtual ~MemoryPort() = default;

    /// host_statistics64(HOST_VM_INFO64); /proc/meminfo, /proc/vmstat, zram and zswap.
    virtual Result<VirtualMemoryStatistics> virtualMemory() = 0;

    /// sysctl VM_SWAPUSAGE; SwapTotal and SwapFree of /proc/meminfo. A machine without swap answers zeros.
    virtual Result<SwapUsage> swapUsage() = 0;

    /// Bytes of physical memory that the kernel manages. sysctl HW_MEMSIZE; MemTotal.
    virtual Result<std::uint64_t> physicalMemory() = 0;
};

/// Answers Unsupported to everything: the base of a new adapter.
class HVK_EXPORT UnsupportedMemoryPort : public MemoryPort {
public:
    Result<VirtualMemoryStatistics> virtualMemory() override { return unsupported("virtual memory statistics"); }
    Result<SwapUsage> swapUsage() override { return unsupported("swap usage"); }
    Result<std::uint64_t> physicalMemory() override { return unsupported("physical memory"); }
};

/// Hands every question on; a test overrides the one it bends.
class HVK_EXPORT ForwardingMemoryPort : public MemoryPort {
public:
    explicit ForwardingMemoryPort(MemoryPort& target) : target_(target) {}
    Result<VirtualMemoryStatistics> virtualMemory() override { return target_.virtualMemory(); }
    Result<SwapUsage> swapUsage() override { return target_.swapUsage(); }
    Result<std::uint64_t> physicalMemory() override { return target_.physicalMemory(); }

protected:
    MemoryPort& target_;
};

}  // namespace hvk
