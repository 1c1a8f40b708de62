#include "HVKStatistics/sensors/HVKStatisticsSensors.h"

#include <algorithm>

namespace hvk {

namespace {

/// How the keys of sensors begin that the power-metrics tool feeds.
constexpr std::string_view PowerMetricsKey = "pm-";

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
