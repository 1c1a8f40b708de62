// Memory.h - decodes the kernel's virtual-memory statistics and its swap usage.
#pragma once

#include <cstddef>
#include <cstdint>
#include <span>

#include "HVKPlatform/ports/Memory.h"

namespace hvk::decode {

/// Bytes of vm_statistics64 as far as it is read: 38 words. Later kernels append fields and write no more than asked.
inline constexpr std::size_t VirtualMemorySize = 152;

/// Bytes of xsw_usage.
inline constexpr std::size_t SwapUsageSize = 32;

/// host_statistics64(HOST_VM_INFO64). The free count holds the speculative pages, as the kernel keeps it. Malformed
/// when short: the revision before the compressor (24 words) is too old to be read.
Result<VirtualMemoryStatistics> decodeVirtualMemory(std::span<const std::uint8_t> bytes);

/// sysctl VM_SWAPUSAGE. Malformed when short.
Result<SwapUsage> decodeSwapUsage(std::span<const std::uint8_t> bytes);

}  // namespace hvk::decode
