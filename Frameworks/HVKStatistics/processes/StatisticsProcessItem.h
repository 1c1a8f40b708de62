// StatisticsProcessItem.h - one running process: who it is, and its figures of the latest pass.
//
// It owns the values and the ring of energy samples. ProcessUpdate.h makes the figures from counters, ProcessNames.h
// the name; HVKStatisticsProcesses keeps one item for each process from the first pass that lists it to the first that
// does not.
//
//     item.name;            // "Editor"
//     item.cpu;             // 12.5 percent of one processor
//     item.memory;          // 52428800 bytes
//     item.powerHistory();  // 30 records, newest first
#pragma once

#include <cstdint>
#include <limits>
#include <memory>
#include <string>

#include "HVKBase/Export.h"
#include "HVKPlatform/Result.h"
#include "HVKStatistics/core/StatisticsHistory.h"
#include "HVKStatistics/core/StatisticsHistoryRecords.h"
#include "HVKStatistics/processes/StatisticsProcessFigure.h"

namespace hvk {

/// The bits of a process's type; a Spotlight process is 36, Safari 40, the Notification Center 96.
enum StatisticsProcessType : int {
    StatisticsProcessTypeKernel = 1,
    StatisticsProcessTypeLaunchd = 2,  ///< what starts all other programs
    StatisticsProcessTypeSpotlight = 4,
    StatisticsProcessTypeSafari = 8,
    StatisticsProcessTypeBackground = 16,
    StatisticsProcessTypeApplication = 32,
    StatisticsProcessTypeNotificationCenter = 64,
};

/// The user of a process whose user nobody knows: -1 in 32 bits.
inline constexpr std::uint32_t StatisticsProcessNoUser = std::numeric_limits<std::uint32_t>::max();

/// One process. Thread: texts, `pid`, `user`, `type`, `readable` and `unreadableReason` are fixed before the item is
/// listed and may be read from any thread, like every figure; all else belongs to the sampling thread.
class HVK_EXPORT StatisticsProcessItem {
public:
    explicit StatisticsProcessItem(std::int32_t processIdentifier = 0) : pid(processIdentifier) {}

    bool readable = false;                              ///< the kernel answered for this process
    StatisticsProcessFigure<bool> exists = false;       ///< listed by the latest pass; false for good once it ended
    StatisticsProcessFigure<bool> isNew = false;        ///< not yet placed in the hierarchy
    StatisticsProcessFigure<bool> idle = false;         ///< used no processor time in the latest pass
    int type = 0;                                       ///< `StatisticsProcessType` bits
    std::uint32_t user = StatisticsProcessNoUser;       ///< user id
    std::int32_t pid;                                   ///< process identifier
    StatisticsProcessFigure<std::int32_t> parent = -1;  ///< pid; -1 when unknown
    StatisticsProcessFigure<std::int32_t> controlling = -1;  ///< pid of the responsible process; -1 when unknown
    std::string name;                                        ///< for display, valid UTF-8; empty when nothing is known
    std::string path;  ///< of the bundle, else of the executable, as the system has it; empty when unknown

    StatisticsProcessFigure<double> lastUsageTime = 0;   ///< when it last used processor time, seconds since 1970
    StatisticsProcessFigure<double> idleTime = 0;        ///< seconds from then to the latest sample
    StatisticsProcessFigure<double> cpu = 0;             ///< percent of one processor: 250 is two and a half
    StatisticsProcessFigure<std::uint64_t> cpuTime = 0;  ///< time-base ticks since it started
    StatisticsProcessFigure<double> cpuSampleTime = 0;   ///< of the last processor reading, seconds since 1970; 0: none

    StatisticsProcessFigure<double> diskRead = 0;             ///< bytes per second
    StatisticsProcessFigure<double> diskWrite = 0;            ///< bytes per second
    StatisticsProcessFigure<std::uint64_t> diskReadLast = 0;  ///< bytes since it started
    StatisticsProcessFigure<std::uint64_t> diskWriteLast = 0;
    StatisticsProcessFigure<double> diskSampleTime = 0;

    StatisticsProcessFigure<double> networkDownload = 0;   ///< bytes per second, written by the sources of traffic
    StatisticsProcessFigure<double> networkUpload = 0;     ///< bytes per second, written by the sources of traffic
    StatisticsProcessFigure<double> networSampleTime = 0;  ///< the spelling is part of the interface

    StatisticsProcessFigure<std::uint64_t> powerCpuTime = 0;      ///< ticks at the last energy reading
    StatisticsProcessFigure<std::uint64_t> powerIdleWakeups = 0;  ///< wakeups at the last energy reading
    StatisticsProcessFigure<double> powerSampleTime = 0;
    StatisticsProcessFigure<double> power = 0;   ///< mean energy impact of the ring, percent
    StatisticsProcessFigure<double> energy = 0;  ///< latest energy impact, percent

    StatisticsProcessFigure<std::uint64_t> memory = 0;  ///< physical footprint, bytes

    /// Tells this process from a later one with the same pid; the machine's own unit, 0 when unknown.
    std::uint64_t identity = 0;

    /// What its name says about its family, noted when it is first placed (ProcessFamilies.h); 0 until then.
    std::uint32_t familyRules = 0;

    /// Why the kernel did not describe it; empty for a readable process.
    std::shared_ptr<const Failure> unreadableReason;

    /// 30 records of energy impact, newest first, time 0 in unused ones; valid for the item's life.
    const StatisticsProcessPowerHistory* powerHistory() const { return powerHistory_.records(); }

    /// Shifts the ring by one and writes the newest record.
    void addPowerUsage(double usage, double time) { powerHistory_.append({time, usage}); }

    /// The mean power of the records whose time is above 0; 0 when there is none.
    double powerAverage() const;

    /// One line for a log: "Editor (812): cpu 12.5%, memory 52428800".
    std::string description() const;

private:
    StatisticsHistory<StatisticsProcessPowerHistory, ProcessPowerHistoryCapacity> powerHistory_;
};

}  // namespace hvk
