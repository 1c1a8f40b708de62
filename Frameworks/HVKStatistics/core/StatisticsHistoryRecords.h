// StatisticsHistoryRecords.h - the layout of every history record, as a host reads it through `history()`.
//
// The layouts are an interface: fields are never reordered, and each size is checked here. `time` is seconds since
// 1970, 0 in an unused slot.
#pragma once

#include <cstddef>
#include <cstdint>

namespace hvk {

/// Processor use, of the machine or of one core. Capacity 1000.
struct HVKStatisticsCPUSample {
    double time;
    float user;    ///< percent
    float system;  ///< percent
};
static_assert(sizeof(HVKStatisticsCPUSample) == 16);

/// One GPU. Capacity 1000.
struct StatisticsHistoryGPUSample {
    double time;
    float processor;  ///< percent
    float memory;     ///< percent
};
static_assert(sizeof(StatisticsHistoryGPUSample) == 16);

/// Memory. Sizes in bytes. Capacity 1000.
struct StatisticsHistoryMemorySample {
    double time;
    double wired;
    double app;
    double compressed;
    double total;
    double presure;  ///< memory pressure in percent; the spelling is part of the interface
    double swapused;
    double swaptotal;
};
static_assert(sizeof(StatisticsHistoryMemorySample) == 64);

/// Load averages. Capacity 1000.
struct StatisticsHistoryLoadSample {
    double time;
    float one;
    float five;
    float fifteen;
};
static_assert(sizeof(StatisticsHistoryLoadSample) == 24);

/// One sensor. Capacity 200.
struct StatisticsHistorySensorSample {
    double time;
    float value;
    float peak;
};
static_assert(sizeof(StatisticsHistorySensorSample) == 16);

/// One network interface, bytes per second. Capacity 1000.
struct StatisticsHistoryNetworkSample {
    double time;
    float upload;
    float download;
};
static_assert(sizeof(StatisticsHistoryNetworkSample) == 16);

/// One drive's activity, bytes per second. Capacity 1000.
struct StatisticsDiskActivityHistorySample {
    double time;
    float read;
    float write;
};
static_assert(sizeof(StatisticsDiskActivityHistorySample) == 16);

/// One volume's space, bytes. Capacity 1000.
struct HVKStatisticsDisksHistorySample {
    double time;
    double used;
    double free;
    double purgeable;
    float percentage;
};
static_assert(sizeof(HVKStatisticsDisksHistorySample) == 40);

/// One battery. Capacity 1000.
struct StatisticsHistoryBatterySample {
    double time;
    double batterytime;
    std::int64_t state;
    std::int64_t source;
    float percentage;
    float percentageLeft;
    float percentageRight;
    float percentageCase;
    float capacityCurrent;
    float capacityMaximum;
};
static_assert(sizeof(StatisticsHistoryBatterySample) == 56);

/// One process's energy impact. Capacity 30.
struct StatisticsProcessPowerHistory {
    double time;
    double power;
};
static_assert(sizeof(StatisticsProcessPowerHistory) == 16);

inline constexpr std::size_t ModuleHistoryCapacity = 1000;
inline constexpr std::size_t SensorHistoryCapacity = 200;
inline constexpr std::size_t ProcessPowerHistoryCapacity = 30;

}  // namespace hvk
