// The sensors that graphics processors are turned into.

#include "HVKStatistics/categories/StatisticsHash.h"
#include "HVKStatistics/sensors/HVKStatisticsSensors.h"

namespace hvk {

namespace {

/// A figure of a processor that becomes a sensor.
struct Figure {
    const char* mark;     ///< the feature that says that it is told
    const char* feature;  ///< the feature that holds it
    const char* suffix;   ///< of the sensor's key
    std::int64_t type;
};

constexpr Figure Figures[] = {
    {"has-clock-core", "clock-core", "clock-core", StatisticsSensorTypeFrequency},
    {"fan-percentage", "fan-speed", "fanspeed", StatisticsSensorTypeFan},
    {"has-fan-rpm", "fan-speed", "rpm", StatisticsSensorTypeFanSpeed},
    {"has-clock-memory", "clock-memory", "clock-memory", StatisticsSensorTypeFrequency},
    {"has-power", "power", "power", StatisticsSensorTypePower},
    {"has-temperature", "temperature", "temperature", StatisticsSensorTypeTemperature},
};

std::string englishName(const HVKStatisticsGPUItem& item, std::string_view suffix) {
    if (suffix == "clock-core") return item.name + " Core";
    if (suffix == "clock-memory") return item.name + " Memory";
    return item.name;
}

}  // namespace

void HVKStatisticsSensors::addGPUSensors(const std::vector<std::shared_ptr<HVKStatisticsGPUItem>>& items, double time) {
    const Changes changes(*this);
    for (const Sensor& sensor : sensors())
        if (sensor->source == StatisticsSensorSourceGPU) sensor->exists = false;
    for (const auto& item : items) {
        for (const Figure& figure : Figures) {
            if (!item->features.contains(figure.mark)) continue;
            const char* feature = item->features.contains(figure.feature) ? figure.feature : figure.mark;
            addGPUSensor(*item, figure.suffix, figure.type, item->features[feature].get<double>(), time);
        }
    }
    const SensorList walk = sensors();
    for (const Sensor& sensor : walk)
        if (sensor->source == StatisticsSensorSourceGPU && !sensor->exists) removeItem(sensor);
}

void HVKStatisticsSensors::addGPUSensor(const HVKStatisticsGPUItem& item, std::string_view suffix, std::int64_t type,
                                        double value, double time) {
    const std::string key = "gpu-" + item.key + "-" + std::string(suffix);
    Sensor sensor = sensorWithKey(key);
    if (!sensor) {
        sensor = createSensor({{"key", key}, {"name", englishName(item, suffix)}, {"type", type}});
        sensor->source = StatisticsSensorSourceGPU;
        switch (type) {
            case StatisticsSensorTypePower: addDetailedSensor(sensor, "power"); break;
            case StatisticsSensorTypeTemperature: addGlobalSensor(sensor, "temperature"); break;
            case StatisticsSensorTypeFrequency: addGlobalSensor(sensor, "frequency"); break;
            default: addGlobalSensor(sensor, "fan");
        }
        sensor->location = StatisticsSensorLocationGPU;
    }
    sensor->exists = true;
    sensor->addValue(value, time);
}

}  // namespace hvk
