#include "HVKStatistics/core/StatisticsAverage.h"

#include <fmt/format.h>

#include <cmath>

namespace hvk {

Value numberFromFloat(float number) {
    if (!std::isfinite(number)) return number;
    // The shortest text that is this float. Read as JSON, it means the same under every locale of the host; only the
    // sign of a zero is lost there.
    return std::copysign(Value::parse(fmt::format("{}", number)).get<double>(), static_cast<double>(number));
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
