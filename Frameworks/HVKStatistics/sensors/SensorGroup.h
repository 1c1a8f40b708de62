// SensorGroup.h - some sensors that are shown together, under a name.
#pragma once

#include <cstdint>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "HVKStatistics/sensors/StatisticsSensorItem.h"

namespace hvk {

/// Sensors in the order in which they were added.
using SensorList = std::vector<std::shared_ptr<StatisticsSensorItem>>;

/// The types of the groups that the module makes itself; a recipe has numbers of its own.
enum SensorGroupType : std::int64_t {
    SensorGroupTypeSimple = 1,
    SensorGroupTypeDetailed = 2,
};

/// A group. Thread: the module's; one from `immutableGroups` is the caller's own.
struct SensorGroup {
    std::string identifier;  ///< unique within the module, e.g. "temperature-1"
    std::string key;         ///< a kind ("temperature"), or one with "-simple" or "-detailed" behind it
    std::int64_t type = 0;   ///< a SensorGroupType, or the recipe's number; 0 when it gave none
    std::string name;        ///< as configured, "" when it was not; `SensorCatalogue::nameForGroup` finds one then
    SensorList sensors;      ///< one that was added twice is in it twice
    std::optional<std::int64_t> sensorType;  ///< the kind of the sensor that a recipe added last
};

}  // namespace hvk
