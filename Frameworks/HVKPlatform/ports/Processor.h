// Processor.h - the kernel's per-processor tick counters and the rule by which cores are classed.
//
// Places are fixed: entry i of every reading is the same logical processor for as long as the adapter lives, a
// processor that goes offline keeps its place and its last counters. On an adapter that reorders (Linux) the hardware
// threads of one core are neighbours.
#pragma once

#include <array>
#include <cstdint>
#include <vector>

#include "HVKBase/Export.h"
#include "HVKPlatform/Result.h"

namespace hvk {

/// Index of a state in a processor's counters, in the kernel's order.
enum ProcessorState : std::size_t {
    ProcessorStateUser = 0,
    ProcessorStateSystem = 1,
    ProcessorStateIdle = 2,
    ProcessorStateNice = 3,
    ProcessorStateCount = 4,
};

/// The four counters of one logical processor, in ticks since boot, modulo 2^32.
using ProcessorTicks = std::array<std::uint32_t, ProcessorStateCount>;

/// Which of the two rules classes the cores.
enum class ProcessorArchitecture {
    Paired,     ///< Intel: even places are the first thread of a core, odd places the second.
    Clustered,  ///< Apple silicon and alike: the registry's "IOPlatformDevice" entries name each core's cluster.
};

/// Processor counters. Thread: the one that updates the processor module.
class HVK_EXPORT ProcessorPort {
public:
    virtual ~ProcessorPort() = default;

    /// The rule for core classes; constant for the life of the adapter.
    virtual ProcessorArchitecture architecture() = 0;

    /// Reads every processor's counters into `ticks`, which is resized to the number of processors (the buffer is the
    /// caller's, so that a steady pass allocates nothing). On failure `ticks` is left as it was.
    /// host_processor_info(PROCESSOR_CPU_LOAD_INFO); /proc/stat.
    virtual Status loadInfo(std::vector<ProcessorTicks>& ticks) = 0;
};

/// Answers Unsupported to everything: the base of a new adapter.
class HVK_EXPORT UnsupportedProcessorPort : public ProcessorPort {
public:
    ProcessorArchitecture architecture() override { return ProcessorArchitecture::Paired; }
    Status loadInfo(std::vector<ProcessorTicks>&) override { return unsupported("processor load"); }
};

/// Hands every question on; a test overrides the one it bends.
class HVK_EXPORT ForwardingProcessorPort : public ProcessorPort {
public:
    explicit ForwardingProcessorPort(ProcessorPort& target) : target_(target) {}
    ProcessorArchitecture architecture() override { return target_.architecture(); }
    Status loadInfo(std::vector<ProcessorTicks>& ticks) override { return target_.loadInfo(ticks); }

protected:
    ProcessorPort& target_;
};

}  // namespace hvk
