#include "HVKStatistics/categories/CommonCryptor.h"

#include "HVKStatistics/categories/LowLevelCommonCryptor.h"

namespace hvk {

namespace {

using Data = std::span<const std::uint8_t>;

std::optional<DataBuffer> encrypted(Data data, CipherAlgorithm algorithm, const DataOrText& key,
                                    CommonCryptoError* error) {
    std::int32_t status = CipherStatusSuccess;
    auto output = dataEncryptedUsingAlgorithm(data, algorithm, key, CipherOptionPKCS7Padding, &status);
    if (!output && error != nullptr) *error = errorWithCCCryptorStatus(status);
    return output;
}

std::optional<DataBuffer> decrypted(Data data, CipherAlgorithm algorithm, const DataOrText& key,
                                    CommonCryptoError* error) {
    std::int32_t status = CipherStatusSuccess;
    auto output = decryptedDataUsingAlgorithm(data, algorithm, key, CipherOptionPKCS7Padding, &status);
    if (!output && error != nullptr) *error = errorWithCCCryptorStatus(status);
    return output;
}

}  // namespace

std::optional<DataBuffer> AES256EncryptedDataUsingKey(Data data, const DataOrText& key, CommonCryptoError* error) {
    return encrypted(data, CipherAlgorithmAES, key, error);
}

std::optional<DataBuffer> decryptedAES256DataUsingKey(Data data, const DataOrText& key, CommonCryptoError* error) {
    return decrypted(data, CipherAlgorithmAES, key, error);
}

std::optional<DataBuffer> DESEncryptedDataUsingKey(Data data, const DataOrText& key, CommonCryptoError* error) {
    return encrypted(data, CipherAlgorithmDES, key, error);
}

std::optional<DataBuffer> decryptedDESDataUsingKey(Data data, const DataOrText& key, CommonCryptoError* error) {
    return decrypted(data, CipherAlgorithmDES, key, error);
}

std::optional<DataBuffer> CASTEncryptedDataUsingKey(Data data, const DataOrText& key, CommonCryptoError* error) {
    return encrypted(data, CipherAlgorithmCAST, key, error);
}

std::optional<DataBuffer> decryptedCASTDataUsingKey(Data data, const DataOrText& key, CommonCryptoError* error) {
    return decrypted(data, CipherAlgorithmCAST, key, error);
}

}  // namespace hvk
