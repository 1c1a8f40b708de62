// Scan.h - the small steps that every reader of kernel text takes: lines, words, unsigned numbers.
//
// Nothing here allocates. A number that does not fit or has no digit is refused, never cut.
#pragma once

#include <charconv>
#include <cstdint>
#include <optional>
#include <string_view>
#include <system_error>

namespace hvk::parse {

/// Takes the next line off the front of `text`, without its newline. `complete` tells whether the newline was there: a
/// kernel file whose last line lacks it was cut short.
inline std::string_view takeLine(std::string_view& text, bool& complete) {
    const std::size_t end = text.find('\n');
    complete = end != std::string_view::npos;
    const std::string_view line = text.substr(0, end);
    text.remove_prefix(complete ? end + 1 : text.size());
    return line;
}

inline void skipBlanks(std::string_view& text) {
    while (!text.empty() && (text.front() == ' ' || text.front() == '\t')) text.remove_prefix(1);
}

/// Takes the next word off the front of `text`; empty at the end.
inline std::string_view takeWord(std::string_view& text) {
    skipBlanks(text);
    std::size_t length = 0;
    while (length < text.size() && text[length] != ' ' && text[length] != '\t' && text[length] != '\n') ++length;
    const std::string_view word = text.substr(0, length);
    text.remove_prefix(length);
    return word;
}

/// The whole of `word` as a decimal number.
inline std::optional<std::uint64_t> toUnsigned(std::string_view word) {
    std::uint64_t number = 0;
    const auto [end, error] = std::from_chars(word.data(), word.data() + word.size(), number);
    if (error != std::errc() || end != word.data() + word.size()) return std::nullopt;
    return number;
}

/// Takes a decimal number off the front of `text`, blanks before it skipped.
inline std::optional<std::uint64_t> takeUnsigned(std::string_view& text) { return toUnsigned(takeWord(text)); }

/// The text without blanks and line ends around it.
inline std::string_view trimmed(std::string_view text) {
    const auto isBlank = [](char c) { return c == ' ' || c == '\t' || c == '\n' || c == '\r' || c == '\0'; };
    while (!text.empty() && isBlank(text.front())) text.remove_prefix(1);
    while (!text.empty() && isBlank(text.back())) text.remove_suffix(1);
    return text;
}

}  // namespace hvk::parse
