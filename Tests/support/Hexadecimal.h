// Hexadecimal.h - bytes as published vectors write them.
#pragma once

#include <cstdint>
#include <span>
#include <string>
#include <string_view>
#include <vector>

namespace hvk::test {

/// "00ff" for the bytes 0 and 255.
inline std::string hexadecimal(std::span<const std::uint8_t> bytes) {
    std::string text;
    for (const std::uint8_t byte : bytes) {
        text += "0123456789abcdef"[byte >> 4];
        text += "0123456789abcdef"[byte & 15];
    }
    return text;
}

/// The reverse, of lower-case digits.
inline std::vector<std::uint8_t> bytes(std::string_view text) {
    const auto digit = [](char c) { return c <= '9' ? c - '0' : c - 'a' + 10; };
    std::vector<std::uint8_t> read;
    for (std::size_t index = 0; index + 1 < text.size(); index += 2)
        read.push_back(static_cast<std::uint8_t>(digit(text[index]) * 16 + digit(text[index + 1])));
    return read;
}

}  // namespace hvk::test
