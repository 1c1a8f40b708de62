// Bytes.h - takes fixed-width fields out of a kernel record's bytes.
//
// The kernels that write these records are little-endian, as is every system this is built for. Owns no record: each
// decoder names its own offsets.
#pragma once

#include <cstddef>
#include <cstdint>
#include <cstring>
#include <span>
#include <string>

#include "HVKPlatform/Result.h"

namespace hvk::decode {

/// The field of type T at `offset`, at any alignment. The caller has checked that the record is long enough.
template <class T>
T field(std::span<const std::uint8_t> bytes, std::size_t offset) {
    T value;
    std::memcpy(&value, bytes.data() + offset, sizeof value);
    return value;
}

/// Malformed: `source` wrote `got` bytes where `needed` were due.
inline Failure shortRecord(std::string source, std::size_t got, std::size_t needed) {
    return {FailureKind::Malformed, std::move(source),
            "record of " + std::to_string(got) + " bytes, " + std::to_string(needed) + " needed"};
}

}  // namespace hvk::decode
