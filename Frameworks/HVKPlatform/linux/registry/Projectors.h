// Projectors.h - the list of projectors: who says what a device of which subsystem becomes.
#pragma once

#include <memory>
#include <vector>

#include "HVKPlatform/linux/LinuxRoot.h"
#include "HVKPlatform/linux/registry/RegistryProjector.h"
#include "HVKPlatform/support/Diagnostics.h"

namespace hvk {

/// All of them; the first that serves a subsystem is asked, and the last serves every one. Root and diagnostics must
/// outlive them.
std::vector<std::unique_ptr<const RegistryProjector>> registryProjectors(const LinuxRoot& root, Diagnostics& diagnostics);

/// The properties that every device's own entry has: "Subsystem", "Driver", "modalias", "vendor-id", "device-id" (data,
/// four bytes, the lowest first), "Runtime Status" and "sysfs-path".
const RegistryProperties& genericDeviceProperties();

/// The properties that every entry without a directory has: "sysfs-path", of the device that it comes from.
const RegistryProperties& genericSyntheticProperties();

}  // namespace hvk
