// CommonDigest.h - message digests of a byte buffer. Thread: any.
#pragma once

#include "HVKBase/Export.h"
#include "HVKStatistics/categories/DataOrText.h"

namespace hvk {

/// The digest (FIPS 180), in a new buffer of 20, 28, 32, 48 or 64 bytes.
HVK_EXPORT DataBuffer SHA1Hash(std::span<const std::uint8_t> data);
HVK_EXPORT DataBuffer SHA224Hash(std::span<const std::uint8_t> data);
HVK_EXPORT DataBuffer SHA256Hash(std::span<const std::uint8_t> data);
HVK_EXPORT DataBuffer SHA384Hash(std::span<const std::uint8_t> data);
HVK_EXPORT DataBuffer SHA512Hash(std::span<const std::uint8_t> data);

}  // namespace hvk
