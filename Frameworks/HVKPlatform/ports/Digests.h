// Digests.h - message digests of the system's own library: OpenSSL's EVP on Linux, CommonCrypto on macOS.
//
// A pure function of its input, the same on every machine, hence linked and not asked of a Machine.
#pragma once

#include <array>
#include <cstdint>
#include <span>

namespace hvk {

/// The SHA-1 digest of `bytes`, 20 bytes. Thread: any.
std::array<std::uint8_t, 20> sha1Digest(std::span<const std::uint8_t> bytes);

}  // namespace hvk
