#include "HVKPlatform/darwin/Clock.h"

#include <time.h>

namespace hvk {

double DarwinClockPort::wallSeconds() { return static_cast<double>(clock_gettime_nsec_np(CLOCK_REALTIME)) * 1e-9; }

double DarwinClockPort::monotonicSeconds() {
    return static_cast<double>(clock_gettime_nsec_np(CLOCK_UPTIME_RAW)) * 1e-9;
}

}  // namespace hvk
