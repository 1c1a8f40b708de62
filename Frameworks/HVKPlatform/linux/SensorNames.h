// SensorNames.h - English names for the sensors of a Linux machine, from the name of the chip and the channel's label.
//
// Labels of drivers are for driver writers ("Package id 0", "Tctl", "vddgfx"). The names here are those that people and
// the string tables know: "CPU Package", "CPU Core 1", "GPU", "SSD", "Memory", "Fan 1".
#pragma once

#include <string>
#include <string_view>
#include <vector>

#include "HVKPlatform/ports/SensorDescriptions.h"

namespace hvk {

/// What a name is made from.
struct SensorOrigin {
    std::string_view chip;   ///< "coretemp"
    std::string_view label;  ///< "Core 4"; may be empty
    unsigned index = 0;      ///< of the channel
    SensorKind kind = SensorKind::Temperature;
};

/// A name, not yet told apart from others of the kind, and the group.
struct SensorName {
    std::string name;
    std::string group;

    bool operator==(const SensorName&) const = default;
};

/// The name of one sensor.
SensorName sensorName(const SensorOrigin& origin);

/// The name of a thermal zone's temperature, from its type: "x86_pkg_temp", "acpitz", "cpu-thermal".
SensorName thermalZoneName(std::string_view type);

/// Makes the names of each kind unique: of several alike all are numbered in order, "SSD 1", "SSD 2", and those of a
/// processor's cores are numbered without gaps.
void numberAlikeNames(std::vector<SensorDescription>& descriptions);

}  // namespace hvk
