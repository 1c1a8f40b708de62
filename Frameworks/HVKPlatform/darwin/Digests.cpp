#include "HVKPlatform/ports/Digests.h"

#include <CommonCrypto/CommonDigest.h>
#include <CommonCrypto/CommonHMAC.h>

#include <algorithm>

namespace hvk {

namespace {

/// Runs one digest over the bytes, in pieces that the library can count in 32 bits, into `digest`.
template <class Context, class Start, class Add, class End>
void runDigest(std::span<const std::uint8_t> bytes, std::uint8_t* digest, Start start, Add add, End end) {
    constexpr std::size_t LongestPiece = std::size_t{1} << 30;
    Context context;
    start(&context);
    while (!bytes.empty()) {
        const auto piece = bytes.first(std::min(bytes.size(), LongestPiece));
        add(&context, piece.data(), static_cast<CC_LONG>(piece.size()));
        bytes = bytes.subspan(piece.size());
    }
    end(digest, &context);
}

/// In bytes; 0 for a number that is no algorithm.
std::size_t digestLength(DigestAlgorithm algorithm) {
    switch (algorithm) {
        case DigestAlgorithm::SHA1: return CC_SHA1_DIGEST_LENGTH;
        case DigestAlgorithm::MD5: return CC_MD5_DIGEST_LENGTH;
        case DigestAlgorithm::SHA256: return CC_SHA256_DIGEST_LENGTH;
        case DigestAlgorithm::SHA384: return CC_SHA384_DIGEST_LENGTH;
        case DigestAlgorithm::SHA512: return CC_SHA512_DIGEST_LENGTH;
        case DigestAlgorithm::SHA224: return CC_SHA224_DIGEST_LENGTH;
    }
    return 0;
}

#pragma clang diagnostic push
#pragma clang diagnostic ignored "-Wdeprecated-declarations"  // MD5, which only authentication codes still use
void runMD5(std::span<const std::uint8_t> bytes, std::uint8_t* digest) {
    runDigest<CC_MD5_CTX>(bytes, digest, CC_MD5_Init, CC_MD5_Update, CC_MD5_Final);
}
#pragma clang diagnostic pop

}  // namespace

std::array<std::uint8_t, 20> sha1Digest(std::span<const std::uint8_t> bytes) {
    std::array<std::uint8_t, 20> digest{};
    static_assert(sizeof digest == CC_SHA1_DIGEST_LENGTH);
    runDigest<CC_SHA1_CTX>(bytes, digest.data(), CC_SHA1_Init, CC_SHA1_Update, CC_SHA1_Final);
    return digest;
}

std::vector<std::uint8_t> messageDigest(DigestAlgorithm algorithm, std::span<const std::uint8_t> bytes) {
    std::vector<std::uint8_t> digest(digestLength(algorithm));
    switch (algorithm) {
        case DigestAlgorithm::SHA1:
            runDigest<CC_SHA1_CTX>(bytes, digest.data(), CC_SHA1_Init, CC_SHA1_Update, CC_SHA1_Final);
            break;
        case DigestAlgorithm::MD5: runMD5(bytes, digest.data()); break;
        case DigestAlgorithm::SHA256:
            runDigest<CC_SHA256_CTX>(bytes, digest.data(), CC_SHA256_Init, CC_SHA256_Update, CC_SHA256_Final);
            break;
        case DigestAlgorithm::SHA384:
            runDigest<CC_SHA512_CTX>(bytes, digest.data(), CC_SHA384_Init, CC_SHA384_Update, CC_SHA384_Final);
            break;
        case DigestAlgorithm::SHA512:
            runDigest<CC_SHA512_CTX>(bytes, digest.data(), CC_SHA512_Init, CC_SHA512_Update, CC_SHA512_Final);
            break;
        case DigestAlgorithm::SHA224:
            runDigest<CC_SHA256_CTX>(bytes, digest.data(), CC_SHA224_Init, CC_SHA224_Update, CC_SHA224_Final);
            break;
    }
    return digest;
}

std::vector<std::uint8_t> messageAuthenticationCode(DigestAlgorithm algorithm, std::span<const std::uint8_t> key,
                                                    std::span<const std::uint8_t> bytes) {
    std::vector<std::uint8_t> code(digestLength(algorithm));
    if (!code.empty())
        CCHmac(static_cast<CCHmacAlgorithm>(algorithm), key.data(), key.size(), bytes.data(), bytes.size(),
               code.data());
    return code;
}

}  // namespace hvk
