#include "HVKStatistics/categories/CommonCryptoErrorDomain.h"

#include "HVKPlatform/ports/Ciphers.h"

namespace hvk {

namespace {

constexpr const char* DescriptionKey = "NSLocalizedDescription";
constexpr const char* ReasonKey = "NSLocalizedFailureReason";

struct StatusText {
    std::int32_t status;
    const char* description;
    const char* reason;  ///< null for none
};

constexpr StatusText Texts[] = {
    {CipherStatusSuccess, "Success", nullptr},
    {CipherStatusParameterError, "Parameter Error", "Illegal parameter supplied to encryption/decryption algorithm"},
    {CipherStatusBufferTooSmall, "Buffer Too Small", "Insufficient buffer provided for specified operation"},
    {CipherStatusMemoryFailure, "Memory Failure", "Failed to allocate memory"},
    {CipherStatusAlignmentError, "Alignment Error", "Input size to encryption algorithm was not aligned correctly"},
    {CipherStatusDecodeError, "Decode Error", "Input data did not decode or decrypt correctly"},
    {CipherStatusUnimplemented, "Unimplemented Function", "Function not implemented for the current algorithm"},
};

std::string textOf(const Value& userInfo, const char* key) {
    return userInfo.is_object() ? userInfo.value(key, std::string()) : std::string();
}

}  // namespace

const char* const kCommonCryptoErrorDomain = "CommonCryptoErrorDomain";

std::string CommonCryptoError::localizedDescription() const { return textOf(userInfo, DescriptionKey); }

std::string CommonCryptoError::localizedFailureReason() const { return textOf(userInfo, ReasonKey); }

CommonCryptoError errorWithCCCryptorStatus(std::int32_t status) {
    StatusText text{status, "Unknown Error", nullptr};
    for (const StatusText& known : Texts)
        if (known.status == status) text = known;
    Value userInfo{{DescriptionKey, text.description}};
    if (text.reason != nullptr) userInfo[ReasonKey] = text.reason;
    return {kCommonCryptoErrorDomain, status, std::move(userInfo)};
}

}  // namespace hvk
