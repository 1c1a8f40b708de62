// CommonCryptoErrorDomain.h - what a cipher's status means, as an error object for people and hosts.
#pragma once

#include <cstdint>
#include <string>

#include "HVKBase/Export.h"
#include "HVKPlatform/Value.h"

namespace hvk {

/// "CommonCryptoErrorDomain".
HVK_EXPORT extern const char* const kCommonCryptoErrorDomain;

/// An error: whose it is, its number there, and texts for people.
struct HVK_EXPORT CommonCryptoError {
    std::string domain;     ///< kCommonCryptoErrorDomain
    std::int64_t code = 0;  ///< the status, e.g. -4304
    Value userInfo;         ///< "NSLocalizedDescription" and, where known, "NSLocalizedFailureReason"

    /// e.g. "Decode Error".
    std::string localizedDescription() const;
    /// e.g. "Input data did not decode or decrypt correctly"; empty where none is known.
    std::string localizedFailureReason() const;
};

/// The error object of a cipher's status, success (0) included. Thread: any.
HVK_EXPORT CommonCryptoError errorWithCCCryptorStatus(std::int32_t status);

}  // namespace hvk
