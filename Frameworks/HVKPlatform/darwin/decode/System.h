// System.h - decodes the constants that sysctl answers and words the name of the running system.
//
// `source` in these functions is the name of the sysctl, for the failure.
#pragma once

#include <cstddef>
#include <cstdint>
#include <span>
#include <string>

#include "HVKPlatform/ports/System.h"

namespace hvk::decode {

/// Bytes of a 64-bit timeval: 64-bit seconds, 32-bit microseconds, four bytes of padding.
inline constexpr std::size_t TimeValueSize = 16;

/// sysctl KERN_BOOTTIME: whole seconds since 1970. Malformed when short or not after 1970.
Result<double> decodeBootTime(std::span<const std::uint8_t> bytes);

/// A text such as hw.model, up to its first NUL or to its end. Malformed when there is none.
Result<std::string> decodeText(const std::string& source, std::span<const std::uint8_t> bytes);

/// A 32-bit count such as hw.logicalcpu_max. Malformed when short or not positive.
Result<std::uint32_t> decodeCount(const std::string& source, std::span<const std::uint8_t> bytes);

/// A 64-bit size such as hw.memsize, 0 included. Malformed when short.
Result<std::uint64_t> decodeSize(const std::string& source, std::span<const std::uint8_t> bytes);

/// "macOS 12.6", or "macOS 12.6.1" when there is a third number to tell.
std::string operatingSystemName(const OperatingSystemVersion& version);

}  // namespace hvk::decode
