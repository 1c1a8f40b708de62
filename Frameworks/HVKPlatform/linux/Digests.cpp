#include "HVKPlatform/ports/Digests.h"

#include <openssl/evp.h>

namespace hvk {

std::array<std::uint8_t, 20> sha1Digest(std::span<const std::uint8_t> bytes) {
    std::array<std::uint8_t, 20> digest{};
    EVP_Digest(bytes.data(), bytes.size(), digest.data(), nullptr, EVP_sha1(), nullptr);
    return digest;
}

}  // namespace hvk
