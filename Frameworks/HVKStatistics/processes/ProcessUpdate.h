// ProcessUpdate.h - from the counters of a process to its figures.
//
// Each function takes the item and the sample time `now` (seconds since 1970) and keeps on the item what the next call
// needs. The first call has nothing to compare with and gives 0; so does a call for which no time passed. Thread: the
// sampling thread.
#pragma once

#include <cstdint>

#include "HVKBase/Export.h"
#include "HVKPlatform/ports/ProcessTable.h"
#include "HVKStatistics/processes/StatisticsProcessItem.h"

namespace hvk {

/// Percent of one processor since the last call. `cputime`: ticks since the process started; `tbfrequency`: ticks in a
/// second. True when `cputime` did not grow: the process was idle.
HVK_EXPORT bool ProcessUpdateCPU(StatisticsProcessItem& item, double now, std::uint64_t cputime,
                                 std::int64_t tbfrequency);

/// Stores the footprint in bytes; true when it is the same as before.
HVK_EXPORT bool ProcessUpdateMemory(StatisticsProcessItem& item, std::uint64_t memory);

/// The footprint of a process whose usage the kernel tells in part only, asked for by the other way; 0 on any failure.
HVK_EXPORT void ProcessUpdateMemory2(StatisticsProcessItem& item, ProcessTablePort& table);

/// Bytes per second read from and written to disks since the last call; the arguments are bytes since the process
/// started. A counter that ran backwards gives a negative rate.
HVK_EXPORT void ProcessUpdateIO(StatisticsProcessItem& item, double now, std::uint64_t read, std::uint64_t written);

/// Energy impact since the last call, in percent: the processor time, and 500 microseconds for each wakeup, of the time
/// that passed. Adds it to the item's ring and makes `power` the ring's mean; both are 0 on the first call.
HVK_EXPORT void ProcessUpdatePower(StatisticsProcessItem& item, double now, std::uint64_t wakeups,
                                   std::uint64_t cputime, std::int64_t tbfrequency);

}  // namespace hvk
