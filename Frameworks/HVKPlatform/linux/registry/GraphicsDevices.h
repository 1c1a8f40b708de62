// GraphicsDevices.h - the figures of graphics processors, under the names of an accelerator's properties.
//
// It asks each driver in its own way: amdgpu, i915 and xe by the files of the device, the vendor's management library
// for its own driver. A processor that sleeps is not woken: it keeps the figures that it had, and the diagnostics say
// so.
#pragma once

#include <chrono>
#include <map>
#include <mutex>
#include <string>
#include <vector>

#include "HVKPlatform/linux/LinuxRoot.h"
#include "HVKPlatform/linux/NVML.h"
#include "HVKPlatform/linux/registry/RegistryProjector.h"
#include "HVKPlatform/support/Diagnostics.h"

namespace hvk {

/// The processors. Thread: any.
class GraphicsDevices {
public:
    /// Reads nothing yet. Both must outlive this object.
    GraphicsDevices(const LinuxRoot& root, Diagnostics& diagnostics);

    /// Whether a PCI device is one, by the name of its driver: looks at one link.
    static bool isGraphics(const SysfsDevice& device);

    /// The model for people: what the driver calls it, else the list of PCI names, else the maker's. An Intel processor
    /// that is part of the main one has "Intel" in its name, a card of that maker has not: the name tells hosts the
    /// integrated one.
    Result<Value> model(const SysfsDevice& device);

    /// The accelerator's "PerformanceStatistics": what of these is known, "Device Utilization %", "Core Clock(MHz)",
    /// "Memory Clock(MHz)", "Fan Speed(%)", "Fan Speed(RPM)", "Total Power(W)", "Temperature(C)", "vramUsedBytes",
    /// "vramFreeBytes", "inUseVidMemoryBytes". The utilisation of i915 and xe is the share of the time since the last
    /// question in which the processor was not idle; the first question has none.
    Result<Value> statistics(const SysfsDevice& device);

    /// The size of the video memory in bytes; Absent for a processor that uses the main memory.
    Result<Value> memorySize(const SysfsDevice& device);

private:
    using Clock = std::chrono::steady_clock;

    /// A counter that a rate is made from.
    struct Reading {
        double value = 0;
        Clock::time_point time;
    };

    Result<NVMLFigures> management(const SysfsDevice& device);
    Value read(const SysfsDevice& device);
    Value managementStatistics(const SysfsDevice& device);
    void readAMD(const SysfsDevice& device, Value& stats) const;
    void readIntel(const SysfsDevice& device, Value& stats);
    std::optional<double> rate(const std::string& file, double value);
    std::string listedName(const SysfsDevice& device) const;

    const LinuxRoot& root_;
    SourceHealth& health_;
    NVML library_;
    std::mutex mutex_;                           ///< guards what follows
    std::map<std::string, Value> last_;          ///< by device path
    std::map<std::string, Reading> counters_;    ///< by file
    std::map<std::string, std::string> asleep_;  ///< by device path, its kernel name
};

}  // namespace hvk
