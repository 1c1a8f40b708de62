#include "HVKLocalization/StringTable.h"

#include <cstdint>
#include <tuple>
#include <utility>

namespace hvk {

namespace {

constexpr std::size_t MostFaults = 20;
constexpr std::size_t LongestFault = 120;
constexpr std::string_view ByteOrderMark = "\xEF\xBB\xBF";

constexpr bool isHighSurrogate(std::uint32_t unit) { return unit >= 0xD800 && unit <= 0xDBFF; }
constexpr bool isLowSurrogate(std::uint32_t unit) { return unit >= 0xDC00 && unit <= 0xDFFF; }

void appendUTF8(std::string& text, std::uint32_t point) {
    const auto put = [&](std::uint32_t byte) { text += static_cast<char>(byte); };
    if (point < 0x80) {
        put(point);
    } else if (point < 0x800) {
        put(0xC0 | point >> 6);
        put(0x80 | (point & 0x3F));
    } else if (point < 0x10000) {
        put(0xE0 | point >> 12);
        put(0x80 | (point >> 6 & 0x3F));
        put(0x80 | (point & 0x3F));
    } else {
        put(0xF0 | point >> 18);
        put(0x80 | (point >> 12 & 0x3F));
        put(0x80 | (point >> 6 & 0x3F));
        put(0x80 | (point & 0x3F));
    }
}

/// Whether the bytes are UTF-8 as the Unicode standard's table 3-7 has it: no overlong form, no surrogate.
bool isUTF8(std::string_view text) {
    for (std::size_t at = 0; at < text.size();) {
        const auto byte = [&](std::size_t offset) {
            return at + offset < text.size() ? static_cast<unsigned char>(text[at + offset]) : 0U;
        };
        const auto follows = [&](std::size_t offset, unsigned from = 0x80, unsigned to = 0xBF) {
            return byte(offset) >= from && byte(offset) <= to;
        };
        const unsigned first = byte(0);
        if (first < 0x80) {
            at += 1;
        } else if (first >= 0xC2 && first <= 0xDF && follows(1)) {
            at += 2;
        } else if (first >= 0xE0 && first <= 0xEF &&
                   follows(1, first == 0xE0 ? 0xA0 : 0x80, first == 0xED ? 0x9F : 0xBF) && follows(2)) {
            at += 3;
        } else if (first >= 0xF0 && first <= 0xF4 &&
                   follows(1, first == 0xF0 ? 0x90 : 0x80, first == 0xF4 ? 0x8F : 0xBF) && follows(2) && follows(3)) {
            at += 4;
        } else {
            return false;
        }
    }
    return true;
}

/// What is wrong at a place; never leaves this file.
struct Fault {
    std::string reason;
};

class Reader {
public:
    explicit Reader(std::string_view text) : text_(text) {
        if (text_.starts_with(ByteOrderMark)) at_ = ByteOrderMark.size();
    }

    /// Goes to the next entry; false at the end.
    bool skipToEntry() {
        skipBlanks();
        return !atEnd();
    }

    std::pair<std::string, std::string> entry() {
        std::string key = quoted("a key");
        next('=', "there is no = behind the key \"" + key + '"');
        std::string value = quoted("the text for \"" + key + '"');
        next(';', "there is no ; behind the text for \"" + key + '"');
        return {std::move(key), std::move(value)};
    }

    void skipLine() {
        while (!atEnd() && text_[at_] != '\n') ++at_;
    }

    std::size_t line() const { return line_; }

private:
    bool atEnd() const { return at_ >= text_.size(); }
    char peek(std::size_t offset = 0) const { return at_ + offset < text_.size() ? text_[at_ + offset] : '\0'; }

    bool take(char wanted) {
        if (atEnd() || text_[at_] != wanted) return false;
        ++at_;
        return true;
    }

    /// Takes a sign that may stand on a later line. When it is missing, the fault is on the line of what came before,
    /// and the later line is left as it is.
    void next(char wanted, const std::string& fault) {
        const auto place = std::pair(at_, line_);
        skipBlanks();
        if (!take(wanted)) {
            std::tie(at_, line_) = place;
            throw Fault{fault};
        }
    }

    /// Blanks, line ends and comments.
    void skipBlanks() {
        while (!atEnd()) {
            const char c = text_[at_];
            if (c == '\n') {
                ++line_;
                ++at_;
            } else if (c == ' ' || c == '\t' || c == '\r' || c == '\f' || c == '\v') {
                ++at_;
            } else if (c == '/' && peek(1) == '/') {
                skipLine();
            } else if (c == '/' && peek(1) == '*') {
                skipComment();
            } else {
                return;
            }
        }
    }

