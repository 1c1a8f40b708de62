#include "HVKStatistics/sensors/StatisticsSensorItem.h"

#include <fmt/format.h>

#include <algorithm>

#include "HVKStatistics/core/StatisticsAverage.h"

namespace hvk {

namespace {

/// What a record's value is when there was no reading.
constexpr double NoReading = -1;

}  // namespace

void StatisticsSensorItem::addValue(double reading, double time) {
    StatisticsHistorySensorSample& sample = history_.shift();
    sample.time = time;
    sample.value = static_cast<float>(reading);
    value = reading;
    lastUpdate = time;
    if (reading != StatisticsSensorNotAvailable && reading > peak) peak = reading;
}

void StatisticsSensorItem::fillSample(double time) {
    StatisticsHistorySensorSample& sample = history_.shift();
    sample.time = time;
    sample.value = static_cast<float>(value.load());
}

Value StatisticsSensorItem::historyAverage(double start, double end, std::int64_t interval) const {
    double sum = 0;
    double largest = 0;
    const auto count =
        static_cast<double>(history_.scanBucket(start, end, [&](const StatisticsHistorySensorSample& sample) {
            sum += sample.value;
            largest = std::max(largest, static_cast<double>(sample.value));
        }));
    if (count == 0 || sum == NoReading || sum / count == NoReading) return nullptr;
    Value average = averageDictionary("sensors", start, interval);
    average["value"] = sum / count;
    average["peak"] = largest;
    average["key"] = key;
    return average;
}

std::string StatisticsSensorItem::description() const {
    return fmt::format("key - {}, name - {}, value - {:.2f}", key, name, value.load());
}

Value StatisticsSensorItem::stats() const { return {{"key", key}, {"name", name}, {"value", value.load()}}; }

}  // namespace hvk
