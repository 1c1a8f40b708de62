#include "HVKPlatform/linux/parse/AuxiliaryVector.h"

#include <bit>

namespace hvk::parse {

namespace {

constexpr std::uint64_t EntryNull = 0;
constexpr std::uint64_t EntryPageSize = 6;
constexpr std::uint64_t EntryClockTicks = 17;

std::uint64_t wordAt(std::string_view bytes, std::size_t offset, std::size_t size, bool bigEndian) {
    std::uint64_t word = 0;
    for (std::size_t index = 0; index < size; ++index) {
        const std::size_t position = bigEndian ? offset + index : offset + size - 1 - index;
        word = word << 8 | static_cast<unsigned char>(bytes[position]);
    }
    return word;
}

/// The vector read with one layout; nothing when the bytes do not fit it.
std::optional<AuxiliaryVector> parseWithLayout(std::string_view bytes, std::size_t wordSize, bool bigEndian) {
    AuxiliaryVector vector;
    for (std::size_t offset = 0; offset + 2 * wordSize <= bytes.size(); offset += 2 * wordSize) {
        const std::uint64_t type = wordAt(bytes, offset, wordSize, bigEndian);
        const std::uint64_t value = wordAt(bytes, offset + wordSize, wordSize, bigEndian);
        if (type == EntryNull) {
            const bool fits = vector.pageSize && std::has_single_bit(*vector.pageSize);
            return fits ? std::optional(vector) : std::nullopt;
        }
        if (type == EntryPageSize) vector.pageSize = value;
        if (type == EntryClockTicks && value != 0) vector.ticksPerSecond = value;
    }
    return std::nullopt;
}

}  // namespace

AuxiliaryVector parseAuxiliaryVector(std::string_view bytes) {
    for (const bool bigEndian : {false, true}) {
        for (const std::size_t wordSize : {8, 4})
            if (const auto vector = parseWithLayout(bytes, wordSize, bigEndian)) return *vector;
    }
    return {};
}

}  // namespace hvk::parse
