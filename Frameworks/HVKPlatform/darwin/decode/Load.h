// Load.h - decodes the kernel's load averages.
#pragma once

#include <cstddef>
#include <cstdint>
#include <span>

#include "HVKPlatform/ports/Load.h"

namespace hvk::decode {

/// Bytes of a 64-bit loadavg: three 32-bit fixed-point numbers, four bytes of padding, the 64-bit scale (2048).
inline constexpr std::size_t LoadAveragesSize = 24;

/// sysctl VM_LOADAVG. Malformed when short or when the scale is not positive.
Result<LoadAverages> decodeLoadAverages(std::span<const std::uint8_t> bytes);

}  // namespace hvk::decode
