// AuxiliaryVector.h - the bytes of /proc/[pid]/auxv: what a kernel tells a program about its machine.
#pragma once

#include <cstdint>
#include <optional>
#include <string_view>

namespace hvk::parse {

/// The entries that count. A saved vector may come from a machine of another word size or byte order.
struct AuxiliaryVector {
    std::optional<std::uint64_t> pageSize;        ///< AT_PAGESZ
    std::optional<std::uint64_t> ticksPerSecond;  ///< AT_CLKTCK
};

/// Tries 64- and 32-bit words in both byte orders; the layout that ends in AT_NULL and names a page size that is a
/// power of two is taken. Empty entries when none fits.
AuxiliaryVector parseAuxiliaryVector(std::string_view bytes);

}  // namespace hvk::parse
