#include "HVKPlatform/linux/parse/PCIIdentifiers.h"

#include <charconv>

#include "HVKPlatform/linux/parse/Scan.h"

namespace hvk::parse {

namespace {

/// Four hexadecimal digits and a blank at the front of a line.
std::optional<std::uint32_t> identifier(std::string_view line) {
    constexpr std::size_t Digits = 4;
    if (line.size() <= Digits || line[Digits] != ' ') return std::nullopt;
    std::uint32_t number = 0;
    const auto [end, error] = std::from_chars(line.data(), line.data() + Digits, number, 16);
    if (error != std::errc() || end != line.data() + Digits) return std::nullopt;
    return number;
}

}  // namespace

std::optional<std::string> pciDeviceName(std::string_view list, std::uint32_t vendor, std::uint32_t device) {
    // A vendor begins a line, its devices follow after one tabulator, their subsystems after two.
    bool isVendor = false;
    while (!list.empty()) {
        bool complete = false;
        std::string_view line = takeLine(list, complete);
        if (line.empty() || line.front() == '#') continue;
        if (line.front() != '\t') {
            // Behind the vendors the list has classes, which begin with a letter.
            if (isVendor) return std::nullopt;
            isVendor = identifier(line) == vendor;
            continue;
        }
        line.remove_prefix(1);
        if (!isVendor || identifier(line) != device) continue;
        const std::string_view name = trimmed(line.substr(4));
        return name.empty() ? std::nullopt : std::optional<std::string>(name);
    }
    return std::nullopt;
}

std::string marketedName(std::string_view deviceName) {
    const std::size_t open = deviceName.rfind('[');
    const std::size_t close = deviceName.rfind(']');
    if (open == std::string_view::npos || close == std::string_view::npos || close <= open + 1)
        return std::string(deviceName);
    return std::string(deviceName.substr(open + 1, close - open - 1));
}

}  // namespace hvk::parse
