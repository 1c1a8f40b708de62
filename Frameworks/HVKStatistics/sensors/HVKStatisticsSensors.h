// HVKStatisticsSensors.h - the sensors module: temperatures, fans, voltages, currents and power of the machine.
//
// It owns the connection to the controller and puts the parts together: the lists (SensorCatalogue), the loading of a
// recipe into them (SensorLoader) and the HID temperatures (HIDSensorReader).
//
//     HVKStatisticsSensors sensors(machine);
//     sensors.loadFromPlatform(platform.platform());
//     for (const auto& sensor : sensors.sensors()) print(sensor->name, sensor->value);
#pragma once

#include "HVKBase/Export.h"
#include "HVKPlatform/Machine.h"
#include "HVKPlatform/Value.h"
#include "HVKStatistics/core/StatisticsRoles.h"
#include "HVKStatistics/sensors/HIDSensorReader.h"
#include "HVKStatistics/sensors/SMC.h"
#include "HVKStatistics/sensors/SensorCatalogue.h"
#include "HVKStatistics/sensors/SensorLoader.h"

namespace hvk {

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

private:
    bool demo_ = false;
    SMC controller_;
    HIDSensorReader hid_;
    SensorLoader loader_;
};

}  // namespace hvk
