// HVKStatisticsCPU.h - processor use: of the machine, of each logical processor, with history and alert queries.
//
// It owns the arithmetic from tick counters to percent and the classing of cores. Where the counters come from is the
// ProcessorPort's business; when to sample is the host's.
//
//     HVKStatisticsCPU cpu(machine);
//     cpu.update(machine.clock().wallSeconds());
//     cpu.stats();  // {"user": 12.5, "system": 3.25, "time": 1700000000.0, "cores": [{...}, {...}]}
#pragma once

#include <cstdint>
#include <memory>
#include <vector>

#include "HVKBase/Export.h"
#include "HVKPlatform/Machine.h"
#include "HVKPlatform/Value.h"
#include "HVKStatistics/core/StatisticsHistory.h"
#include "HVKStatistics/core/StatisticsHistoryRecords.h"
#include "HVKStatistics/core/StatisticsRoles.h"
#include "HVKStatistics/processor/HVKStatisticsCPUCore.h"

namespace hvk {

/// The tick counters behind the figures; each array has one entry per processor.
struct HVKStatisticsCPUTicks {
    double time = 0;                       ///< of the last successful reading
    std::int32_t processors = 0;           ///< logical processors
    std::vector<ProcessorTicks> ticks;     ///< differences of the last two readings
    std::vector<ProcessorTicks> previous;  ///< the reading before the last
    std::vector<ProcessorTicks> current;   ///< the last reading
};

/// The processor module. Thread: everything on the thread that updates it.
class HVK_EXPORT HVKStatisticsCPU : public StatisticsModuleRole {
public:
    /// Reads the counters once and classes the cores. Without processor information there are no cores and every
    /// figure stays 0.
    explicit HVKStatisticsCPU(Machine& machine = Machine::current());

    /// An instance for a host that wants only this module; made on first use. The framework has one of its own.
    static HVKStatisticsCPU& CPU();

    /// Reads the counters for the first time and classes the cores; the constructor does it. Called again it makes the
    /// cores anew, with empty histories; the module's own history stays.
    void setup();

    /// Gives the tick counters back; updates then record 0 until `setup`. The histories stay.
    void cleanup();

    /// Reads the counters and appends one record to the module's history and to every core's. The first call covers
    /// the time since construction. When the reading fails the figures and the time of the last one are repeated.
    void update(double time);

    /// The reading alone: the differences move on, no history does. A failure leaves everything as it was.
    void updateTicks(double time);

    /// "user", "system" (percent of all processors' time; niced time is not in "user"), "time", and "cores", an array
    /// of the cores' own `stats` in processor order.
    Value stats() const;

    /// In processor order; on Linux the threads of a core are neighbours. The set is fixed at construction.
    const std::vector<std::shared_ptr<HVKStatisticsCPUCore>>& cores() const { return cores_; }

    /// The ticks that the latest update read and the differences from the one before; zeros before the first.
    const HVKStatisticsCPUTicks& cpuData() const { return cpuData_; }

    /// Whether user + system exceeded `threshold` percent for the last `duration` seconds, by the machine's clock.
    /// False until the history reaches back past the window.
    bool isUsageAbove(double threshold, double duration) const;

    /// Whether user + system is now at or below `threshold` percent; false before the first update.
    bool isUsageBelow(double threshold) const;

    /// 1000 records, newest first; the pointer is valid for the module's life.
    const HVKStatisticsCPUSample* history() const { return history_.records(); }

    /// {"type": "cpu", "fields": ["user", "system"]}
    static Value historyConfig();

    /// Means of the records with `end` < time <= `start`, with "type", "time" and "interval"; null when there is none.
    Value historyAverage(double start, double end, std::int64_t interval) const;

    /// Fills the histories with plausible figures for screenshots; the times of the module's records stay as they are.
    /// Only the host calls it.
    void loadDemoData();

    /// Stored only; the host decides when to call `loadDemoData`.
    bool demo() const { return demo_; }
    void setDemo(bool demo) override { demo_ = demo; }

private:
    int coreType(std::size_t index, const std::vector<char>& clusterTypes) const;
    std::vector<char> clusterTypes() const;

    Machine& machine_;
    HVKStatisticsCPUTicks cpuData_;
    std::vector<ProcessorTicks> reading_;  ///< kept so that a pass allocates nothing
    std::vector<std::shared_ptr<HVKStatisticsCPUCore>> cores_;
    StatisticsHistory<HVKStatisticsCPUSample, ModuleHistoryCapacity> history_;
    bool demo_ = false;
};

}  // namespace hvk
