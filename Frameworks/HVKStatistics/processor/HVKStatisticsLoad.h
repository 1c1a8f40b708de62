// HVKStatisticsLoad.h - the load averages of one, five and fifteen minutes, with history and alert queries.
#pragma once

#include <cstdint>

#include "HVKBase/Export.h"
#include "HVKPlatform/Machine.h"
#include "HVKPlatform/Value.h"
#include "HVKStatistics/core/StatisticsHistory.h"
#include "HVKStatistics/core/StatisticsHistoryRecords.h"
#include "HVKStatistics/core/StatisticsRoles.h"

namespace hvk {

/// The latest reading.
struct HVKStatisticsLoadSample {
    double time = 0;  ///< seconds since 1970
    float one = 0;
    float five = 0;
    float fifteen = 0;
};

/// The load module. Thread: everything on the thread that updates it.
class HVK_EXPORT HVKStatisticsLoad : public StatisticsModuleRole {
public:
    explicit HVKStatisticsLoad(Machine& machine = Machine::current());

    /// An instance for a host that wants only this module; made on first use. The framework has one of its own.
    static HVKStatisticsLoad& Load();

    /// Gives back what the module holds of the system: nothing. Here because every module has it.
    void cleanup() {}

    /// Reads the averages and appends one record. A failed reading repeats the previous averages (0 before the first
    /// success) with the new time.
    void update(double time);

    /// The latest reading; zeros before the first update.
    HVKStatisticsLoadSample load() const { return load_; }

    /// "one", "five", "fifteen", e.g. {"one": 0.12, "five": 0.34, "fifteen": 0.56}.
    Value stats() const;

    /// Whether the one-minute average exceeded `threshold` for the last `duration` seconds, by the machine's clock.
    bool isUsageAbove(double threshold, double duration) const;

    /// Whether the one-minute average is now at or below `threshold`; false before the first update.
    bool isUsageBelow(double threshold) const;

    /// 1000 records, newest first; the pointer is valid for the module's life.
    const StatisticsHistoryLoadSample* history() const { return history_.records(); }

    /// {"type": "load", "fields": ["one", "five", "fifteen"]}
    static Value historyConfig();

    /// Means of the records with `end` < time <= `start`; null when there is none.
    Value historyAverage(double start, double end, std::int64_t interval) const;

    /// Sets the latest reading to fixed figures for screenshots; the history is not touched. Only the host calls it.
    void loadDemoData();

    /// Stored only; the host decides when to call `loadDemoData`.
    bool demo() const { return demo_; }
    void setDemo(bool demo) override { demo_ = demo; }

private:
    Machine& machine_;
    HVKStatisticsLoadSample load_;
    StatisticsHistory<StatisticsHistoryLoadSample, ModuleHistoryCapacity> history_;
    bool demo_ = false;
};

}  // namespace hvk
