// Registry.h - the device tree of a Linux machine, projected from sysfs.
//
//   LinuxPlatform  (IOPlatformExpertDevice)
//     cpu0 ...     (IOPlatformDevice) of a hybrid processor, in the order of the ProcessorPort's places:
//                  "cluster-type" "P" or "E", "logical-cpu-id", "die-cluster-id", as data
#pragma once

#include "HVKPlatform/linux/Topology.h"
#include "HVKPlatform/support/TreeRegistry.h"

namespace hvk {

/// The tree, filled when it is made.
class LinuxRegistryPort : public TreeRegistry {
public:
    explicit LinuxRegistryPort(const Topology& topology);
};

}  // namespace hvk
