#include "HVKStatistics/sensors/HVKStatisticsSensors.h"

#include <algorithm>

namespace hvk {

namespace {

/// How the keys of sensors begin that the power-metrics tool feeds.
constexpr std::string_view PowerMetricsKey = "pm-";

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

HVKStatisticsSensors::HVKStatisticsSensors(Machine& machine)
    : SensorCatalogue(machine),
      controller_(machine),
      hid_(machine.hid()),
      loader_(machine, *this, controller_, hid_),
      sampler_(*this, controller_, hid_) {
    // Why it did not open stands in the diagnostics.
    (void)controller_.open();
}

HVKStatisticsSensors::~HVKStatisticsSensors() = default;

std::int64_t HVKStatisticsSensors::update(double time) {
    sampler_.sample(time);
    if (!sensorsChanged()) return 0;
    setSensorsChanged(false);
    return StatisticsSensorsChangedMask;
}

double HVKStatisticsSensors::valueForSMCSensor(std::string_view, const Value&) { return 0.0; }

template <class Test>
void HVKStatisticsSensors::removeWhere(Test test) {
    const Changes changes(*this);
    const SensorList walk = sensors();
    for (const Sensor& sensor : walk)
        if (test(*sensor)) removeItem(sensor);
}

void HVKStatisticsSensors::removeSMARTSensors() {
    removeWhere([](const StatisticsSensorItem& one) { return one.source == StatisticsSensorSourceSMART; });
}

void HVKStatisticsSensors::removePowermetricsSensors() {
    removeWhere([](const StatisticsSensorItem& one) { return one.key.starts_with(PowerMetricsKey); });
}

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

SensorCatalogue::Sensor HVKStatisticsSensors::firstNamed(std::int64_t type,
                                                         std::initializer_list<std::string_view> names) const {
    for (const Sensor& sensor : sensors())
        if (sensor->type == type && std::find(names.begin(), names.end(), sensor->name) != names.end()) return sensor;
    return nullptr;
}

SensorCatalogue::Sensor HVKStatisticsSensors::cpuFrequency() const {
    const Sensor sensor = firstNamed(StatisticsSensorTypeFrequency, {"CPU"});
    return sensor ? sensor : sensorWithKey("pm-cpu-freq");
}

SensorCatalogue::Sensor HVKStatisticsSensors::gpuFrequency() const {
    const Sensor sensor = firstNamed(StatisticsSensorTypeFrequency, {"GPU", "Graphica"});
    return sensor ? sensor : sensorWithKey("pm-gpu-freq");
}

SensorCatalogue::Sensor HVKStatisticsSensors::gpuTemperature() const {
    const Sensor sensor = sensorWithKey("CUS_AS_GPU_AVERAGE");
    return sensor ? sensor : sensorWithKey("AS_GPU_AVG");
}

SensorCatalogue::Sensor HVKStatisticsSensors::intelGPUTemperature() const {
    return firstNamed(StatisticsSensorTypeTemperature, {"Intel GPU"});
}

SensorCatalogue::Sensor HVKStatisticsSensors::amdGPUTemperature() const {
    return firstNamed(StatisticsSensorTypeTemperature, {"Radeon GPU", "Radeon GPU Die"});
}

SensorCatalogue::Sensor HVKStatisticsSensors::batteryTemperature() const {
    return sensorWithKey("CUS_BATTERY_AVERAGE");
}

}  // namespace hvk
