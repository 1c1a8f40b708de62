// PCIProjector.h - devices of the PCI bus.
#pragma once

#include "HVKPlatform/linux/registry/RegistryProjector.h"

namespace hvk {

/// An "IOPCIDevice" with "class-code", "revision-id", "subsystem-vendor-id" and "subsystem-id" as four bytes of data,
/// and "IOName" such as "pci8086,1237". The kernel answers all of them from its own memory; the configuration space,
/// whose reading wakes a device, is not read.
class PCIProjector : public RegistryProjector {
public:
    PCIProjector();
    bool serves(const std::string& subsystem) const override;
    bool mayYield(const std::string& subsystem, const std::string& className) const override;
    std::optional<Projection> project(const SysfsDevice& device) const override;

private:
    RegistryProperties properties_;
};

}  // namespace hvk
