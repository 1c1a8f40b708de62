// Clock.h - the clocks of a Linux machine.
#pragma once

#include "HVKPlatform/linux/LinuxRoot.h"
#include "HVKPlatform/ports/Clock.h"

namespace hvk {

/// The running system's clocks. For a saved tree the wall clock starts at the moment it was saved (boot time plus
/// /proc/uptime; without those the newest change of its proc/ files) and runs on from there.
class LinuxClockPort : public ClockPort {
public:
    explicit LinuxClockPort(const LinuxRoot& root);
    double wallSeconds() override;
    double monotonicSeconds() override;

private:
    bool live_;
    double savedAt_ = 0;    ///< wall time of a saved tree when this clock was made
    double startedAt_ = 0;  ///< monotonic time at that moment
};

}  // namespace hvk
