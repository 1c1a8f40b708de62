// SMCSensors.h - every key of a controller, read out for diagnosis.
//
// A walk asks three questions for each key; nothing but a person's wish to see them all starts one.
#pragma once

#include "HVKBase/Export.h"
#include "HVKPlatform/Value.h"
#include "HVKStatistics/sensors/SMC.h"

namespace hvk {

/// [{"key": "TC0P", "value": 47.5, "bytes": ["47", "-128"]}, ...] in the controller's order, for every key that can be
/// described. Null when the controller does not say how many keys it has, or says more than 5000. A count below 10 is
/// not believed: then the first 2000 indices are tried. Thread: the controller client's.
HVK_EXPORT Value allSensors(SMC& controller);

/// [{"key": "TC0P", "value": 47.5}, ...]: of these the keys that begin, in either case, with "t", "p", "v" or "i".
HVK_EXPORT Value standardSensors(SMC& controller);

}  // namespace hvk
