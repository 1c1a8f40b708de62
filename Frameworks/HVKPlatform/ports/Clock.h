// Clock.h - what time it is on the machine. A recorded machine's clock is virtual; a saved tree's starts where the tree
// was saved. Modules never read the process's own clock.
#pragma once

#include "HVKBase/Export.h"

namespace hvk {

/// Time of the machine. Every method may be called from any thread and never fails.
class HVK_EXPORT ClockPort {
public:
    virtual ~ClockPort() = default;

    /// Seconds since 1970, e.g. 1700000000.25. May step (set by hand, leap, NTP).
    virtual double wallSeconds() = 0;

    /// Seconds since an arbitrary start, never stepping back; for intervals and time limits.
    virtual double monotonicSeconds() = 0;
};

/// A clock that stands still at 0: the base of adapters that have none.
class HVK_EXPORT UnsupportedClockPort : public ClockPort {
public:
    double wallSeconds() override { return 0; }
    double monotonicSeconds() override { return 0; }
};

/// Hands every question on; a test overrides the one it bends.
class HVK_EXPORT ForwardingClockPort : public ClockPort {
public:
    explicit ForwardingClockPort(ClockPort& target) : target_(target) {}
    double wallSeconds() override { return target_.wallSeconds(); }
    double monotonicSeconds() override { return target_.monotonicSeconds(); }

protected:
    ClockPort& target_;
};

}  // namespace hvk
