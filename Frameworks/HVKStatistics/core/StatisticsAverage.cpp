#include "HVKStatistics/core/StatisticsAverage.h"

#include <fmt/format.h>

#include <cmath>
#include <string>

namespace hvk {

namespace {

/// Whether a whole number is written no longer with all its digits than with an exponent ("240823472", not
/// "2.4082347e+08"); `text` is its shortest text.
bool isShorterInFull(double number, const std::string& text) {
    std::size_t withExponent = text.size();
    if (text.find('e') == std::string::npos) {
        const std::size_t digits = text.find_last_not_of('0') + 1;
        withExponent = digits + (digits > 1 ? 1 : 0) + std::char_traits<char>::length("e+00");
    }
    return fmt::formatted_size("{:.0f}", number) <= withExponent;
}

}  // namespace

Value numberFromFloat(float number) {
    if (!std::isfinite(number)) return number;
    // Beyond 2^24 every float is whole and has more digits than it needs.
    const double magnitude = std::abs(static_cast<double>(number));
    const std::string text = fmt::format("{}", std::abs(number));
    if (magnitude >= 0x1p24 && isShorterInFull(magnitude, text)) return static_cast<double>(number);
    // Read as JSON, the text means the same under every locale of the host.
    return std::copysign(Value::parse(text).get<double>(), static_cast<double>(number));
}

Value historyConfigDictionary(std::string_view type, std::initializer_list<std::string_view> fields, bool keys) {
    Value names = Value::array();
    for (std::string_view field : fields) names.push_back(field);
    Value config = {{"type", type}, {"fields", std::move(names)}};
    if (keys) config["keys"] = true;
    return config;
}

Value averageDictionary(std::string_view type, double start, std::int64_t interval) {
    return {{"type", type}, {"time", start}, {"interval", interval}};
}

}  // namespace hvk
