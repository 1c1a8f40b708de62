#include "HVKPlatform/linux/parse/SysfsText.h"

#include <charconv>
#include <system_error>

namespace hvk::parse {

namespace {

constexpr char HexadecimalDigits[] = "0123456789ABCDEF";

unsigned byteAt(std::string_view text, std::size_t index) { return static_cast<unsigned char>(text[index]); }

/// The length of the well-formed UTF-8 sequence at the front of `text`, 0 when there is none: no overlong form, no
/// surrogate, nothing above U+10FFFF.
std::size_t sequenceLength(std::string_view text) {
    const unsigned first = byteAt(text, 0);
    if (first < 0x80) return 1;
    std::size_t length = 0;
    unsigned lowest = 0x80;
    unsigned highest = 0xBF;
    if (first >= 0xC2 && first <= 0xDF) {
        length = 2;
    } else if (first >= 0xE0 && first <= 0xEF) {
        length = 3;
        if (first == 0xE0) lowest = 0xA0;
        if (first == 0xED) highest = 0x9F;
    } else if (first >= 0xF0 && first <= 0xF4) {
        length = 4;
        if (first == 0xF0) lowest = 0x90;
        if (first == 0xF4) highest = 0x8F;
    }
    if (length == 0 || text.size() < length) return 0;
    if (byteAt(text, 1) < lowest || byteAt(text, 1) > highest) return 0;
    for (std::size_t index = 2; index < length; ++index)
        if ((byteAt(text, index) & 0xC0) != 0x80) return 0;
    return length;
}

bool isDigitOrLetter(char c) { return (c >= '0' && c <= '9') || (c >= 'a' && c <= 'z') || (c >= 'A' && c <= 'Z'); }

}  // namespace

std::string readableText(std::string_view bytes) {
    std::string text;
    text.reserve(bytes.size());
    while (!bytes.empty()) {
        const std::size_t length = sequenceLength(bytes);
        if (length == 0)
            text += "\xEF\xBF\xBD";
        else
            text.append(bytes.substr(0, length));
        bytes.remove_prefix(length == 0 ? 1 : length);
    }
    return text;
}

std::string escapedName(std::string_view name) {
    std::string text;
    text.reserve(name.size());
    while (!name.empty()) {
        const unsigned first = byteAt(name, 0);
        const std::size_t length = sequenceLength(name);
        if (length == 0 || first < 0x20 || first == 0x7F || name[0] == '/' || name[0] == '@' || name[0] == '%') {
            text += '%';
            text += HexadecimalDigits[first >> 4];
            text += HexadecimalDigits[first & 15];
            name.remove_prefix(1);
        } else {
            text.append(name.substr(0, length));
            name.remove_prefix(length);
        }
    }
    return text;
}

bool nameBefore(std::string_view left, std::string_view right) {
    return left.size() != right.size() ? left.size() < right.size() : left < right;
}

bool pathBefore(std::string_view left, std::string_view right) {
    while (!left.empty() && !right.empty()) {
        const std::string_view leftName = left.substr(0, left.find('/'));
        const std::string_view rightName = right.substr(0, right.find('/'));
        if (leftName != rightName) return nameBefore(leftName, rightName);
        left.remove_prefix(leftName.size());
        right.remove_prefix(rightName.size());
        if (!left.empty()) left.remove_prefix(1);
        if (!right.empty()) right.remove_prefix(1);
    }
    return left.empty() && !right.empty();
}

std::optional<std::uint32_t> hexadecimal(std::string_view word) {
    if (word.substr(0, 2) == "0x") word.remove_prefix(2);
    std::uint32_t number = 0;
    const auto [end, error] = std::from_chars(word.data(), word.data() + word.size(), number, 16);
    if (error != std::errc() || end != word.data() + word.size()) return std::nullopt;
    return number;
}

std::string capitalized(std::string_view name) {
    std::string text;
    bool starts = true;
    for (const char c : name) {
        if (!isDigitOrLetter(c)) {
            starts = true;
            continue;
        }
        text += starts && c >= 'a' && c <= 'z' ? static_cast<char>(c - 'a' + 'A') : c;
        starts = false;
    }
    return text;
}

std::string hardwareAddress(std::string_view text) {
    std::string bytes;
    while (true) {
        const auto byte = hexadecimal(text.substr(0, 2));
        if (text.size() < 2 || !byte) return {};
        bytes += static_cast<char>(*byte);
        text.remove_prefix(2);
        if (text.empty()) return bytes;
        if (text.front() != ':') return {};
        text.remove_prefix(1);
    }
}

}  // namespace hvk::parse
