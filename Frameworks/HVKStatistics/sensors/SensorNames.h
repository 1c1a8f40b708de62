// SensorNames.h - what the names and keys of sensors and groups tell: kind, place, label, the word for people.
//
// Rules over texts only; the order of the rows is part of them. Thread: any.
#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>

#include "HVKBase/Export.h"

namespace hvk {

/// Where a sensor sits, and the short label of that place.
struct SensorPlace {
    std::int64_t location;   ///< a StatisticsSensorLocation
    std::string_view label;  ///< "CPU", "MEM" ...
};

/// The entry of the string table that names a sensor.
struct SensorNameKey {
    std::string_view key;     ///< e.g. "Sensors.Fan {x}"
    std::string_view number;  ///< what stands in place of "{x}", a part of the name it was found in; "" without one
};

/// The place by an English name, in upper or lower case; nothing when the name tells none. "AirPort" is a place of its
/// own and not the air's.
HVK_EXPORT std::optional<SensorPlace> placeForSensorName(std::string_view englishName);

/// An English name without " Proximity", wherever that stands in it.
HVK_EXPORT std::string withoutProximity(std::string_view englishName);

/// The entry for an English name that went through `withoutProximity`: a whole name, or a name with a number anywhere
/// in it ("Left Fan 2" is fan 2). Nothing when there is none.
HVK_EXPORT std::optional<SensorNameKey> nameKeyForSensor(std::string_view name);

/// The entry of the string table for a group's key ("temperature-simple" gives "Sensors.Temperature"); "" when there
/// is none. The keys of the default groups of fans, light and multipliers have none.
HVK_EXPORT std::string_view nameKeyForGroup(std::string_view groupKey);

/// The word by which a host filters the sensors of a group; "" when there is none.
HVK_EXPORT std::string_view filterKeyForGroupKey(std::string_view groupKey);

/// The key of the group that a kind of sensor joins by default, e.g. "temperature" for 1; "" for a kind that is none.
HVK_EXPORT std::string_view defaultGroupKeyForType(std::int64_t type);

/// The kind by the first letter of a key, in either case; 0 for a letter that says nothing, and for no key.
HVK_EXPORT std::int64_t sensorTypeFromKey(std::string_view key);

/// The source by a configuration's word: "average" 2, "multiply" 3, "hid" 4, everything else 1.
HVK_EXPORT std::int64_t sensorSourceFromWord(std::string_view word);

}  // namespace hvk
