// Digests.h - message digests of the system's own library: OpenSSL's EVP on Linux, CommonCrypto on macOS.
//
// A pure function of its input, the same on every machine, hence linked and not asked of a Machine.
#pragma once

#include <array>
#include <cstdint>
#include <span>
#include <vector>

namespace hvk {

/// The SHA-1 digest of `bytes`, 20 bytes. Thread: any.
std::array<std::uint8_t, 20> sha1Digest(std::span<const std::uint8_t> bytes);

/// A digest, with the number that CommonCrypto's CCHmacAlgorithm gives it.
enum class DigestAlgorithm : std::uint32_t { SHA1 = 0, MD5 = 1, SHA256 = 2, SHA384 = 3, SHA512 = 4, SHA224 = 5 };

/// The digest of `bytes`: 20, 16, 32, 48, 64 or 28 bytes. Empty when the library does not know or refuses the
/// algorithm, as one does that is confined to approved algorithms. Thread: any.
std::vector<std::uint8_t> messageDigest(DigestAlgorithm algorithm, std::span<const std::uint8_t> bytes);

/// The HMAC (RFC 2104) of `bytes`, as long as the digest; an empty key is a key. Empty as above. Thread: any.
std::vector<std::uint8_t> messageAuthenticationCode(DigestAlgorithm algorithm, std::span<const std::uint8_t> key,
                                                    std::span<const std::uint8_t> bytes);

}  // namespace hvk
