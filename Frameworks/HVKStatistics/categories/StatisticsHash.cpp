#include "HVKStatistics/categories/StatisticsHash.h"

#include <cstdint>
#include <span>

#include "HVKPlatform/ports/Digests.h"

namespace hvk {

std::string statisticsHash(std::string_view text) {
    static constexpr char digits[] = "0123456789abcdef";
    std::string hash;
    hash.reserve(40);
    for (std::uint8_t byte : sha1Digest({reinterpret_cast<const std::uint8_t*>(text.data()), text.size()})) {
        hash += digits[byte >> 4];
        hash += digits[byte & 15];
    }
    return hash;
}

}  // namespace hvk
