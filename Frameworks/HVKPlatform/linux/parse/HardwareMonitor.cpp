#include "HVKPlatform/linux/parse/HardwareMonitor.h"

#include <algorithm>
#include <array>
#include <charconv>
#include <system_error>
#include <utility>

#include "HVKPlatform/linux/parse/Scan.h"

namespace hvk::parse {

namespace {

constexpr std::array<std::pair<std::string_view, MonitorQuantity>, 7> Prefixes = {{
    {"temp", MonitorQuantity::Temperature},
    {"fan", MonitorQuantity::Fan},
    {"in", MonitorQuantity::Voltage},
    {"curr", MonitorQuantity::Current},
    {"power", MonitorQuantity::Power},
    {"energy", MonitorQuantity::Energy},
    {"freq", MonitorQuantity::Frequency},
}};

/// Names that end with a running number of their class.
constexpr std::array<std::string_view, 9> Numbered = {"nvme", "host", "phy",   "card",          "thermal_zone",
                                                      "i2c-", "rtc",  "input", "cooling_device"};

bool isDigit(char c) { return c >= '0' && c <= '9'; }
bool isHexadecimal(char c) { return isDigit(c) || (c >= 'a' && c <= 'f') || (c >= 'A' && c <= 'F'); }
bool allDigits(std::string_view text) { return !text.empty() && std::all_of(text.begin(), text.end(), isDigit); }
bool allHexadecimal(std::string_view text) {
    return !text.empty() && std::all_of(text.begin(), text.end(), isHexadecimal);
}

/// "0003:1E71:170E.0004", a HID device: bus, vendor, product, and a number that counts all devices ever attached.
bool isHIDDevice(std::string_view name) {
    return name.size() == 19 && name[4] == ':' && name[9] == ':' && name[14] == '.' &&
           allHexadecimal(name.substr(0, 4)) && allHexadecimal(name.substr(5, 4)) &&
           allHexadecimal(name.substr(10, 4)) && allHexadecimal(name.substr(15));
}

/// "2:0:0:0", a SCSI device: the first number is its host's.
bool isSCSIDevice(std::string_view name) {
    return std::count(name.begin(), name.end(), ':') == 3 &&
           std::all_of(name.begin(), name.end(), [](char c) { return c == ':' || isDigit(c); });
}

std::string stableName(std::string_view name) {
    if (isHIDDevice(name)) return std::string(name.substr(0, 14));
    if (isSCSIDevice(name)) return std::string(name.substr(name.find(':')));
    if (name.starts_with("target") && name.find(':') != std::string_view::npos)
        return "target" + std::string(name.substr(name.find(':')));
    for (const std::string_view prefix : Numbered)
        if (name.starts_with(prefix) && allDigits(name.substr(prefix.size()))) return std::string(prefix);
    // "5-0018", a chip on an I2C bus; a USB port, "5-1", has no four digits.
    const std::size_t dash = name.find('-');
    if (dash != std::string_view::npos && name.size() == dash + 5 && allDigits(name.substr(0, dash)) &&
        allHexadecimal(name.substr(dash + 1)))
        return std::string(name.substr(dash));
    return std::string(name);
}

std::size_t digitsAt(std::string_view text, std::size_t at) {
    std::size_t end = at;
    while (end < text.size() && isDigit(text[end])) ++end;
    return end - at;
}

}  // namespace

std::optional<MonitorAttribute> parseMonitorAttribute(std::string_view file) {
    for (const auto& [prefix, quantity] : Prefixes) {
        if (!file.starts_with(prefix)) continue;
        const std::size_t digits = digitsAt(file, prefix.size());
        const std::size_t end = prefix.size() + digits;
        if (digits == 0 || digits > 6 || end + 1 >= file.size() || file[end] != '_') continue;
        MonitorAttribute parts;
        parts.quantity = quantity;
        parts.index = static_cast<unsigned>(toUnsigned(file.substr(prefix.size(), digits)).value_or(0));
        parts.channel = file.substr(0, end);
        parts.attribute = file.substr(end + 1);
        return parts;
    }
    return std::nullopt;
}

std::optional<std::int64_t> parseMonitorNumber(std::string_view text) {
    const std::string_view word = trimmed(text);
    std::int64_t number = 0;
    const auto [end, error] = std::from_chars(word.data(), word.data() + word.size(), number);
    if (error != std::errc() || end != word.data() + word.size()) return std::nullopt;
    return number;
}

double monitorDivisor(MonitorQuantity quantity) {
    switch (quantity) {
        case MonitorQuantity::Fan: return 1;
        case MonitorQuantity::Temperature:
        case MonitorQuantity::Voltage:
        case MonitorQuantity::Current: return 1e3;
        case MonitorQuantity::Power:
        case MonitorQuantity::Energy:
        case MonitorQuantity::Frequency: return 1e6;
    }
    return 1;
}

std::string stableDevicePath(std::string_view path) {
    constexpr std::string_view Devices = "/sys/devices/";
    if (path.starts_with(Devices)) path.remove_prefix(Devices.size());
    std::string stable;
    while (!path.empty()) {
        const std::size_t end = path.find('/');
        if (const std::string_view name = path.substr(0, end); !name.empty()) {
            if (!stable.empty()) stable += '/';
            stable += stableName(name);
        }
        path.remove_prefix(end == std::string_view::npos ? path.size() : end + 1);
    }
    return stable;
}

bool naturalLess(std::string_view left, std::string_view right) {
    std::size_t i = 0;
    std::size_t j = 0;
    while (i < left.size() && j < right.size()) {
        const std::size_t m = digitsAt(left, i);
        const std::size_t n = digitsAt(right, j);
        if (m > 0 && n > 0) {
            std::string_view a = left.substr(i, m);
            std::string_view b = right.substr(j, n);
            while (a.size() > 1 && a.front() == '0') a.remove_prefix(1);
            while (b.size() > 1 && b.front() == '0') b.remove_prefix(1);
            if (a.size() != b.size()) return a.size() < b.size();
            if (a != b) return a < b;
            i += m;
            j += n;
            continue;
        }
        if (left[i] != right[j]) return left[i] < right[j];
        ++i;
        ++j;
    }
    if (i < left.size() || j < right.size()) return j < right.size();
    return left < right;
}

}  // namespace hvk::parse
