#include "HVKStatistics/categories/CommonDigest.h"

#include "HVKPlatform/ports/Digests.h"

namespace hvk {

DataBuffer SHA1Hash(std::span<const std::uint8_t> data) { return messageDigest(DigestAlgorithm::SHA1, data); }
DataBuffer SHA224Hash(std::span<const std::uint8_t> data) { return messageDigest(DigestAlgorithm::SHA224, data); }
DataBuffer SHA256Hash(std::span<const std::uint8_t> data) { return messageDigest(DigestAlgorithm::SHA256, data); }
DataBuffer SHA384Hash(std::span<const std::uint8_t> data) { return messageDigest(DigestAlgorithm::SHA384, data); }
DataBuffer SHA512Hash(std::span<const std::uint8_t> data) { return messageDigest(DigestAlgorithm::SHA512, data); }

}  // namespace hvk
