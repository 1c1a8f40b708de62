// StatisticsAverage.h - the common shape of `stats`, `historyConfig` and `historyAverage` dictionaries.
#pragma once

#include <cstdint>
#include <initializer_list>
#include <string_view>

#include "HVKBase/Export.h"
#include "HVKPlatform/Value.h"

namespace hvk {

/// A single-precision number for a dictionary: the double that prints with the digits the float needs and narrows to
/// the same float (0.12f gives 0.12, not 0.11999999731779099). A number that is not finite is kept as it is.
HVK_EXPORT Value numberFromFloat(float number);

/// A `historyConfig` dictionary: "type", "fields" in display order, and "keys" = true for histories kept per item.
HVK_EXPORT Value historyConfigDictionary(std::string_view type, std::initializer_list<std::string_view> fields,
                                         bool keys = false);

/// The beginning of every average: "type", "time" (the bucket's newer bound) and "interval" (passed through).
HVK_EXPORT Value averageDictionary(std::string_view type, double start, std::int64_t interval);

}  // namespace hvk
