#include "HVKPlatform/ports/Digests.h"

#include <CommonCrypto/CommonDigest.h>

#include <algorithm>

namespace hvk {

std::array<std::uint8_t, 20> sha1Digest(std::span<const std::uint8_t> bytes) {
    // The library counts a piece's bytes in 32 bits.
    constexpr std::size_t LongestPiece = std::size_t{1} << 30;
    std::array<std::uint8_t, 20> digest{};
    static_assert(sizeof digest == CC_SHA1_DIGEST_LENGTH);
    CC_SHA1_CTX context;
    CC_SHA1_Init(&context);
    while (!bytes.empty()) {
        const auto piece = bytes.first(std::min(bytes.size(), LongestPiece));
        CC_SHA1_Update(&context, piece.data(), static_cast<CC_LONG>(piece.size()));
        bytes = bytes.subspan(piece.size());
    }
    CC_SHA1_Final(digest.data(), &context);
    return digest;
}

}  // namespace hvk
