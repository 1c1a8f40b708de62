#include "HVKStatistics/processor/HVKStatisticsCPUCore.h"

#include "HVKStatistics/core/StatisticsAverage.h"

namespace hvk {

void HVKStatisticsCPUCore::addUsageWithUser(float user, float system, double time) {
    history_.append({time, user, system});
}

Value HVKStatisticsCPUCore::stats() const {
    const HVKStatisticsCPUSample& newest = history_.newest();
    return {{"user", numberFromFloat(newest.user)}, {"system", numberFromFloat(newest.system)}, {"time", newest.time}};
}

}  // namespace hvk
