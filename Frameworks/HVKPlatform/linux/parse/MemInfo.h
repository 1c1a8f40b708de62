// MemInfo.h - the texts behind the memory figures: /proc/meminfo, /proc/vmstat and a zram device's mm_stat.
#pragma once

#include <cstdint>
#include <optional>
#include <string_view>

#include "HVKPlatform/Result.h"

namespace hvk::parse {

/// The lines of /proc/meminfo that count, in bytes. A line that an old kernel does not print is 0, or empty where its
/// absence matters.
struct MemInfo {
    std::uint64_t total = 0;
    std::uint64_t free = 0;
    std::uint64_t buffers = 0;
    std::uint64_t cached = 0;
    std::uint64_t active = 0;
    std::uint64_t inactive = 0;
    std::uint64_t anonymous = 0;
    std::uint64_t shared = 0;
    std::uint64_t reclaimableSlab = 0;
    std::optional<std::uint64_t> reclaimable;  ///< KReclaimable, since Linux 4.20
    std::optional<std::uint64_t> zswap;        ///< pool of compressed pages, since Linux 5.19
    std::uint64_t swapTotal = 0;
    std::uint64_t swapFree = 0;
    std::uint64_t hugePageSize = 0;  ///< size of a huge page mapped by a middle directory entry
};

/// Malformed when MemTotal or MemFree is missing, when a number is none, and when the last line is cut.
Result<MemInfo> parseMemInfo(std::string_view text);

/// Paging since boot, in KiB: the lines "pgpgin" and "pgpgout" of /proc/vmstat.
struct PagingCounts {
    std::uint64_t pagedInKiB = 0;
    std::uint64_t pagedOutKiB = 0;
};

/// Malformed when one of the two lines is missing or cut.
Result<PagingCounts> parsePagingCounts(std::string_view vmstat);

/// Bytes of real memory that a zram device occupies: the third number of mm_stat.
std::optional<std::uint64_t> parseZramMemoryUsed(std::string_view mmStat);

}  // namespace hvk::parse
