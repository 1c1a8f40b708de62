// CommonCryptor.h - the ciphers in everyday use: PKCS #7 padding, chained blocks, no initialization vector. Keys of any
// length, as LowLevelCommonCryptor.h fixes them. Thread: any.
#pragma once

#include <optional>

#include "HVKBase/Export.h"
#include "HVKStatistics/categories/CommonCryptoErrorDomain.h"
#include "HVKStatistics/categories/DataOrText.h"

namespace hvk {

/// AES, DES and CAST-128, each in both directions. A failure yields std::nullopt, and its reason in `error` if that is
/// given; on success `error` stays as it is.
HVK_EXPORT std::optional<DataBuffer> AES256EncryptedDataUsingKey(std::span<const std::uint8_t> data,
                                                                 const DataOrText& key,
                                                                 CommonCryptoError* error = nullptr);
HVK_EXPORT std::optional<DataBuffer> decryptedAES256DataUsingKey(std::span<const std::uint8_t> data,
                                                                 const DataOrText& key,
                                                                 CommonCryptoError* error = nullptr);
HVK_EXPORT std::optional<DataBuffer> DESEncryptedDataUsingKey(std::span<const std::uint8_t> data, const DataOrText& key,
                                                              CommonCryptoError* error = nullptr);
HVK_EXPORT std::optional<DataBuffer> decryptedDESDataUsingKey(std::span<const std::uint8_t> data, const DataOrText& key,
                                                              CommonCryptoError* error = nullptr);
HVK_EXPORT std::optional<DataBuffer> CASTEncryptedDataUsingKey(std::span<const std::uint8_t> data,
                                                               const DataOrText& key,
                                                               CommonCryptoError* error = nullptr);
HVK_EXPORT std::optional<DataBuffer> decryptedCASTDataUsingKey(std::span<const std::uint8_t> data,
                                                               const DataOrText& key,
                                                               CommonCryptoError* error = nullptr);

}  // namespace hvk