    void skipComment() {
        // Once no comment ends any more, none is looked for: a file of open comments takes no longer than another.
        const std::size_t end = commentsEnd_ ? text_.find("*/", at_ + 2) : std::string_view::npos;
        if (end == std::string_view::npos) {
            commentsEnd_ = false;
            throw Fault{"the comment does not end"};
        }
        for (; at_ < end + 2; ++at_)
            if (text_[at_] == '\n') ++line_;
    }

    std::string quoted(const std::string& what) {
        skipBlanks();
        if (!take('"')) throw Fault{what + " does not begin with a quotation mark"};
        std::string result;
        while (true) {
            if (atEnd() || text_[at_] == '\n') throw Fault{what + " does not end on its line"};
            const char c = text_[at_++];
            if (c == '"') break;
            if (c == '\\')
                escape(result);
            else
                result += c;
        }
        if (!isUTF8(result)) throw Fault{what + " is not UTF-8"};
        return result;
    }

    void escape(std::string& result) {
        const char c = peek();
        if (c >= '0' && c <= '7') return octal(result);
        if (atEnd() || c == '\n') throw Fault{"there is nothing behind a backslash"};
        ++at_;
        switch (c) {
            case '"':
            case '\'':
            case '\\':
            case '/': result += c; return;
            case 'n': result += '\n'; return;
            case 'r': result += '\r'; return;
            case 't': result += '\t'; return;
            case 'u':
            case 'U': return unicode(result);
            default: throw Fault{"there is no such escape as a backslash with that behind it"};
        }
    }

    void octal(std::string& result) {
        std::uint32_t number = 0;
        for (int digits = 0; digits < 3 && peek() >= '0' && peek() <= '7'; ++digits)
            number = number * 8 + static_cast<std::uint32_t>(text_[at_++] - '0');
        if (number == 0) throw Fault{"a text holds no zero character"};
        appendUTF8(result, number);
    }

    void unicode(std::string& result) {
        std::uint32_t point = fourDigits();
        if (isHighSurrogate(point)) {
            const bool hasSecond = peek() == '\\' && (peek(1) == 'u' || peek(1) == 'U');
            if (hasSecond) at_ += 2;
            const std::uint32_t second = hasSecond ? fourDigits() : 0;
            if (!isLowSurrogate(second)) throw Fault{"half of a pair of \\u stands alone"};
            point = 0x10000 + ((point - 0xD800) << 10) + (second - 0xDC00);
        } else if (isLowSurrogate(point)) {
            throw Fault{"half of a pair of \\u stands alone"};
        }
        if (point == 0) throw Fault{"a text holds no zero character"};
        appendUTF8(result, point);
    }

    std::uint32_t fourDigits() {
        std::uint32_t number = 0;
        for (int digit = 0; digit < 4; ++digit, ++at_) {
            const char c = peek();
            number *= 16;
            if (c >= '0' && c <= '9')
                number += static_cast<std::uint32_t>(c - '0');
            else if (c >= 'a' && c <= 'f')
                number += static_cast<std::uint32_t>(c - 'a' + 10);
            else if (c >= 'A' && c <= 'F')
                number += static_cast<std::uint32_t>(c - 'A' + 10);
            else
                throw Fault{"\\u needs four hexadecimal digits"};
        }
        return number;
    }

    std::string_view text_;
    std::size_t at_ = 0;
    std::size_t line_ = 1;
    bool commentsEnd_ = true;
};

}  // namespace

StringTable StringTable::parse(std::string_view text) {
    StringTable table;
    const auto note = [&](std::size_t line, std::string reason) {
        // A key may be as long as the file, and a log prints what it is given.
        if (reason.size() > LongestFault) reason = reason.substr(0, LongestFault) + "...";
        if (table.faults_.size() < MostFaults) table.faults_.push_back({line, std::move(reason)});
    };
    Reader reader(text);
    while (true) {
        try {
            if (!reader.skipToEntry()) break;
            auto [key, value] = reader.entry();
            if (!table.entries_.try_emplace(key, std::move(value)).second)
                note(reader.line(), "the key \"" + key + "\" was there before");
        } catch (Fault& fault) {
            note(reader.line(), std::move(fault.reason));
            reader.skipLine();
        }
    }
    return table;
}

std::optional<std::string_view> StringTable::find(std::string_view key) const {
    const auto found = entries_.find(key);
    if (found == entries_.end()) return std::nullopt;
    return found->second;
}

}  // namespace hvk
