// Topology.h - the processors of a machine as sysfs describes them: which there are, in which order they are presented,
// and which of them are efficiency cores.
//
// Read once: places are fixed for the life of the adapter. A kernel without the files gives what /proc/stat lists.
#pragma once

#include <cstdint>
#include <optional>
#include <vector>

#include "HVKPlatform/linux/LinuxRoot.h"

namespace hvk {

/// The cluster that a core of a hybrid processor belongs to.
enum class ProcessorCluster { Performance, Efficiency };

/// One logical processor in its place.
struct ProcessorPlace {
    std::uint32_t processor = 0;             ///< the kernel's number
    bool online = true;                      ///< when the topology was read
    std::uint32_t threads = 1;               ///< online hardware threads of its core, itself included
    std::optional<std::uint32_t> clusterId;  ///< the kernel's topology/cluster_id, where it has one
    ProcessorCluster cluster = ProcessorCluster::Performance;
};

/// What sysfs says of the processors.
struct Topology {
    /// Every processor that is present, offline ones included; the hardware threads of a core are neighbours.
    std::vector<ProcessorPlace> places;

    /// Whether `cluster` means something: the processor has cores of different classes.
    bool isHybrid = false;

    /// Cores: sets of thread siblings. An offline processor counts with the lone thread that it is placed behind, else
    /// as a core of its own.
    std::uint32_t physicalCores = 0;
};

/// Reads the topology. The classes come from the first of these that tells processors apart:
///   - the processors of the kernel's two core PMUs, /sys/devices/cpu_core and cpu_atom (hybrid x86);
///   - cpu_capacity (big.LITTLE): the processors of the lowest capacity are the efficiency cores;
///   - acpi_cppc/nominal_perf, then cpufreq/base_frequency (hybrid x86 without the PMUs, as under an old kernel or in a
///     virtual machine), where some cores have two threads and others one: all below the highest are efficiency cores.
///     The highest turbo frequency is not used: favoured cores of one and the same class differ in it.
Topology readTopology(const LinuxRoot& root);

}  // namespace hvk
