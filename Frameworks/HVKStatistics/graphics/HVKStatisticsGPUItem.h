// HVKStatisticsGPUItem.h - one graphics processor: what it is, its latest figures and its past.
//
// It owns the record and its history. Which processors there are and where the figures come from is HVKStatisticsGPU's
// business.
#pragma once

#include <cstdint>
#include <string>

#include "HVKBase/Export.h"
#include "HVKPlatform/ports/Registry.h"
#include "HVKStatistics/core/StatisticsHistory.h"
#include "HVKStatistics/core/StatisticsHistoryRecords.h"

namespace hvk {

/// How a graphics processor is built in.
enum HVKStatisticsGPUType : std::int64_t {
    HVKStatisticsGPUTypeIntegrated = 0,  ///< its model's name contains "intel"
    HVKStatisticsGPUTypeDiscrete = 1,
    HVKStatisticsGPUTypeExternal = 2,  ///< it can be unplugged
};

/// One graphics processor. Thread: the module's.
class HVK_EXPORT HVKStatisticsGPUItem {
public:
    std::string key;             ///< `statisticsHash` of the accelerator's registry path: the same across rebuilds
    std::int64_t index = 0;      ///< how many items there were when it was made
    RegistryHandle service = 0;  ///< the accelerator; held by the module while the item is in its list, 0 in demo mode
    std::int64_t type = HVKStatisticsGPUTypeDiscrete;  ///< an HVKStatisticsGPUType
    std::string name;       ///< the model, "GPU" when it has none; "<model> #1", "#2" where several share one
    double memorySize = 0;  ///< video memory in bytes; 0 when it is not known, or has none of its own
    double memory = 0;      ///< percent of the video memory in use; 0 before the first reading
    double processor = 0;   ///< percent of the time in which it works; 0 before the first reading
    /// What else it tells, each beside a mark that says that it was told at least once: "has-processor"; "clock-core"
    /// and "clock-memory" (MHz), "power" (W), "temperature" (degrees Celsius) with "has-<key>"; "fan-speed"
    /// (revolutions per minute) with "has-fan-rpm"; "fan-percentage". A mark is never taken back.
    Value features = Value::object();
    bool active = false;  ///< whether it draws; of two that are switched between, one does
    bool hidden = false;  ///< kept from hosts and from reading, as a recipe may say
    bool exists = false;  ///< found by the last rebuild

    /// Appends {time, processor, memory}.
    void updateHistory(double time);

    /// 1000 records, newest first; the pointer is valid for the item's life.
    const StatisticsHistoryGPUSample* history() const { return history_.records(); }

    /// Means of the records with `end` < time <= `start`, with "key"; null when there is none, and when both are 0.
    Value historyAverage(double start, double end, std::int64_t interval) const;

    /// Fills the history with made-up figures, one each second back from `now`.
    void fillDemoHistory(double now);

private:
    StatisticsHistory<StatisticsHistoryGPUSample, ModuleHistoryCapacity> history_;
};

}  // namespace hvk
