// SensorDescriptions.h - macOS: its sensors do not say what they are; recipes do.
#pragma once

#include "HVKPlatform/ports/SensorDescriptions.h"

namespace hvk {

/// Unsupported: the keys of the management controller carry neither names nor limits.
class DarwinSensorDescriptionsPort : public UnsupportedSensorDescriptionsPort {};

}  // namespace hvk
