#include "HVKPlatform/darwin/decode/Memory.h"

#include "HVKPlatform/darwin/decode/Bytes.h"

namespace hvk::decode {

Result<VirtualMemoryStatistics> decodeVirtualMemory(std::span<const std::uint8_t> bytes) {
    if (bytes.size() < VirtualMemorySize) return shortRecord("host_statistics64", bytes.size(), VirtualMemorySize);
    VirtualMemoryStatistics statistics;
    statistics.freeCount = field<std::uint32_t>(bytes, 0);
    statistics.activeCount = field<std::uint32_t>(bytes, 4);
    statistics.inactiveCount = field<std::uint32_t>(bytes, 8);
    statistics.wireCount = field<std::uint32_t>(bytes, 12);
    statistics.pageIns = field<std::uint64_t>(bytes, 32);
    statistics.pageOuts = field<std::uint64_t>(bytes, 40);
    statistics.purgeableCount = field<std::uint32_t>(bytes, 88);
    statistics.compressorPageCount = field<std::uint32_t>(bytes, 128);
    statistics.externalPageCount = field<std::uint32_t>(bytes, 136);
    statistics.internalPageCount = field<std::uint32_t>(bytes, 140);
    return statistics;
}

Result<SwapUsage> decodeSwapUsage(std::span<const std::uint8_t> bytes) {
    if (bytes.size() < SwapUsageSize) return shortRecord("vm.swapusage", bytes.size(), SwapUsageSize);
    return SwapUsage{field<std::uint64_t>(bytes, 0), field<std::uint64_t>(bytes, 8), field<std::uint64_t>(bytes, 16)};
}

}  // namespace hvk::decode
