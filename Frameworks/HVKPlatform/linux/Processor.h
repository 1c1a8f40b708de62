// Processor.h - processor ticks of a Linux machine, from /proc/stat.
//
//   user    user (guest time included)
//   system  system + irq + softirq + steal: steal is time the processor had work and was not given
//   idle    idle + iowait
//   nice    nice (guest time included)
#pragma once

#include <array>
#include <cstdint>
#include <vector>

#include "HVKPlatform/linux/KernelFile.h"
#include "HVKPlatform/linux/Topology.h"
#include "HVKPlatform/linux/parse/Stat.h"
#include "HVKPlatform/ports/Processor.h"
#include "HVKPlatform/support/Diagnostics.h"

namespace hvk {

/// Counters never run backwards: a processor that is offline keeps its last counters, the small slips of idle time that
/// the kernel is known for are held back, and a counter that jumps back makes that one reading fail and is taken as the
/// new base.
class LinuxProcessorPort : public ProcessorPort {
public:
    LinuxProcessorPort(const LinuxRoot& root, const Topology& topology, std::uint64_t ticksPerSecond,
                       Diagnostics& diagnostics);
    ProcessorArchitecture architecture() override;
    Status loadInfo(std::vector<ProcessorTicks>& ticks) override;

private:
    using Counters = std::array<std::uint64_t, ProcessorStateCount>;

    /// The counters of one place.
    struct Place {
        std::uint32_t processor = 0;
        bool online = false;         ///< had a line in the last reading (at first: what sysfs said)
        bool read = false;           ///< has had counters
        bool seen = false;           ///< has a line in the reading at work
        Counters last{};             ///< as the kernel printed them
        ProcessorTicks presented{};  ///< as they were handed out
    };

    Status readCounters();
    Status accept(const parse::ProcessorLines& lines);
    bool moveOn(Place& place, const Counters& counters, std::string& fault);
    Place* placeOf(std::uint32_t processor);

    const Topology& topology_;
    bool saved_;              ///< the files are a saved tree's
    std::uint64_t idleSlip_;  ///< how far idle time may slip back and be forgiven
    KernelFile file_;
    SourceHealth& source_;
    std::vector<Place> places_;
    std::vector<std::size_t> placeByNumber_;  ///< kernel number -> index of `places_`
    parse::ProcessorLines lines_;
    bool everRead_ = false;
    bool reportedNewcomer_ = false;
};

}  // namespace hvk
