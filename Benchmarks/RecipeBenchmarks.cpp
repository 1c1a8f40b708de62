// RecipeBenchmarks.cpp - loading the recipe of a model with 300 entries: once at the start of a host, in under 20 ms.

#include <memory>
#include <string>
#include <vector>

#include "Benchmarks/Groups.h"
#include "Benchmarks/Pair.h"
#include "HVKPlatform/recorded/RecordedMachine.h"
#include "HVKStatistics/sensors/HVKStatisticsSensors.h"

namespace hvk::bench {

namespace {

constexpr int Entries = 300;

/// A machine, its module, the recipe, and the keys that the recipe asks for.
struct Stage {
    std::unique_ptr<RecordedMachine> machine;
    std::unique_ptr<HVKStatisticsSensors> sensors;
    Value recipe;
    std::vector<std::string> keys;
};

Stage makeStage() {
    Stage stage;
    Value controller = Value::array();
    Value supported = Value::array();
    for (int index = 0; index < Entries; ++index) {
        std::string key = "T000";
        for (int place = 3, rest = index; place > 0; --place, rest /= 10)
            key[place] = static_cast<char>('0' + rest % 10);
        stage.keys.push_back(key);
        controller.push_back({{"key", key}, {"type", "sp78"}, {"bytes", "3200"}});
        if (index % 30 == 0)
            supported.push_back(
                {{"group", 1}, {"key", "temperature"}, {"type", index / 30}, {"sensors", Value::array()}});
        supported.back()["sensors"].push_back({{"key", key}, {"name", "Sensor " + key}, {"source", "smc"}});
    }
    stage.recipe = {{"version", 1}, {"sensors", {{"supported", supported}}}};
    auto machine = RecordedMachine::fromJSON({{"schema", 1},
                                              {"controller", {{"services", {{"AppleSMC", {{"keys", controller}}}}}}},
                                              {"frames", {{{"time", 1700000000}}}}});
    stage.machine = std::move(*machine);
    stage.sensors = std::make_unique<HVKStatisticsSensors>(*stage.machine);
    return stage;
}

}  // namespace

void registerRecipeBenchmarks() {
    const auto stage = std::make_shared<Stage>(makeStage());
    registerPair(
        {"recipe of 300 entries, load", 60, "the 300 keys, read once"},
        [stage] {
            stage->sensors->loadFromPlatform(stage->recipe);
            benchmark::DoNotOptimize(stage->sensors->sensors().data());
        },
        [stage] {
            float sum = 0;
            for (const std::string& key : stage->keys) sum += stage->sensors->controller().read(key);
            benchmark::DoNotOptimize(sum);
        });
}

}  // namespace hvk::bench
