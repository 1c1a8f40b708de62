#include "HVKStatistics/core/HVKStatisticsUptime.h"

#include <cmath>

namespace hvk {

HVKStatisticsUptime::HVKStatisticsUptime(Machine& machine) {
    boot = std::trunc(machine.system().bootTime().valueOr(0));
}

}  // namespace hvk
