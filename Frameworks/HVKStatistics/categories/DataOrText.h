// DataOrText.h - an argument that is a byte buffer or a text, such as a key. A text stands for its UTF-8 bytes.
#pragma once

#include <cstdint>
#include <span>
#include <string>
#include <string_view>
#include <vector>

namespace hvk {

/// A byte buffer that an operation returns.
using DataBuffer = std::vector<std::uint8_t>;

/// A view of the bytes of either; valid as long as what it was made from.
struct DataOrText {
    DataOrText(std::span<const std::uint8_t> data) : bytes(data) {}
    DataOrText(const DataBuffer& data) : bytes(data) {}
    DataOrText(std::string_view text) : bytes(reinterpret_cast<const std::uint8_t*>(text.data()), text.size()) {}
    DataOrText(const std::string& text) : DataOrText(std::string_view(text)) {}
    DataOrText(const char* text) : DataOrText(std::string_view(text)) {}

    std::span<const std::uint8_t> bytes;  ///< may be empty
};

}  // namespace hvk
