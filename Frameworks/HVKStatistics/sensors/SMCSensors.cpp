#include "HVKStatistics/sensors/SMCSensors.h"

#include <functional>

namespace hvk {

namespace {

constexpr float MostKeys = 5000;
constexpr float FewestKeys = 10;
constexpr std::uint32_t TriedKeys = 2000;

/// How many indices there are to try; nothing when the controller gives no sensible count.
std::optional<std::uint32_t> indexCount(SMC& controller) {
    const float count = controller.read("#KEY");
    if (!(count < MostKeys + 1)) return std::nullopt;
    return count < FewestKeys ? TriedKeys : static_cast<std::uint32_t>(count);
}

/// Reads the keys that `wanted` asks for and adds what `entry` makes of each.
Value walk(SMC& controller, const std::function<bool(const std::string& key)>& wanted,
           const std::function<Value(const std::string& key, Value reading)>& entry) {
    const auto count = indexCount(controller);
    if (!count) return nullptr;
    Value entries = Value::array();
    for (std::uint32_t index = 0; index < *count; ++index) {
        const auto key = controller.keyForIndex(index);
        if (!key || !wanted(*key)) continue;
        Value reading = controller.detailedRead(*key);
        if (!reading.is_null()) entries.push_back(entry(*key, std::move(reading)));
    }
    return entries;
}

bool isStandard(const std::string& key) {
    return !key.empty() && std::string_view("tTpPvViI").find(key.front()) != std::string_view::npos;
}

}  // namespace

Value allSensors(SMC& controller) {
    return walk(
        controller, [](const std::string&) { return true; },
        [](const std::string& key, Value reading) {
            reading["key"] = key;
            return reading;
        });
}

Value standardSensors(SMC& controller) {
    return walk(controller, isStandard, [](const std::string& key, Value reading) {
        return Value{{"key", key}, {"value", std::move(reading["value"])}};
    });
}

}  // namespace hvk
