// Record.h - writes the bytes of a kernel's record for the tests of its decoder.
#pragma once

#include <cstdint>
#include <cstring>
#include <optional>
#include <span>
#include <string_view>
#include <vector>

#include "HVKPlatform/Result.h"

namespace hvk::decode {

/// A record's bytes; what is not written is 0xEE, so that a reading at a wrong offset shows.
class Record {
public:
    explicit Record(std::size_t size) : bytes_(size, 0xEE) {}

    template <class T>
    Record& at(std::size_t offset, T value) {
        std::memcpy(bytes_.data() + offset, &value, sizeof value);
        return *this;
    }
    Record& u32(std::size_t offset, std::uint32_t value) { return at(offset, value); }
    Record& u64(std::size_t offset, std::uint64_t value) { return at(offset, value); }
    Record& text(std::size_t offset, std::string_view text) {
        std::memcpy(bytes_.data() + offset, text.data(), text.size());
        return *this;
    }

    std::span<const std::uint8_t> bytes() const { return bytes_; }
    std::span<const std::uint8_t> first(std::size_t size) const { return bytes().first(size); }

private:
    std::vector<std::uint8_t> bytes_;
};

inline std::span<const std::uint8_t> bytesOf(std::string_view text) {
    return {reinterpret_cast<const std::uint8_t*>(text.data()), text.size()};
}

/// The kind of failure of a result, empty when it holds a value.
template <class T>
std::optional<FailureKind> failureOf(const Result<T>& result) {
    if (result) return std::nullopt;
    return result.failure().kind;
}

}  // namespace hvk::decode
