// CommonHMAC.h - authentication codes of a byte buffer. Thread: any.
#pragma once

#include "HVKBase/Export.h"
#include "HVKStatistics/categories/DataOrText.h"

namespace hvk {

/// The HMAC of `data`: 16 bytes for MD5 (algorithm 1), 20 bytes for every other algorithm, so that the codes of SHA-256
/// (2), SHA-384 (3), SHA-512 (4) and SHA-224 (5) are cut to their first 20. Empty for a number that is no algorithm of
/// the library.
HVK_EXPORT DataBuffer HMACWithAlgorithm(std::span<const std::uint8_t> data, std::uint32_t algorithm,
                                        const DataOrText& key);

/// The same without a key, which is a key of no bytes.
HVK_EXPORT DataBuffer HMACWithAlgorithm(std::span<const std::uint8_t> data, std::uint32_t algorithm);

}  // namespace hvk
