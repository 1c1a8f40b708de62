#include "hvkstat/render/Units.h"

#include "HVKStatistics/sensors/StatisticsSensorItem.h"

#include <fmt/format.h>

#include <array>
#include <cmath>
#include <ctime>

namespace hvk::hvkstat {

namespace {

constexpr double BytesPerStep = 1024;
constexpr std::int64_t SecondsPerMinute = 60;
constexpr std::int64_t SecondsPerHour = 3600;
constexpr std::int64_t SecondsPerDay = 86400;
/// The last second of the year 9999.
constexpr double LastCalendarSecond = 253402300799;

}  // namespace

std::string bytesText(double bytes) {
    static constexpr std::array<std::string_view, 7> Units = {"B", "KiB", "MiB", "GiB", "TiB", "PiB", "EiB"};
    if (!std::isfinite(bytes)) return "-";
    std::size_t unit = 0;
    // 1023.95 would print as 1024.0 of the smaller unit.
    while (std::abs(bytes) >= BytesPerStep - (unit == 0 ? 0 : 0.05) && unit + 1 < Units.size()) {
        bytes /= BytesPerStep;
        ++unit;
    }
    return unit == 0 ? fmt::format("{:.0f} B", bytes) : fmt::format("{:.1f} {}", bytes, Units[unit]);
}

std::string percentText(double percent) {
    if (!std::isfinite(percent)) return "-";
    return fmt::format("{:.1f}", percent);
}

double percentOf(double part, double whole) {
    const double percent = part / whole * 100;
    return std::isfinite(percent) ? percent : 0;
}

std::string durationText(double seconds) {
    if (!(seconds >= 0) || seconds > LastCalendarSecond) return "-";
    const auto whole = static_cast<std::int64_t>(seconds);
    const std::int64_t days = whole / SecondsPerDay;
    const std::string clock = fmt::format("{:02}:{:02}:{:02}", whole % SecondsPerDay / SecondsPerHour,
                                          whole % SecondsPerHour / SecondsPerMinute, whole % SecondsPerMinute);
    if (days == 0) return clock;
    return fmt::format("{} {} {}", days, days == 1 ? "day" : "days", clock);
}

std::string timeText(double secondsSince1970) {
    if (!(std::abs(secondsSince1970) <= LastCalendarSecond)) return "-";
    const auto time = static_cast<std::time_t>(std::floor(secondsSince1970));
    std::tm parts{};
    if (localtime_r(&time, &parts) == nullptr) return "-";
    std::array<char, 32> text{};
    std::strftime(text.data(), text.size(), "%Y-%m-%d %H:%M:%S", &parts);
    return text.data();
}

std::string processorTimeText(double seconds) {
    if (!std::isfinite(seconds)) return "-";
    if (seconds < 0.001) return fmt::format("{:.0f} us", seconds * 1e6);
    if (seconds < 1) return fmt::format("{:.1f} ms", seconds * 1e3);
    return fmt::format("{:.2f} s", seconds);
}

std::string_view sensorUnit(std::int64_t type) {
    switch (type) {
        case StatisticsSensorTypeTemperature: return "°C";
        case StatisticsSensorTypeFanSpeed: return "rpm";
        case StatisticsSensorTypeCurrent: return "A";
        case StatisticsSensorTypePower: return "W";
        case StatisticsSensorTypeVoltage: return "V";
        case StatisticsSensorTypeLight: return "lx";
        case StatisticsSensorTypeFrequency: return "MHz";
        case StatisticsSensorTypeMultiplier: return "x";
        default: return "";
    }
}

std::string sensorText(std::int64_t type, double value) {
    switch (type) {
        case StatisticsSensorTypeTemperature: return fmt::format("{:.1f} °C", value);
        // An average of fans is a share of their ranges.
        case StatisticsSensorTypeFan: return fmt::format("{:.0f} %", value * 100);
        case StatisticsSensorTypeFanSpeed:
        case StatisticsSensorTypeLight:
        case StatisticsSensorTypeFrequency: return fmt::format("{:.0f} {}", value, sensorUnit(type));
        case StatisticsSensorTypeVoltage: return fmt::format("{:.3f} V", value);
        case StatisticsSensorTypeCurrent:
        case StatisticsSensorTypePower: return fmt::format("{:.2f} {}", value, sensorUnit(type));
        default: return fmt::format("{:.2f}", value);
    }
}

std::string printable(std::string_view text) {
    std::string clean(text);
    for (char& character : clean) {
        const auto byte = static_cast<unsigned char>(character);
        if (byte < 0x20 || byte == 0x7f) character = '?';
    }
    return clean;
}

std::size_t displayWidth(std::string_view text) {
    std::size_t width = 0;
    for (const char character : text)
        if ((static_cast<unsigned char>(character) & 0xc0) != 0x80) ++width;
    return width;
}

}  // namespace hvk::hvkstat
