// HIDSensorReader.h - the temperatures of the HID event system, under the names that recipes use, and the averages over
// groups of them.
#pragma once

#include <string>
#include <string_view>
#include <vector>

#include "HVKBase/Export.h"
#include "HVKPlatform/Value.h"
#include "HVKPlatform/ports/HID.h"

namespace hvk {

/// One temperature, or an average over some.
struct HIDSensor {
    std::string key;                 ///< the product's name without "Temp Sensor": "eACC MTR 0"; or "AS_CPU_AVG"
    double value = 0;                ///< degrees Celsius
    std::vector<std::string> names;  ///< of an average: what the keys of its sensors begin with; empty for one sensor
};

/// The reader. Thread: the one that updates the sensors.
class HVK_EXPORT HIDSensorReader {
public:
    /// Reads nothing yet. The port must outlive this object.
    explicit HIDSensorReader(HIDPort& port) : port_(port) {}

    /// Reads all of them: the sensors in the system's order, then the eight averages, each the mean of the sensors
    /// whose key begins with one of its names, 0 when there is none. Only the averages when the port has no answer. The
    /// list is this object's and valid until the next reading; it is filled in place.
    const std::vector<HIDSensor>& read();

    /// The first of a list with that key; null when there is none.
    static const HIDSensor* find(const std::vector<HIDSensor>& sensors, std::string_view key);

    /// A list for a host: {"type": "temperature", "key": "PMU tdie1", "value": 41.5}, averages with "names" too.
    static Value dictionaries(const std::vector<HIDSensor>& sensors);

private:
    HIDPort& port_;
    std::vector<HIDReading> readings_;
    std::vector<HIDSensor> sensors_;
};

}  // namespace hvk
