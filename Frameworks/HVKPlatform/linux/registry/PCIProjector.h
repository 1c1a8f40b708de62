// PCIProjector.h - devices of the PCI bus.
#pragma once

#include "HVKPlatform/linux/registry/GraphicsDevices.h"
#include "HVKPlatform/linux/registry/RegistryProjector.h"

namespace hvk {

/// An "IOPCIDevice" with "class-code", "revision-id", "subsystem-vendor-id" and "subsystem-id" as four bytes of data,
/// and "IOName" such as "pci8086,1237". The kernel answers all of them from its own memory; the configuration space,
/// whose reading wakes a device, is not read.
///
/// A graphics processor has a "model" besides, and an "IOAccelerator" below it with "PerformanceStatistics" and
/// "VRAM,totalsize" (bytes); see GraphicsDevices. It is one by its driver: without one nothing is known of it.
class PCIProjector : public RegistryProjector {
public:
    /// Both must outlive the projector.
    PCIProjector(const LinuxRoot& root, Diagnostics& diagnostics);
    bool serves(const std::string& subsystem) const override;
    bool mayYield(const std::string& subsystem, const std::string& className) const override;
    std::optional<Projection> project(const SysfsDevice& device) const override;

private:
    GraphicsDevices graphics_;
    RegistryProperties properties_;
    RegistryProperties graphicsProperties_;
    RegistryProperties accelerator_;
};

}  // namespace hvk
