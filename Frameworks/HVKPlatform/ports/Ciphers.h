// Ciphers.h - symmetric ciphers of the system's own library: OpenSSL's EVP on Linux, CommonCrypto on macOS.
//
// It owns one run of one cipher; what a key or a vector is made of is the caller's business. The same on every machine,
// hence linked and not asked of a Machine. Operations, algorithms, options and statuses have CommonCrypto's numbers.
#pragma once

#include <cstddef>
#include <cstdint>
#include <memory>
#include <span>

namespace hvk {

/// The direction.
enum class CipherOperation : std::uint32_t { Encrypt = 0, Decrypt = 1 };

/// The algorithms (CCAlgorithm). All but RC4 are block ciphers and chain their blocks (CBC), unless an option says
/// otherwise.
enum CipherAlgorithm : std::uint32_t {
    CipherAlgorithmAES = 0,       ///< keys of 16, 24 or 32 bytes
    CipherAlgorithmDES = 1,       ///< 8 bytes, parity ignored
    CipherAlgorithm3DES = 2,      ///< 24 bytes
    CipherAlgorithmCAST = 3,      ///< CAST-128, 5 to 16 bytes
    CipherAlgorithmRC4 = 4,       ///< a stream, 1 to 512 bytes; options and vector play no part
    CipherAlgorithmRC2 = 5,       ///< 1 to 128 bytes, all of their bits effective
    CipherAlgorithmBlowfish = 6,  ///< 8 to 56 bytes
};

/// The options (CCOptions); other bits are ignored.
enum CipherOptions : std::uint32_t {
    CipherOptionPKCS7Padding = 1,  ///< fills up the last block; without it the input is whole blocks
    CipherOptionECBMode = 2,       ///< every block for itself; a vector plays no part
};

/// How an operation ended (CCCryptorStatus).
enum CipherStatus : std::int32_t {
    CipherStatusSuccess = 0,
    CipherStatusParameterError = -4300,
    CipherStatusBufferTooSmall = -4301,
    CipherStatusMemoryFailure = -4302,
    CipherStatusAlignmentError = -4303,  ///< not whole blocks
    CipherStatusDecodeError = -4304,     ///< what was deciphered has no proper padding
    CipherStatusUnimplemented = -4305,   ///< the library has no such algorithm, or may not use it
    CipherStatusKeySizeError = -4310,    ///< no key of this algorithm has that length
};

/// One run of a cipher: any number of updates, then `final` once. Thread: one at a time.
class Cryptor {
public:
    virtual ~Cryptor() = default;

    /// A cryptor, or null with the reason in `status`. A missing vector is zero; of a longer one the first block
    /// counts, a shorter one continues with zeros.
    static std::unique_ptr<Cryptor> create(CipherOperation operation, std::uint32_t algorithm, std::uint32_t options,
                                           std::span<const std::uint8_t> key, std::span<const std::uint8_t> vector,
                                           std::int32_t& status);

    /// Enough room, in bytes, for what `update` of so many bytes and `final` produce together.
    virtual std::size_t outputLength(std::size_t inputLength) const = 0;

    /// Ciphers `input` and says in `moved` how many bytes of `output` were written. Returns a CipherStatus.
    virtual std::int32_t update(std::span<const std::uint8_t> input, std::span<std::uint8_t> output,
                                std::size_t& moved) = 0;

    /// Ciphers the last block. Returns a CipherStatus.
    virtual std::int32_t final(std::span<std::uint8_t> output, std::size_t& moved) = 0;
};

}  // namespace hvk
