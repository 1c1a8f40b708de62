// BlockStat.h - the text of /sys/block/*/stat and of a partition's stat.
#pragma once

#include <cstdint>
#include <string>
#include <string_view>

#include "HVKPlatform/Result.h"

namespace hvk::parse {

/// What a block device has done since it appeared. The kernel's sector is 512 bytes, whatever the device's own is; a
/// time is the sum over requests, so it may run faster than the clock.
struct BlockStatistics {
    std::uint64_t readOperations = 0;     ///< field 1
    std::uint64_t readBytes = 0;          ///< field 3, in sectors
    std::uint64_t readNanoseconds = 0;    ///< field 4, in milliseconds
    std::uint64_t writeOperations = 0;    ///< field 5
    std::uint64_t writeBytes = 0;         ///< field 7, in sectors
    std::uint64_t writeNanoseconds = 0;   ///< field 8, in milliseconds
    std::uint64_t requestsInFlight = 0;   ///< field 9
    std::uint64_t activeNanoseconds = 0;  ///< field 10, in milliseconds: while at least one request was in flight
};

/// The first eleven fields; more (discards, flushes) are ignored. Malformed when there are fewer, or one is no number
/// or does not fit in its unit; `source` is named then.
Result<BlockStatistics> parseBlockStatistics(std::string_view text, const std::string& source);

}  // namespace hvk::parse
