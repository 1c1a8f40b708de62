#include "HVKStatistics/categories/LowLevelCommonCryptor.h"

#include <algorithm>

namespace hvk {

namespace {

DataBuffer ofLength(std::span<const std::uint8_t> bytes, std::size_t length) {
    DataBuffer fixed(length);
    std::copy_n(bytes.begin(), std::min(bytes.size(), length), fixed.begin());
    return fixed;
}

/// Runs the whole input through a cryptor: what it produced, or nothing with the status of the step that failed.
std::optional<DataBuffer> _runCryptor(Cryptor& cryptor, std::span<const std::uint8_t> data, std::int32_t& result) {
    DataBuffer output(cryptor.outputLength(data.size()));
    std::size_t updated = 0;
    result = cryptor.update(data, output, updated);
    if (result != CipherStatusSuccess) return std::nullopt;
    std::size_t finished = 0;
    result = cryptor.final(std::span(output).subspan(updated), finished);
    if (result != CipherStatusSuccess) return std::nullopt;
    output.resize(updated + finished);
    return output;
}

std::optional<DataBuffer> run(CipherOperation operation, std::span<const std::uint8_t> data, std::uint32_t algorithm,
                              const DataOrText& key, const std::optional<DataOrText>& vector, std::uint32_t options,
                              std::int32_t* error) {
    const DataBuffer fixedKey = ofLength(key.bytes, fixedKeyLength(algorithm, key.bytes.size()));
    const DataBuffer fixedVector = vector ? ofLength(vector->bytes, fixedKey.size()) : DataBuffer();
    std::int32_t status = CipherStatusSuccess;
    std::optional<DataBuffer> output;
    if (const auto cryptor = Cryptor::create(operation, algorithm, options, fixedKey, fixedVector, status))
        output = _runCryptor(*cryptor, data, status);
    if (!output && error != nullptr) *error = status;
    return output;
}

}  // namespace

std::size_t fixedKeyLength(std::uint32_t algorithm, std::size_t keyLength) {
    switch (algorithm) {
        case CipherAlgorithmAES: return keyLength <= 16 ? 16 : keyLength > 24 ? 32 : 24;
        case CipherAlgorithmDES: return 8;
        case CipherAlgorithm3DES: return 24;
        case CipherAlgorithmCAST: return std::clamp<std::size_t>(keyLength, 5, 16);
        case CipherAlgorithmRC4: return std::min<std::size_t>(keyLength, 512);
        default: return keyLength;
    }
}

std::optional<DataBuffer> dataEncryptedUsingAlgorithm(std::span<const std::uint8_t> data, std::uint32_t algorithm,
                                                      const DataOrText& key,
                                                      std::optional<DataOrText> initializationVector,
                                                      std::uint32_t options, std::int32_t* error) {
    return run(CipherOperation::Encrypt, data, algorithm, key, initializationVector, options, error);
}

std::optional<DataBuffer> dataEncryptedUsingAlgorithm(std::span<const std::uint8_t> data, std::uint32_t algorithm,
                                                      const DataOrText& key, std::uint32_t options,
                                                      std::int32_t* error) {
    return dataEncryptedUsingAlgorithm(data, algorithm, key, std::nullopt, options, error);
}

std::optional<DataBuffer> dataEncryptedUsingAlgorithm(std::span<const std::uint8_t> data, std::uint32_t algorithm,
                                                      const DataOrText& key, std::int32_t* error) {
    return dataEncryptedUsingAlgorithm(data, algorithm, key, std::nullopt, 0, error);
}

std::optional<DataBuffer> decryptedDataUsingAlgorithm(std::span<const std::uint8_t> data, std::uint32_t algorithm,
                                                      const DataOrText& key,
                                                      std::optional<DataOrText> initializationVector,
                                                      std::uint32_t options, std::int32_t* error) {
    return run(CipherOperation::Decrypt, data, algorithm, key, initializationVector, options, error);
}

std::optional<DataBuffer> decryptedDataUsingAlgorithm(std::span<const std::uint8_t> data, std::uint32_t algorithm,
                                                      const DataOrText& key, std::uint32_t options,
                                                      std::int32_t* error) {
    return decryptedDataUsingAlgorithm(data, algorithm, key, std::nullopt, options, error);
}

std::optional<DataBuffer> decryptedDataUsingAlgorithm(std::span<const std::uint8_t> data, std::uint32_t algorithm,
                                                      const DataOrText& key, std::int32_t* error) {
    return decryptedDataUsingAlgorithm(data, algorithm, key, std::nullopt, 0, error);
}

}  // namespace hvk
