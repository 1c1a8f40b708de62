// HVKStatisticsMemory.h - memory: the categories a person knows, pressure, paging and swap, with history and alerts.
//
// It owns the rules from page counts to wired, app, compressed, file cache and free. docs/memory.md says which figures
// of a Linux kernel the page counts are made from.
//
//     HVKStatisticsMemory memory(machine);
//     memory.update(machine.clock().wallSeconds());
//     memory.memory().app;       // 3972844800.0 bytes
//     memory.memory().pressure;  // 44.0 percent
#pragma once

#include <cstdint>
#include <optional>

#include "HVKBase/Export.h"
#include "HVKPlatform/Machine.h"
#include "HVKPlatform/Value.h"
#include "HVKStatistics/core/HVKStatisticsOSVersion.h"
#include "HVKStatistics/core/StatisticsHistory.h"
#include "HVKStatistics/core/StatisticsHistoryRecords.h"
#include "HVKStatistics/core/StatisticsRoles.h"

namespace hvk {

/// The latest reading. Sizes in bytes, page counts in pages, pressure in percent.
struct HVKStatisticsMemorySample {
    double time = 0;
    double total = 0;
    double wired = 0;
    double free = 0;
    double pagein = 0;        ///< since the previous update; since boot after the first
    double pageout = 0;       ///< the same
    double pageinTotal = 0;   ///< since boot
    double pageoutTotal = 0;  ///< since boot
    double swapused = 0;
    double swaptotal = 0;
    double compressed = 0;
    double filecache = 0;
    double app = 0;
    double pressure = 0;
};

/// The memory module. Thread: everything on the thread that updates it.
class HVK_EXPORT HVKStatisticsMemory : public StatisticsModuleRole {
public:
    /// Reads nothing yet; every figure is 0 until the first update.
    explicit HVKStatisticsMemory(Machine& machine = Machine::current());

    /// An instance for a host that wants only this module; made on first use. The framework has one of its own.
    static HVKStatisticsMemory& Memory();

    /// Forgets the page size; the next update asks for it again.
    void cleanup() { pageSize_.reset(); }

    /// Reads the counters and appends one record to the history. A source that fails leaves its raw counters as they
    /// were, and the figures are made from those.
    void update(double time);

    /// The latest reading; zeros before the first update.
    HVKStatisticsMemorySample memory() const { return memory_; }

    /// "wired", "free", "total", "swapused", "swaptotal", "filecache", "app", "compressed" in bytes, "pagein" and
    /// "pageout" in pages. Pressure is read from `memory` or the history.
    Value stats() const;

    /// Whether the pressure exceeded `threshold` percent for the last `duration` seconds, by the machine's clock.
    bool isPressureAbove(double threshold, double duration) const;

    /// Whether the pressure is now at or below `threshold` percent; false before the first update.
    bool isPressureBelow(double threshold) const;

    /// Whether at least `threshold` bytes are not held by wired, app and compressed data (file cache counts as free);
    /// false before the first update.
    bool isFreeMemoryAbove(double threshold) const;

    /// Whether less than `threshold` bytes were free in that sense for the last `duration` seconds.
    bool isFreeMemoryBelow(double threshold, double duration) const;

    /// 1000 records, newest first; the pointer is valid for the module's life.
    const StatisticsHistoryMemorySample* history() const { return history_.records(); }

    /// {"type": "memory", "fields": ["pressure", "wired", "app", "compressed", "total"]}
    static Value historyConfig();

    /// Means of the records with `end` < time <= `start`: "pressure" in percent, "wired", "app", "compressed" in MiB,
    /// and "total" of the oldest of them in MiB; null when there is none.
    Value historyAverage(double start, double end, std::int64_t interval) const;

    /// {"type": "swap", "fields": ["swap"]}
    static Value swapHistoryConfig();

    /// "swap": the mean used fraction of the swap space (0 to 1; 0 without swap); null when the bucket is empty.
    Value swapHistoryAverage(double start, double end, std::int64_t interval) const;

    /// Sets the latest reading to fixed figures for screenshots; the history is not touched. Only the host calls it.
    void loadDemoData();

    /// Stored only; the host decides when to call `loadDemoData`.
    bool demo() const { return demo_; }
    void setDemo(bool demo) override { demo_ = demo; }

private:
    void readCounters();
    bool excludesPurgeable() const;

    Machine& machine_;
    HVKStatisticsOSVersion versions_;
    std::optional<double> pageSize_;  ///< read by the first update
    VirtualMemoryStatistics counters_;
    SwapUsage swap_;
    HVKStatisticsMemorySample memory_;
    StatisticsHistory<StatisticsHistoryMemorySample, ModuleHistoryCapacity> history_;
    bool demo_ = false;
};

}  // namespace hvk
