#include "HVKStatistics/processor/HVKStatisticsLoad.h"

#include "HVKStatistics/core/StatisticsAverage.h"

namespace hvk {

HVKStatisticsLoad::HVKStatisticsLoad(Machine& machine) : machine_(machine) {}

HVKStatisticsLoad& HVKStatisticsLoad::Load() {
    static HVKStatisticsLoad& instance = *new HVKStatisticsLoad;
    return instance;
}

void HVKStatisticsLoad::update(double time) {
    load_.time = time;
    if (const auto averages = machine_.load().loadAverages(); averages && averages->scale != 0) {
        const auto average = [&](std::size_t index) {
            return static_cast<float>(averages->values[index] / static_cast<double>(averages->scale));
        };
        load_.one = average(0);
        load_.five = average(1);
        load_.fifteen = average(2);
    }
    history_.append({time, load_.one, load_.five, load_.fifteen});
}

Value HVKStatisticsLoad::stats() const {
    return {{"one", numberFromFloat(load_.one)},
            {"five", numberFromFloat(load_.five)},
            {"fifteen", numberFromFloat(load_.fifteen)}};
}

bool HVKStatisticsLoad::isUsageAbove(double threshold, double duration) const {
    return history_.holdsForDuration(
        machine_.clock().wallSeconds(), duration,
        [threshold](const StatisticsHistoryLoadSample& sample) { return sample.one > threshold; });
}

bool HVKStatisticsLoad::isUsageBelow(double threshold) const {
    return !history_.isEmpty() && threshold >= history_.newest().one;
}

Value HVKStatisticsLoad::historyConfig() { return historyConfigDictionary("load", {"one", "five", "fifteen"}); }

Value HVKStatisticsLoad::historyAverage(double start, double end, std::int64_t interval) const {
    double one = 0;
    double five = 0;
    double fifteen = 0;
    const auto count =
        static_cast<double>(history_.scanBucket(start, end, [&](const StatisticsHistoryLoadSample& sample) {
            one += sample.one;
            five += sample.five;
            fifteen += sample.fifteen;
        }));
    if (count == 0) return nullptr;
    Value average = averageDictionary("load", start, interval);
    average["one"] = one / count;
    average["five"] = five / count;
    average["fifteen"] = fifteen / count;
    return average;
}

void HVKStatisticsLoad::loadDemoData() {
    load_.one = 8.88F;
    load_.five = 4.44F;
    load_.fifteen = 2.22F;
}

}  // namespace hvk
