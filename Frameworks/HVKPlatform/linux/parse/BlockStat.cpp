#include "HVKPlatform/linux/parse/BlockStat.h"

#include <array>
#include <limits>

#include "HVKPlatform/linux/parse/Scan.h"

namespace hvk::parse {

namespace {

constexpr std::size_t FieldCount = 11;
constexpr std::uint64_t BytesPerSector = 512;
constexpr std::uint64_t NanosecondsPerMillisecond = 1'000'000;

}  // namespace

Result<BlockStatistics> parseBlockStatistics(std::string_view text, const std::string& source) {
    std::array<std::uint64_t, FieldCount> fields{};
    for (std::size_t index = 0; index < FieldCount; ++index) {
        const auto number = takeUnsigned(text);
        if (!number)
            return Failure{FailureKind::Malformed, source, "field " + std::to_string(index + 1) + " is no number"};
        fields[index] = *number;
    }
    bool fits = true;
    const auto scaled = [&](std::size_t field, std::uint64_t unit) {
        fits = fits && fields[field - 1] <= std::numeric_limits<std::uint64_t>::max() / unit;
        return fields[field - 1] * unit;
    };
    BlockStatistics statistics;
    statistics.readOperations = fields[0];
    statistics.readBytes = scaled(3, BytesPerSector);
    statistics.readNanoseconds = scaled(4, NanosecondsPerMillisecond);
    statistics.writeOperations = fields[4];
    statistics.writeBytes = scaled(7, BytesPerSector);
    statistics.writeNanoseconds = scaled(8, NanosecondsPerMillisecond);
    statistics.requestsInFlight = fields[8];
    statistics.activeNanoseconds = scaled(10, NanosecondsPerMillisecond);
    if (!fits) return Failure{FailureKind::Malformed, source, "a counter does not fit in 64 bits"};
    return statistics;
}

}  // namespace hvk::parse
