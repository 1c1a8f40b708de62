// RegistryEntry.h - one entry of the device tree, as it was when it was looked up.
#pragma once

#include <cstddef>
#include <cstdint>
#include <memory>
#include <string>

#include "HVKPlatform/linux/registry/RegistryProjector.h"
#include "HVKPlatform/linux/registry/SysfsDevice.h"
#include "HVKPlatform/linux/registry/SysfsTree.h"
#include "HVKPlatform/support/TreeRegistry.h"

namespace hvk {

/// A device directory and what its projector made of it; the entries that come from it share it.
struct ProjectedDevice {
    SysfsDevice device;
    SysfsIdentity identity;  ///< of the directory
    SysfsIdentity lifeline;  ///< of the projection's lifeline, when it has one
    Projection projection;
};

/// An entry: either a fixed one, which lives as long as the registry, or one level of a device.
struct RegistryEntry {
    std::uint64_t id = 0;  ///< the registry entry ID

    std::shared_ptr<const TreeRegistry::Description> fixed;  ///< null for an entry of a device
    std::size_t place = 0;  ///< of a fixed entry: 0 root, 1 platform, 2... its children

    std::shared_ptr<const ProjectedDevice> projected;  ///< null for a fixed entry
    std::size_t level = 0;                             ///< first the entries above, then the device, then those below

    /// The level of the device's own entry.
    std::size_t deviceLevel() const { return projected->projection.above.size(); }
    bool isDevice() const { return projected && level == deviceLevel(); }

    /// The entry without a directory that this is; null for any other.
    const SyntheticEntry* synthetic() const {
        if (!projected || isDevice()) return nullptr;
        const Projection& projection = projected->projection;
        if (level < deviceLevel()) return &projection.above[level];
        return &projection.below[level - deviceLevel() - 1];
    }
};

using RegistryEntryPointer = std::shared_ptr<const RegistryEntry>;

}  // namespace hvk
