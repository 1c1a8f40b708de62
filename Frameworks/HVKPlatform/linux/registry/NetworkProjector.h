// NetworkProjector.h - network interfaces.
#pragma once

#include "HVKPlatform/linux/registry/RegistryProjector.h"

namespace hvk {

/// An "IONetworkInterface" below its controller, or below the platform when it is a virtual one, with "BSD Name",
/// "IOMACAddress" (data) and "IOMaxTransferUnit". The speed is not here: reading it asks the hardware.
class NetworkProjector : public RegistryProjector {
public:
    NetworkProjector();
    bool serves(const std::string& subsystem) const override;
    bool mayYield(const std::string& subsystem, const std::string& className) const override;
    bool hasBSDNames() const override { return true; }
    std::optional<Projection> project(const SysfsDevice& device) const override;

private:
    RegistryProperties properties_;
};

}  // namespace hvk
