#include "HVKPlatform/ports/Digests.h"

#include <openssl/evp.h>
#include <openssl/hmac.h>

#include <climits>

namespace hvk {

namespace {

/// Null for a number that is none.
const EVP_MD* digestOf(DigestAlgorithm algorithm) {
    switch (algorithm) {
        case DigestAlgorithm::SHA1: return EVP_sha1();
        case DigestAlgorithm::MD5: return EVP_md5();
        case DigestAlgorithm::SHA256: return EVP_sha256();
        case DigestAlgorithm::SHA384: return EVP_sha384();
        case DigestAlgorithm::SHA512: return EVP_sha512();
        case DigestAlgorithm::SHA224: return EVP_sha224();
    }
    return nullptr;
}

}  // namespace

std::array<std::uint8_t, 20> sha1Digest(std::span<const std::uint8_t> bytes) {
    std::array<std::uint8_t, 20> digest{};
    EVP_Digest(bytes.data(), bytes.size(), digest.data(), nullptr, EVP_sha1(), nullptr);
    return digest;
}

std::vector<std::uint8_t> messageDigest(DigestAlgorithm algorithm, std::span<const std::uint8_t> bytes) {
    std::vector<std::uint8_t> digest(EVP_MAX_MD_SIZE);
    unsigned length = 0;
    const EVP_MD* type = digestOf(algorithm);
    if (type == nullptr || EVP_Digest(bytes.data(), bytes.size(), digest.data(), &length, type, nullptr) != 1)
        return {};
    digest.resize(length);
    return digest;
}

std::vector<std::uint8_t> messageAuthenticationCode(DigestAlgorithm algorithm, std::span<const std::uint8_t> key,
                                                    std::span<const std::uint8_t> bytes) {
    // The library counts a key's bytes in an int; a key longer than a block stands for its digest anyway.
    if (key.size() > INT_MAX) {
        const std::vector<std::uint8_t> shorter = messageDigest(algorithm, key);
        return shorter.empty() ? shorter : messageAuthenticationCode(algorithm, shorter, bytes);
    }
    std::vector<std::uint8_t> code(EVP_MAX_MD_SIZE);
    unsigned length = 0;
    const EVP_MD* type = digestOf(algorithm);
    const std::uint8_t none = 0;  // a null key would be taken for "the same key as before"
    if (type == nullptr || HMAC(type, key.empty() ? &none : key.data(), static_cast<int>(key.size()), bytes.data(),
                                bytes.size(), code.data(), &length) == nullptr)
        return {};
    code.resize(length);
    return code;
}

}  // namespace hvk
