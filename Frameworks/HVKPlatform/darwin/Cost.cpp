#include "HVKPlatform/darwin/Cost.h"

#include <time.h>

#include <cerrno>

#include "HVKPlatform/darwin/decode/Failures.h"

namespace hvk {

namespace {

thread_local std::uint64_t madeCalls = 0;

}  // namespace

void countSystemCalls(std::uint64_t calls) { madeCalls += calls; }

DarwinCostPort::DarwinCostPort(Diagnostics& diagnostics)
    : threadTime_(diagnostics.source("CLOCK_THREAD_CPUTIME_ID", "processor time of a thread")) {}

Result<double> DarwinCostPort::threadProcessorSeconds() {
    timespec time{};
    if (clock_gettime(CLOCK_THREAD_CPUTIME_ID, &time) != 0)
        return threadTime_.failed(decode::systemControlFailure("CLOCK_THREAD_CPUTIME_ID", errno));
    threadTime_.works();
    return static_cast<double>(time.tv_sec) + static_cast<double>(time.tv_nsec) * 1e-9;
}

Result<std::uint64_t> DarwinCostPort::systemCalls() { return madeCalls; }

}  // namespace hvk
