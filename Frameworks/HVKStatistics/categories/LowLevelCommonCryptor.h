// LowLevelCommonCryptor.h - ciphers by number, with keys and vectors of any length: both are brought to the length that
// the algorithm takes. Algorithms and options: HVKPlatform/ports/Ciphers.h. Thread: any.
#pragma once

#include <optional>

#include "HVKBase/Export.h"
#include "HVKPlatform/ports/Ciphers.h"
#include "HVKStatistics/categories/DataOrText.h"

namespace hvk {

/// The bytes a key of `keyLength` bytes is brought to, by cutting or by adding zeros: AES 16, 24 or 32, DES 8, triple
/// DES 24, CAST 5 at least and 16 at most, RC4 512 at most; other algorithms take it as it is.
HVK_EXPORT std::size_t fixedKeyLength(std::uint32_t algorithm, std::size_t keyLength);

/// Enciphers `data`; std::nullopt with the library's status in `error` (which may be null) when it fails, and on
/// success `error` stays as it is. The initialization vector gets the length of the fixed key; a missing one is zero.
HVK_EXPORT std::optional<DataBuffer> dataEncryptedUsingAlgorithm(std::span<const std::uint8_t> data,
                                                                 std::uint32_t algorithm, const DataOrText& key,
                                                                 std::optional<DataOrText> initializationVector,
                                                                 std::uint32_t options, std::int32_t* error);

/// The same without a vector, and without options.
HVK_EXPORT std::optional<DataBuffer> dataEncryptedUsingAlgorithm(std::span<const std::uint8_t> data,
                                                                 std::uint32_t algorithm, const DataOrText& key,
                                                                 std::uint32_t options, std::int32_t* error);
HVK_EXPORT std::optional<DataBuffer> dataEncryptedUsingAlgorithm(std::span<const std::uint8_t> data,
                                                                 std::uint32_t algorithm, const DataOrText& key,
                                                                 std::int32_t* error);

/// The reverse: deciphers `data`. A wrong key shows as -4304 where there is padding; without, as other bytes.
HVK_EXPORT std::optional<DataBuffer> decryptedDataUsingAlgorithm(std::span<const std::uint8_t> data,
                                                                 std::uint32_t algorithm, const DataOrText& key,
                                                                 std::optional<DataOrText> initializationVector,
                                                                 std::uint32_t options, std::int32_t* error);
HVK_EXPORT std::optional<DataBuffer> decryptedDataUsingAlgorithm(std::span<const std::uint8_t> data,
                                                                 std::uint32_t algorithm, const DataOrText& key,
                                                                 std::uint32_t options, std::int32_t* error);
HVK_EXPORT std::optional<DataBuffer> decryptedDataUsingAlgorithm(std::span<const std::uint8_t> data,
                                                                 std::uint32_t algorithm, const DataOrText& key,
                                                                 std::int32_t* error);

}  // namespace hvk
