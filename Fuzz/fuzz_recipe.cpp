// fuzz_recipe.cpp - recipes: whatever a file holds, reading it ends, and what can be read can be loaded.
//
// An input is tried as a file, and as the plain text of one, so that the JSON behind the cipher is reached.

#include <cstdint>
#include <string_view>

#include "HVKPlatform/recorded/RecordedMachine.h"
#include "HVKStatistics/sensors/HVKStatisticsPlatform.h"
#include "HVKStatistics/sensors/HVKStatisticsSensors.h"
#include "HVKStatistics/sensors/RecipeFile.h"

namespace {

hvk::RecordedMachine& machine() {
    static const auto made = hvk::RecordedMachine::fromJSON(hvk::Value::parse(R"({
        "schema": 1,
        "system": {"physicalProcessorCount": 2, "logicalProcessorCount": 4},
        "controller": {"services": {"AppleSMC": {"keys": [
            {"key": "TC0P", "type": "sp78", "bytes": "3200"}, {"key": "TC1C", "type": "sp78", "bytes": "3300"},
            {"key": "F0Ac", "type": "fpe2", "bytes": "12c0"}, {"key": "PSTR", "type": "flt ", "bytes": "00008040"}]}}},
        "hid": {"readings": [{"product": "PMU tdie1", "value": 40}]},
        "frames": [{"time": 1700000000}]})"));
    return **made;
}

void load(const hvk::Value& recipe) {
    hvk::HVKStatisticsSensors sensors(machine());
    sensors.loadFromPlatform(recipe);
    const std::size_t count = sensors.sensors().size();
    sensors.loadFromPlatform(recipe);
    // Loading again gives the same.
    if (sensors.sensors().size() != count) __builtin_trap();
    for (const auto& group : sensors.groups()) (void)sensors.valueForGroup(*group);
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    using namespace hvk;
    const Value asFile = HVKStatisticsPlatform::readPlatform({data, size});
    if (!asFile.is_null()) load(asFile);

    const std::string_view text(reinterpret_cast<const char*>(data), size);
    const auto file = encodeRecipe(text);
    if (!file) return 0;
    const auto plain = decipherRecipe(*file);
    if (!plain || std::string_view(reinterpret_cast<const char*>(plain->data()), plain->size()) != text)
        __builtin_trap();
    const Value recipe = HVKStatisticsPlatform::readPlatform(*file);
    if (!recipe.is_null()) load(recipe);
    return 0;
}
