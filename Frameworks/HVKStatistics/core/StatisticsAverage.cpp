#include "HVKStatistics/core/StatisticsAverage.h"

#include <array>
#include <charconv>
#include <cmath>
#include <cstdlib>

namespace hvk {

Value numberFromFloat(float number) {
    if (!std::isfinite(number)) return number;
    std::array<char, 32> text{};
    std::to_chars(text.data(), text.data() + text.size() - 1, number);
    return std::strtod(text.data(), nullptr);
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
