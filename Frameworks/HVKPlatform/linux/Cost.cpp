#include "HVKPlatform/linux/Cost.h"

#include <cerrno>
#include <ctime>

#include "HVKPlatform/linux/LinuxRoot.h"
#include "HVKPlatform/linux/SystemCalls.h"

namespace hvk {

Result<double> LinuxCostPort::threadProcessorSeconds() {
    timespec used{};
    if (::clock_gettime(CLOCK_THREAD_CPUTIME_ID, &used) != 0) return failureFromErrno(errno, "thread CPU clock");
    return static_cast<double>(used.tv_sec) + static_cast<double>(used.tv_nsec) / 1e9;
}

Result<std::uint64_t> LinuxCostPort::systemCalls() { return systemCallsOfThisThread(); }

}  // namespace hvk
