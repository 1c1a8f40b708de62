// Clock.h - the clocks of macOS.
#pragma once

#include "HVKPlatform/ports/Clock.h"

namespace hvk {

/// ClockPort of macOS. The monotonic clock stands still while the machine sleeps, as the timers of the queues do.
class DarwinClockPort : public ClockPort {
public:
    double wallSeconds() override;
    double monotonicSeconds() override;
};

}  // namespace hvk
