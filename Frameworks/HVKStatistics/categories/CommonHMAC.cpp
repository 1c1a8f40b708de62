#include "HVKStatistics/categories/CommonHMAC.h"

#include <algorithm>

#include "HVKPlatform/ports/Digests.h"

namespace hvk {

DataBuffer HMACWithAlgorithm(std::span<const std::uint8_t> data, std::uint32_t algorithm, const DataOrText& key) {
    constexpr std::size_t LongestCode = 20;
    DataBuffer code = messageAuthenticationCode(static_cast<DigestAlgorithm>(algorithm), key.bytes, data);
    code.resize(std::min(code.size(), LongestCode));
    return code;
}

DataBuffer HMACWithAlgorithm(std::span<const std::uint8_t> data, std::uint32_t algorithm) {
    return HMACWithAlgorithm(data, algorithm, DataBuffer());
}

}  // namespace hvk
