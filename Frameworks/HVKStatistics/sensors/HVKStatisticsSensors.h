// HVKStatisticsSensors.h - the sensors module: temperatures, fans, voltages, currents and power of the machine.
//
// It owns the connection to the controller and puts the parts together: the lists (SensorCatalogue), the loading of a
// recipe into them (SensorLoader), the sampling (SensorSampler) and the HID temperatures (HIDSensorReader).
//
//     HVKStatisticsSensors sensors(machine);
//     sensors.loadFromPlatform(platform.platform());
//     sensors.update(now);
//     for (const auto& sensor : sensors.sensors()) print(sensor->name, sensor->value);
#pragma once

#include "HVKBase/Export.h"
#include "HVKPlatform/Machine.h"
#include "HVKPlatform/Value.h"
#include "HVKStatistics/core/StatisticsRoles.h"
#include "HVKStatistics/graphics/HVKStatisticsGPUItem.h"
#include "HVKStatistics/sensors/HIDSensorReader.h"
#include "HVKStatistics/sensors/SMC.h"
#include "HVKStatistics/sensors/SMCSensors.h"
#include "HVKStatistics/sensors/SensorCatalogue.h"
#include "HVKStatistics/sensors/SensorLoader.h"
#include "HVKStatistics/sensors/SensorSampler.h"

namespace hvk {

/// What `update` answers when sensors or groups came since the last one.
inline constexpr std::int64_t StatisticsSensorsChangedMask = 1024;

/// The module. Thread: the one that updates it, but for what SensorCatalogue lets any thread read.
class HVK_EXPORT HVKStatisticsSensors : public SensorCatalogue, public StatisticsSensorsRole {
public:
    /// Empty lists. Opens the connection to the controller, once; without one the controller's sensors do not answer.
    explicit HVKStatisticsSensors(Machine& machine = Machine::current());
    ~HVKStatisticsSensors() override;

    /// Whether the module was told to show demonstration data; false at first.
    bool demo() const { return demo_; }
    void setDemo(bool demo) override { demo_ = demo; }

    /// The controller client, open when the machine has a controller.
    SMC& controller() { return controller_; }

    /// Fills the lists anew from the recipe of a model, a dictionary; null changes nothing. See SensorLoader.
    void loadFromPlatform(const Value& recipe) override { loader_.loadFromPlatform(recipe); }

    /// Loads one entry of a recipe into a group's entry, null for the group of its kind. Null when the machine does not
    /// have it, and for a family.
    Sensor loadSensor(const Value& entry, const Value& group = nullptr) { return loader_.loadSensor(entry, group); }

    /// The HID temperatures now, then the averages over them, for a host; see HIDSensorReader.
    Value HIDSensors() { return HIDSensorReader::dictionaries(hid_.read()); }

    /// Takes one sample of every sensor at `time`, seconds since 1970; see SensorSampler. 1024 when sensors or groups
    /// were added since the last call, whose mark is lowered by that; otherwise 0. In demo mode too: this module has
    /// no demonstration data.
    std::int64_t update(double time);

    /// Kept for hosts that call it; always 0.
    static double valueForSMCSensor(std::string_view key, const Value& config);

    /// All keys of the controller, and those of temperatures, power, voltages and currents; see SMCSensors.h.
    Value allSensors() { return hvk::allSensors(controller_); }
    Value standardSensors() { return hvk::standardSensors(controller_); }

    /// Turns the figures of the graphics processors into sensors, those that each tells: "gpu-<key>-clock-core" and
    /// "gpu-<key>-clock-memory" (frequencies "<name> Core", "<name> Memory"), "gpu-<key>-rpm" and "gpu-<key>-fanspeed"
    /// (fans: the first is the speed; the second the same, or the percentage where only that is told),
    /// "gpu-<key>-power", "gpu-<key>-temperature" (named as the processor). Power stands in the detailed group only;
    /// temperature, frequency and fan in both. What a processor no longer tells, or one that went away, is removed.
    void addGPUSensors(const std::vector<std::shared_ptr<HVKStatisticsGPUItem>>& items, double time);

    /// One of them: `suffix` is the end of its key, "clock-core"; makes the sensor when there is none and gives it the
    /// value.
    void addGPUSensor(const HVKStatisticsGPUItem& item, std::string_view suffix, std::int64_t type, double value,
                      double time);

    /// Drop the sensors of drives, and those that came from the power-metrics tool (their keys begin with "pm-").
    void removeSMARTSensors();
    void removePowermetricsSensors();

    // For compact displays: the first visible sensor that fits; null when there is none.

    /// The clock named "CPU", else the sensor "pm-cpu-freq".
    Sensor cpuFrequency() const;
    /// The clock named "GPU" or "Graphica" (as some recipes spell it), else the sensor "pm-gpu-freq".
    Sensor gpuFrequency() const;
    /// The sensor "CUS_AS_GPU_AVERAGE", else "AS_GPU_AVG".
    Sensor gpuTemperature() const;
    /// The temperature named "Intel GPU".
    Sensor intelGPUTemperature() const;
    /// The temperature named "Radeon GPU" or "Radeon GPU Die".
    Sensor amdGPUTemperature() const;
    /// The sensor "CUS_BATTERY_AVERAGE".
    Sensor batteryTemperature() const;

private:
    Sensor firstNamed(std::int64_t type, std::initializer_list<std::string_view> names) const;
    template <class Test>
    void removeWhere(Test test);

    bool demo_ = false;
    SMC controller_;
    HIDSensorReader hid_;
    SensorLoader loader_;
    SensorSampler sampler_;
};

}  // namespace hvk
