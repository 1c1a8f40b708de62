// GenericProjector.h - devices that no other projector knows: a class named after the subsystem, the generic
// properties.
#pragma once

#include "HVKPlatform/linux/registry/RegistryProjector.h"

namespace hvk {

/// "power_supply" becomes the class "LinuxPowerSupplyDevice", a device without a subsystem a plain "IOService".
class GenericProjector : public RegistryProjector {
public:
    bool serves(const std::string& subsystem) const override;
    bool mayYield(const std::string& subsystem, const std::string& className) const override;
    std::optional<Projection> project(const SysfsDevice& device) const override;
};

}  // namespace hvk
