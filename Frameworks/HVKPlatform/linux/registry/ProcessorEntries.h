// ProcessorEntries.h - the processors of a hybrid machine as registry entries.
#pragma once

#include <vector>

#include "HVKPlatform/linux/Topology.h"
#include "HVKPlatform/support/TreeRegistry.h"

namespace hvk {

/// One "IOPlatformDevice" for each place, in their order, with "cluster-type" ("P" or "E"), "logical-cpu-id" and
/// "die-cluster-id" as data; none when the processor is not hybrid. Nothing else on Linux is of this class.
std::vector<TreeRegistry::Description> processorEntries(const Topology& topology);

}  // namespace hvk
