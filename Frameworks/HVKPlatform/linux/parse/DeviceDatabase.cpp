#include "HVKPlatform/linux/parse/DeviceDatabase.h"

#include <charconv>
#include <system_error>

#include "HVKPlatform/linux/parse/Scan.h"

namespace hvk::parse {

namespace {

std::optional<std::string_view> valueOf(std::string_view content, std::string_view prefix, std::string_view key) {
    while (!content.empty()) {
        bool complete = false;
        std::string_view line = takeLine(content, complete);
        if (!line.starts_with(prefix)) continue;
        line.remove_prefix(prefix.size());
        if (line.size() > key.size() && line.starts_with(key) && line[key.size()] == '=')
            return line.substr(key.size() + 1);
    }
    return std::nullopt;
}

}  // namespace

std::optional<std::string_view> deviceProperty(std::string_view content, std::string_view key) {
    return valueOf(content, "E:", key);
}

std::optional<std::string_view> deviceVariable(std::string_view content, std::string_view key) {
    return valueOf(content, "", key);
}

std::string decodedDeviceText(std::string_view text) {
    std::string plain;
    while (!text.empty()) {
        unsigned value = 0;
        if (text.starts_with("\\x") && text.size() >= 4) {
            const auto [end, error] = std::from_chars(text.data() + 2, text.data() + 4, value, 16);
            if (error == std::errc() && end == text.data() + 4) {
                plain += static_cast<char>(value);
                text.remove_prefix(4);
                continue;
            }
        }
        plain += text.front();
        text.remove_prefix(1);
    }
    return plain;
}

}  // namespace hvk::parse
