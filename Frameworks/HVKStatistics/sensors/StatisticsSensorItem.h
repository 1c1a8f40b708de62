// StatisticsSensorItem.h - one sensor: what it is called, what kind it is, its current value and its past.
//
// It owns the record and its history. How a record is made and in which lists it stands is SensorCatalogue's business,
// where its value comes from the sampling's.
#pragma once

#include <atomic>
#include <cstdint>
#include <string>

#include "HVKBase/Export.h"
#include "HVKPlatform/Value.h"
#include "HVKStatistics/core/StatisticsHistory.h"
#include "HVKStatistics/core/StatisticsHistoryRecords.h"

namespace hvk {

/// What a sensor measures, with the numbers that recipes and hosts use.
enum StatisticsSensorType : std::int64_t {
    StatisticsSensorTypeUnknown = 0,
    StatisticsSensorTypeTemperature = 1,  ///< degrees Celsius
    StatisticsSensorTypeFan = 2,          ///< a fan; only a configuration says so
    StatisticsSensorTypeFanSpeed = 3,     ///< revolutions per minute
    StatisticsSensorTypeCurrent = 4,      ///< amperes
    StatisticsSensorTypePower = 5,        ///< watts
    StatisticsSensorTypeVoltage = 6,      ///< volts
    StatisticsSensorTypeLight = 7,        ///< ambient light
    StatisticsSensorTypeFrequency = 8,    ///< a clock
    StatisticsSensorTypeMultiplier = 9,
};

/// Who gives a sensor its value.
enum StatisticsSensorSource : std::int64_t {
    StatisticsSensorSourceSMC = 1,       ///< a key of the System Management Controller
    StatisticsSensorSourceAverage = 2,   ///< the mean of other sensors
    StatisticsSensorSourceMultiply = 3,  ///< the product of two others
    StatisticsSensorSourceHID = 4,       ///< the HID event system
    StatisticsSensorSourceSMART = 5,     ///< a drive's own temperature
    StatisticsSensorSourceBattery = 6,
    StatisticsSensorSourceGPU = 8,
};

/// Where in the machine a sensor sits.
enum StatisticsSensorLocation : std::int64_t {
    StatisticsSensorLocationUnknown = 0,
    StatisticsSensorLocationCPU = 1,
    StatisticsSensorLocationCPUEfficiency = 2,
    StatisticsSensorLocationCPUPerformance = 3,
    StatisticsSensorLocationGPU = 4,
    StatisticsSensorLocationSSD = 5,
    StatisticsSensorLocationAir = 7,
    StatisticsSensorLocationMemory = 8,
    StatisticsSensorLocationPower = 9,  ///< battery, power supply and display share it
    StatisticsSensorLocationPalmRest = 10,
    StatisticsSensorLocationWireless = 11,
    StatisticsSensorLocationLogicBoard = 12,
    StatisticsSensorLocationSOC = 13,
};

/// What stands for "no value": the largest finite single-precision number, 3.4028235e38.
inline constexpr double StatisticsSensorNotAvailable = 3.40282346638528859812e+38;

/// One sensor. Thread: the module's; but once a sensor is in a published list, any thread may read what says who it is
/// (down to `location`), which no longer changes then, and the current reading (`exists` to `percentage`), each of its
/// numbers on its own.
class HVK_EXPORT StatisticsSensorItem {
public:
    std::string key;                 ///< an SMC key ("TC0P"), a HID sensor's name, or one that the module made up
    std::string keyHash;             ///< `statisticsHash` of the key: a second identity for hosts
    std::string name;                ///< for people, in their language
    std::string engish;              ///< the English name as configured; the spelling is part of the interface
    std::string nameShort;           ///< "CPU", "MEM", "FAN" ...; "" when nothing is known
    std::string freq;                ///< the configuration's "freq"
    Value config = Value::object();  ///< what it was made from, and what the loader added
    std::int64_t type = StatisticsSensorTypeUnknown;          ///< a StatisticsSensorType
    std::int64_t source = StatisticsSensorSourceSMC;          ///< a StatisticsSensorSource
    std::int64_t location = StatisticsSensorLocationUnknown;  ///< a StatisticsSensorLocation
    double low = 0;                                           ///< configured lower bound, in the unit of the value
    double high = 0;                                          ///< configured upper bound

    std::atomic<bool> exists = false;    ///< a value was obtained
    std::atomic<bool> off = false;       ///< reported as switched off, e.g. a fan that stands
    std::atomic<double> lastUpdate = 0;  ///< of the last accepted value, seconds since 1970; 0 before the first
    std::atomic<double> value = 0;       ///< the current value, in the unit of its kind
    std::atomic<double> peak = 0;        ///< the highest value that `addValue` saw; never below 0
    std::atomic<double> percentage = 0;  ///< the value as a share of the configured range

    /// Appends a reading to the history, and makes it the current value. It raises `peak`, except when it stands for
    /// "no value". `time` is in seconds since 1970.
    void addValue(double reading, double time);

    /// Appends the current value once more, for a time without a reading; `lastUpdate` stays.
    void fillSample(double time);

    /// 200 records, newest first; the pointer is valid for the item's life. Only `time` and `value` of them are used.
    const StatisticsHistorySensorSample* history() const { return history_.records(); }

    /// The records with `end` < time <= `start`: their mean "value", the largest as "peak" (never below 0), and the
    /// "key", with "type", "time" and "interval". Null when there is none, and when their sum or mean is exactly -1,
    /// which stands for "no reading".
    Value historyAverage(double start, double end, std::int64_t interval) const;

    /// For a host: {"key": "TC0P", "name": "CPU", "value": 52.25}.
    Value stats() const;

    /// "key - TC0P, name - CPU, value - 52.25"
    std::string description() const;

private:
    StatisticsHistory<StatisticsHistorySensorSample, SensorHistoryCapacity> history_;
};

}  // namespace hvk
