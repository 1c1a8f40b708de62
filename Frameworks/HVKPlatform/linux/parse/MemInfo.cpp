#include "HVKPlatform/linux/parse/MemInfo.h"

#include <string>

#include "HVKPlatform/linux/parse/Scan.h"

namespace hvk::parse {

namespace {

constexpr std::uint64_t BytesPerKiB = 1024;

Failure malformed(std::string source, std::string detail) {
    return {FailureKind::Malformed, std::move(source), std::move(detail)};
}

/// The number behind "Name:", in bytes; the unit "kB" is KiB.
std::optional<std::uint64_t> takeBytes(std::string_view& line) {
    const auto number = takeUnsigned(line);
    if (!number || *number > UINT64_MAX / BytesPerKiB) return std::nullopt;
    return *number * BytesPerKiB;
}

}  // namespace

Result<MemInfo> parseMemInfo(std::string_view text) {
    static constexpr const char* source = "/proc/meminfo";
    if (text.empty()) return malformed(source, "the file is empty");
    MemInfo info;
    bool hasTotal = false;
    bool hasFree = false;
    std::uint64_t reclaimable = 0;
    std::uint64_t zswap = 0;
    bool hasReclaimable = false;
    bool hasZswap = false;
    const struct {
        std::string_view name;
        std::uint64_t* target;
        bool* seen;
    } fields[] = {
        {"MemTotal:", &info.total, &hasTotal},
        {"MemFree:", &info.free, &hasFree},
        {"Buffers:", &info.buffers, nullptr},
        {"Cached:", &info.cached, nullptr},
        {"Active:", &info.active, nullptr},
        {"Inactive:", &info.inactive, nullptr},
        {"SwapTotal:", &info.swapTotal, nullptr},
        {"SwapFree:", &info.swapFree, nullptr},
        {"Zswap:", &zswap, &hasZswap},
        {"AnonPages:", &info.anonymous, nullptr},
        {"Shmem:", &info.shared, nullptr},
        {"KReclaimable:", &reclaimable, &hasReclaimable},
        {"SReclaimable:", &info.reclaimableSlab, nullptr},
        {"Hugepagesize:", &info.hugePageSize, nullptr},
    };
    // The kernel prints the lines in the table's order; starting where the last one was found makes one comparison a
    // line enough, whatever else a kernel puts between.
    constexpr std::size_t count = sizeof(fields) / sizeof(fields[0]);
    std::size_t next = 0;
    while (!text.empty()) {
        bool complete = false;
        std::string_view line = takeLine(text, complete);
        if (!complete)
            return malformed(source, "the file is cut within line \"" + std::string(line.substr(0, 40)) + "\"");
        const std::string_view name = takeWord(line);
        for (std::size_t step = 0; step < count; ++step) {
            const auto& field = fields[(next + step) % count];
            if (name != field.name) continue;
            const auto bytes = takeBytes(line);
            if (!bytes) return malformed(source, "line " + std::string(name) + " has no number");
            *field.target = *bytes;
            if (field.seen != nullptr) *field.seen = true;
            next = (next + step + 1) % count;
            break;
        }
    }
    if (!hasTotal || !hasFree) return malformed(source, "MemTotal or MemFree is missing");
    if (hasReclaimable) info.reclaimable = reclaimable;
    if (hasZswap) info.zswap = zswap;
    return info;
}

Result<PagingCounts> parsePagingCounts(std::string_view vmstat) {
    PagingCounts counts;
    int found = 0;
    while (!vmstat.empty() && found < 2) {
        bool complete = false;
        std::string_view line = takeLine(vmstat, complete);
        if (!line.starts_with("pgpg")) continue;
        const std::string_view name = takeWord(line);
        if (name != "pgpgin" && name != "pgpgout") continue;
        const auto number = takeUnsigned(line);
        if (!complete || !number)
            return malformed("/proc/vmstat", "line " + std::string(name) + " is cut or has no number");
        (name == "pgpgin" ? counts.pagedInKiB : counts.pagedOutKiB) = *number;
        ++found;
    }
    if (found < 2) return malformed("/proc/vmstat", "pgpgin or pgpgout is missing");
    return counts;
}

std::optional<std::uint64_t> parseZramMemoryUsed(std::string_view mmStat) {
    takeWord(mmStat);
    takeWord(mmStat);
    return takeUnsigned(mmStat);
}

}  // namespace hvk::parse
