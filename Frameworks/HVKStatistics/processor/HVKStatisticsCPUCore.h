// HVKStatisticsCPUCore.h - one logical processor: its class and its history of use.
#pragma once

#include "HVKBase/Export.h"
#include "HVKPlatform/Value.h"
#include "HVKStatistics/core/StatisticsHistory.h"
#include "HVKStatistics/core/StatisticsHistoryRecords.h"

namespace hvk {

/// The class of a logical processor, with the numbers a host stores.
enum HVKStatisticsCPUCoreType : int {
    HVKStatisticsCPUCoreTypeUnknown = 0,
    HVKStatisticsCPUCoreTypeFirstOfPair = 1,   ///< the first hardware thread of a core
    HVKStatisticsCPUCoreTypePerformance = 2,   ///< a performance core
    HVKStatisticsCPUCoreTypeEfficiency = 3,    ///< an efficiency core
    HVKStatisticsCPUCoreTypeSecondOfPair = 4,  ///< the second hardware thread of a core
};

/// One logical processor. Thread: the one that updates the processor module.
class HVK_EXPORT HVKStatisticsCPUCore {
public:
    explicit HVKStatisticsCPUCore(int type = HVKStatisticsCPUCoreTypeUnknown) : type_(type) {}

    /// One of `HVKStatisticsCPUCoreType`.
    int type() const { return type_; }
    void setType(int type) { type_ = type; }

    /// Appends one record: percent of this processor's time, and the time of the reading.
    void addUsageWithUser(float user, float system, double time);

    /// "user", "system" (percent) and "time" of the newest record; zeros before the first.
    Value stats() const;

    /// 1000 records, newest first; the pointer is valid for the core's life.
    const HVKStatisticsCPUSample* history() const { return history_.records(); }

private:
    int type_;
    StatisticsHistory<HVKStatisticsCPUSample, ModuleHistoryCapacity> history_;
};

}  // namespace hvk
