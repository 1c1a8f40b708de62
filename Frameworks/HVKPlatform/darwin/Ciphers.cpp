#include "HVKPlatform/ports/Ciphers.h"

#include <CommonCrypto/CommonCryptor.h>

#include <algorithm>
#include <array>

namespace hvk {

namespace {

// The unary plus compares numbers, not enumerations.
static_assert(+CipherAlgorithmBlowfish == +kCCAlgorithmBlowfish && +CipherAlgorithmRC4 == +kCCAlgorithmRC4);
static_assert(+CipherOptionPKCS7Padding == +kCCOptionPKCS7Padding && +CipherOptionECBMode == +kCCOptionECBMode);
static_assert(+CipherStatusKeySizeError == +kCCKeySizeError && +CipherStatusUnimplemented == +kCCUnimplemented);

class LibraryCryptor : public Cryptor {
public:
    explicit LibraryCryptor(CCCryptorRef cryptor) : cryptor_(cryptor) {}
    LibraryCryptor(const LibraryCryptor&) = delete;
    LibraryCryptor& operator=(const LibraryCryptor&) = delete;
    ~LibraryCryptor() override { CCCryptorRelease(cryptor_); }

    std::size_t outputLength(std::size_t inputLength) const override {
        return CCCryptorGetOutputLength(cryptor_, inputLength, true);
    }

    std::int32_t update(std::span<const std::uint8_t> input, std::span<std::uint8_t> output,
                        std::size_t& moved) override {
        moved = 0;
        return CCCryptorUpdate(cryptor_, input.data(), input.size(), output.data(), output.size(), &moved);
    }

    std::int32_t final(std::span<std::uint8_t> output, std::size_t& moved) override {
        moved = 0;
        return CCCryptorFinal(cryptor_, output.data(), output.size(), &moved);
    }

private:
    CCCryptorRef cryptor_;
};

}  // namespace

std::unique_ptr<Cryptor> Cryptor::create(CipherOperation operation, std::uint32_t algorithm, std::uint32_t options,
                                         std::span<const std::uint8_t> key, std::span<const std::uint8_t> vector,
                                         std::int32_t& status) {
    // The library reads a whole block of the vector, however long it is.
    std::array<std::uint8_t, kCCBlockSizeAES128> firstBlock{};
    std::copy_n(vector.begin(), std::min(vector.size(), firstBlock.size()), firstBlock.begin());
    CCCryptorRef cryptor = nullptr;
    status = CCCryptorCreate(static_cast<CCOperation>(operation), algorithm, options, key.data(), key.size(),
                             firstBlock.data(), &cryptor);
    if (status != kCCSuccess) return nullptr;
    return std::make_unique<LibraryCryptor>(cryptor);
}

}  // namespace hvk
