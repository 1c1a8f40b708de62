// Ciphers, against the vectors published with the algorithms; the fixing of keys; statuses and error objects.

#include <gtest/gtest.h>

#include "HVKStatistics/categories/CommonCryptor.h"
#include "HVKStatistics/categories/LowLevelCommonCryptor.h"
#include "support/Hexadecimal.h"

namespace hvk {
namespace {

using test::bytes;
using test::hexadecimal;

constexpr std::uint32_t ECB = CipherOptionECBMode;
constexpr std::uint32_t Padded = CipherOptionPKCS7Padding;

std::string keyOf(std::size_t length) {
    std::string digits = "000102030405060708090a0b0c0d0e0f101112131415161718191a1b1c1d1e1f";
    return digits.substr(0, length * 2);
}

TEST(Ciphers, GiveThePublishedCiphertexts) {
    const char* const key192 = "8e73b0f7da0e6452c810f32b809079e562f8ead2522c6b7b";
    const char* const key256 = "603deb1015ca71be2b73aef0857d77811f352c073b6108d72d9810a30914dff4";
    const char* const block = "6bc1bee22e409f96e93d7e117393172a";
    const struct {
        std::uint32_t algorithm;
        std::uint32_t options;
        std::string key;
        std::string vector;
        std::string plain;
        std::string cipher;
    } cases[] = {
        // SP 800-38A, CBC and ECB; FIPS 197
        {CipherAlgorithmAES, 0, "2b7e151628aed2a6abf7158809cf4f3c", keyOf(16),
         "6bc1bee22e409f96e93d7e117393172aae2d8a571e03ac9c9eb76fac45af8e51",
         "7649abac8119b246cee98e9b12e9197d5086cb9b507219ee95db113a917678b2"},
        {CipherAlgorithmAES, 0, key192, keyOf(16), block, "4f021db243bc633d7178183a9fa071e8"},
        {CipherAlgorithmAES, 0, key256, keyOf(16), block, "f58c4c04d6e5f1ba779eabfb5f7bfbd6"},
        {CipherAlgorithmAES, ECB, "2b7e151628aed2a6abf7158809cf4f3c", "", block, "3ad77bb40d7a3660a89ecaf32466ef97"},
        {CipherAlgorithmAES, ECB, keyOf(32), "", "00112233445566778899aabbccddeeff",
         "8ea2b7ca516745bfeafc49904b496089"},
        // DES, and triple DES with one key three times
        {CipherAlgorithmDES, ECB, "133457799bbcdff1", "", "0123456789abcdef", "85e813540f0ab405"},
        {CipherAlgorithmDES, 0, "0123456789abcdef", "1234567890abcdef",
         "4e6f77206973207468652074696d6520666f7220616c6c20", "e5c7cdde872bf27c43e934008c389c0f683788499a7c05f6"},
        {CipherAlgorithm3DES, ECB, "133457799bbcdff1133457799bbcdff1133457799bbcdff1", "", "0123456789abcdef",
         "85e813540f0ab405"},
        {CipherAlgorithm3DES, ECB, "0123456789abcdef23456789abcdef01456789abcdef0123", "", "5468652071756663",
         "a826fd8ce53b855f"},
        // RFC 2144: keys of 128, 80 and 40 bits
        {CipherAlgorithmCAST, ECB, "0123456712345678234567893456789a", "", "0123456789abcdef", "238b4fe5847e44b2"},
        {CipherAlgorithmCAST, ECB, "01234567123456782345", "", "0123456789abcdef", "eb6a711a2c02271b"},
        {CipherAlgorithmCAST, ECB, "0123456712", "", "0123456789abcdef", "7ac816d16e9b302e"},
        // RC4
        {CipherAlgorithmRC4, 0, "4b6579", "", "506c61696e74657874", "bbf316e8d940af0ad3"},
        {CipherAlgorithmRC4, Padded, "57696b69", "", "7065646961", "1021bf0420"},
        // RFC 2268, where all bits of the key are effective
        {CipherAlgorithmRC2, ECB, "ffffffffffffffff", "", "ffffffffffffffff", "278b27e42e2f0d49"},
        {CipherAlgorithmRC2, ECB, "88bca90e90875a7f0f79c384627bafb2", "", "0000000000000000", "2269552ab0f85ca6"},
        // Blowfish
        {CipherAlgorithmBlowfish, ECB, "0000000000000000", "", "0000000000000000", "4ef997456198dd78"},
        {CipherAlgorithmBlowfish, ECB, "0123456789abcdef", "", "1111111111111111", "61f9c3802281b096"},
    };
    for (const auto& one : cases) {
        SCOPED_TRACE(std::to_string(one.algorithm) + " gives " + one.cipher);
        std::int32_t status = 1;
        const auto vector = one.vector.empty() ? std::nullopt : std::optional<DataBuffer>(bytes(one.vector));
        const std::optional<DataOrText> given = vector ? std::optional<DataOrText>(*vector) : std::nullopt;
        const auto cipher =
            dataEncryptedUsingAlgorithm(bytes(one.plain), one.algorithm, bytes(one.key), given, one.options, &status);
        ASSERT_TRUE(cipher) << status;
        EXPECT_EQ(hexadecimal(*cipher), one.cipher);
        const auto plain =
            decryptedDataUsingAlgorithm(*cipher, one.algorithm, bytes(one.key), given, one.options, &status);
        ASSERT_TRUE(plain) << status;
        EXPECT_EQ(hexadecimal(*plain), one.plain);
        EXPECT_EQ(status, 1) << "success leaves the status alone";
    }
}

TEST(Ciphers, BringKeysToALengthThatExists) {
    const struct {
        std::uint32_t algorithm;
        std::vector<std::pair<std::size_t, std::size_t>> lengths;
    } cases[] = {
        {CipherAlgorithmAES, {{0, 16}, {10, 16}, {16, 16}, {17, 24}, {20, 24}, {24, 24}, {25, 32}, {30, 32}, {99, 32}}},
        {CipherAlgorithmDES, {{0, 8}, {8, 8}, {9, 8}}},
        {CipherAlgorithm3DES, {{8, 24}, {24, 24}, {30, 24}}},
        {CipherAlgorithmCAST, {{0, 5}, {4, 5}, {5, 5}, {6, 6}, {15, 15}, {16, 16}, {17, 16}}},
        {CipherAlgorithmRC4, {{0, 0}, {1, 1}, {512, 512}, {513, 512}}},
        {CipherAlgorithmRC2, {{0, 0}, {200, 200}}},
        {CipherAlgorithmBlowfish, {{3, 3}, {80, 80}}},
    };
    for (const auto& one : cases)
        for (const auto& [length, fixed] : one.lengths) EXPECT_EQ(fixedKeyLength(one.algorithm, length), fixed);

    const DataBuffer plain = bytes("00112233445566778899aabbccddeeff");
    const auto cipher = [&](const DataBuffer& key, std::uint32_t algorithm = CipherAlgorithmAES) {
        return dataEncryptedUsingAlgorithm(plain, algorithm, key, nullptr).value_or(DataBuffer());
    };
    for (const auto& [given, fixed] : {std::pair{10, 16}, {20, 24}, {30, 32}, {40, 32}}) {
        DataBuffer key(static_cast<std::size_t>(given), 0x5a);
        const DataBuffer made = cipher(key);
        ASSERT_EQ(made.size(), 16U);
        key.resize(static_cast<std::size_t>(fixed));
        EXPECT_EQ(cipher(key), made);
    }
    // 256 bytes of a longer RC4 key count, those after the first 512 are cut off before.
    DataBuffer longKey(600, 7);
    for (std::size_t index = 0; index < 256; ++index) longKey[index] = static_cast<std::uint8_t>(index);
    const DataBuffer first256(longKey.begin(), longKey.begin() + 256);
    EXPECT_EQ(cipher(longKey, CipherAlgorithmRC4), cipher(first256, CipherAlgorithmRC4));
}

TEST(Ciphers, BringTheVectorToTheLengthOfTheKey) {
    const DataBuffer plain(16, 1);
    const auto cipher = [&](std::uint32_t algorithm, std::size_t keyLength, std::optional<DataOrText> vector) {
        return dataEncryptedUsingAlgorithm(plain, algorithm, DataBuffer(keyLength, 9), vector, 0, nullptr);
    };
    EXPECT_EQ(cipher(CipherAlgorithmAES, 32, "vector"),
              cipher(CipherAlgorithmAES, 32, DataBuffer(bytes("766563746f72"))));
    EXPECT_EQ(cipher(CipherAlgorithmAES, 16, ""), cipher(CipherAlgorithmAES, 16, std::nullopt));
    EXPECT_NE(cipher(CipherAlgorithmAES, 16, "vector"), cipher(CipherAlgorithmAES, 16, std::nullopt));
    EXPECT_EQ(cipher(CipherAlgorithmAES, 16, "0123456789abcdefmore"),
              cipher(CipherAlgorithmAES, 16, "0123456789abcdef"));
    // Five bytes of the key, so five of the vector, although a block has eight.
    EXPECT_EQ(cipher(CipherAlgorithmCAST, 5, "01234567"), cipher(CipherAlgorithmCAST, 5, "01234"));
    EXPECT_NE(cipher(CipherAlgorithmCAST, 6, "01234567"), cipher(CipherAlgorithmCAST, 6, "01234"));
}

TEST(Ciphers, SayWhyTheyFailed) {
    const DataBuffer text(20, 'x');
    const struct {
        bool encrypts;
        std::uint32_t algorithm;
        std::size_t keyLength;
        std::uint32_t options;
        std::size_t length;
        std::int32_t status;
    } cases[] = {
        {true, 7, 16, 0, 16, -4300},
        {true, 0xffffffff, 16, 0, 16, -4300},
        {true, CipherAlgorithmAES, 16, 0, 20, -4303},
        {false, CipherAlgorithmAES, 16, 0, 20, -4303},
        {false, CipherAlgorithmAES, 16, Padded, 20, -4303},
        {false, CipherAlgorithmAES, 16, Padded, 16, -4304},
        {true, CipherAlgorithmRC4, 0, 0, 16, -4310},
        {true, CipherAlgorithmRC2, 129, 0, 16, -4310},
        {true, CipherAlgorithmBlowfish, 7, 0, 16, -4310},
        {true, CipherAlgorithmBlowfish, 57, 0, 16, -4310},
    };
    for (const auto& one : cases) {
        SCOPED_TRACE(std::to_string(one.algorithm) + " with " + std::to_string(one.keyLength));
        const std::span<const std::uint8_t> data(text.data(), one.length);
        const DataBuffer key(one.keyLength, 3);
        std::int32_t status = 0;
        EXPECT_FALSE(one.encrypts ? dataEncryptedUsingAlgorithm(data, one.algorithm, key, one.options, &status)
                                  : decryptedDataUsingAlgorithm(data, one.algorithm, key, one.options, &status));
        EXPECT_EQ(status, one.status);
        EXPECT_FALSE(one.encrypts ? dataEncryptedUsingAlgorithm(data, one.algorithm, key, one.options, nullptr)
                                  : decryptedDataUsingAlgorithm(data, one.algorithm, key, one.options, nullptr));
    }
}

TEST(Ciphers, EverydayOnesPadAndComeBack) {
    using Encrypt = decltype(&AES256EncryptedDataUsingKey);
    const std::pair<Encrypt, Encrypt> pairs[] = {{&AES256EncryptedDataUsingKey, &decryptedAES256DataUsingKey},
                                                 {&DESEncryptedDataUsingKey, &decryptedDESDataUsingKey},
                                                 {&CASTEncryptedDataUsingKey, &decryptedCASTDataUsingKey}};
    for (const auto& [encrypt, decrypt] : pairs) {
        for (const std::size_t length : {0U, 1U, 15U, 16U, 1000U}) {
            const DataBuffer plain(length, 0x41);
            const auto cipher = encrypt(plain, "schl\xc3\xbcssel", nullptr);
            ASSERT_TRUE(cipher);
            EXPECT_GT(cipher->size(), length) << "a whole block is filled up with another";
            EXPECT_EQ(decrypt(*cipher, bytes("7363686cc3bc7373656c"), nullptr), plain);

            CommonCryptoError error;
            EXPECT_NE(decrypt(*cipher, "another", &error), plain);
        }
        CommonCryptoError error;
        EXPECT_FALSE(decrypt(DataBuffer(32, 1), "key", &error));
        EXPECT_EQ(error.domain, "CommonCryptoErrorDomain");
        EXPECT_EQ(error.code, -4304);
        EXPECT_EQ(error.localizedFailureReason(), "Input data did not decode or decrypt correctly");
        EXPECT_FALSE(decrypt({}, "key", &error));
        EXPECT_EQ(error.code, -4303);
        EXPECT_FALSE(decrypt({}, "key", nullptr));
    }
    // SP 800-38A's block with a zero vector is the plain block cipher; FIPS 197.
    const auto cipher = AES256EncryptedDataUsingKey(bytes("00112233445566778899aabbccddeeff"), bytes(keyOf(32)));
    ASSERT_TRUE(cipher);
    EXPECT_EQ(hexadecimal(*cipher).substr(0, 32), "8ea2b7ca516745bfeafc49904b496089");
}

TEST(CommonCryptoErrorDomain, NamesEveryStatus) {
    const struct {
        std::int32_t status;
        const char* description;
        const char* reason;
    } cases[] = {
        {0, "Success", ""},
        {-4300, "Parameter Error", "Illegal parameter supplied to encryption/decryption algorithm"},
        {-4301, "Buffer Too Small", "Insufficient buffer provided for specified operation"},
        {-4302, "Memory Failure", "Failed to allocate memory"},
        {-4303, "Alignment Error", "Input size to encryption algorithm was not aligned correctly"},
        {-4304, "Decode Error", "Input data did not decode or decrypt correctly"},
        {-4305, "Unimplemented Function", "Function not implemented for the current algorithm"},
        {-4310, "Unknown Error", ""},
        {7, "Unknown Error", ""},
    };
    for (const auto& one : cases) {
        const CommonCryptoError error = errorWithCCCryptorStatus(one.status);
        EXPECT_EQ(error.domain, kCommonCryptoErrorDomain);
        EXPECT_EQ(error.code, one.status);
        EXPECT_EQ(error.localizedDescription(), one.description);
        EXPECT_EQ(error.localizedFailureReason(), one.reason);
        EXPECT_EQ(error.userInfo.size(), *one.reason == '\0' ? 1U : 2U);
    }
}

}  // namespace
}  // namespace hvk
