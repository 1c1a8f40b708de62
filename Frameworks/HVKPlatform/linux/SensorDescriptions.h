// SensorDescriptions.h - what the hardware monitors and thermal zones of a Linux machine say of themselves.
//
// A thermal zone that shows the sensor of a hardware monitor once more is left out.
#pragma once

#include "HVKPlatform/linux/HID.h"
#include "HVKPlatform/linux/HardwareMonitors.h"
#include "HVKPlatform/ports/SensorDescriptions.h"

namespace hvk {

/// Channels chip by chip, then zones.
class LinuxSensorDescriptionsPort : public SensorDescriptionsPort {
public:
    LinuxSensorDescriptionsPort(HardwareMonitors& monitors, LinuxHIDPort& hid) : monitors_(monitors), hid_(hid) {}
    Result<std::vector<SensorDescription>> descriptions() override;
    Result<std::uint64_t> revision() override;

private:
    HardwareMonitors& monitors_;
    LinuxHIDPort& hid_;
};

}  // namespace hvk
