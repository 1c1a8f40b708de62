#include "HVKStatistics/graphics/HVKStatisticsGPUItem.h"

#include <cmath>

#include "HVKStatistics/core/StatisticsAverage.h"

namespace hvk {

void HVKStatisticsGPUItem::updateHistory(double time) {
    history_.append({time, static_cast<float>(processor), static_cast<float>(memory)});
}

Value HVKStatisticsGPUItem::historyAverage(double start, double end, std::int64_t interval) const {
    double processorSum = 0;
    double memorySum = 0;
    const auto count =
        static_cast<double>(history_.scanBucket(start, end, [&](const StatisticsHistoryGPUSample& sample) {
            processorSum += sample.processor;
            memorySum += sample.memory;
        }));
    if (count == 0 || (processorSum / count == 0 && memorySum / count == 0)) return nullptr;
    Value average = averageDictionary("gpu", start, interval);
    average["processor"] = processorSum / count;
    average["memory"] = memorySum / count;
    average["key"] = key;
    return average;
}

void HVKStatisticsGPUItem::fillDemoHistory(double now) {
    for (std::size_t place = 0; place < history_.capacity(); ++place) {
        const double age = static_cast<double>(place);
        history_.slot(place) = {now - age, static_cast<float>(44 + 24 * std::sin(age / 9) * std::sin(age / 31)),
                                static_cast<float>(22 + 4 * std::sin(age / 57))};
    }
}

}  // namespace hvk
