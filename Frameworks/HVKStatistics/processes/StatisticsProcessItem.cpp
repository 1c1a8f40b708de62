#include "HVKStatistics/processes/StatisticsProcessItem.h"

#include <fmt/format.h>

namespace hvk {

double StatisticsProcessItem::powerAverage() const {
    double sum = 0;
    int count = 0;
    for (std::size_t index = 0; index < powerHistory_.capacity(); ++index) {
        const StatisticsProcessPowerHistory& record = powerHistory_[index];
        if (record.time <= 0) continue;
        sum += record.power;
        ++count;
    }
    return count == 0 ? 0 : sum / count;
}

std::string StatisticsProcessItem::description() const {
    return fmt::format("{} ({}): cpu {:.1f}%, memory {}", name, pid, cpu.load(), memory.load());
}

}  // namespace hvk
