// VirtualClock.h - the time of a recorded machine: it moves when it is told to and stands still otherwise.
//
// One axis, in whole nanoseconds since the machine was made, carries everything that waits; wall clock and monotonic
// clock are readings of it. Whole numbers, so that ten delays of 0.1 s end exactly when one of 1 s does.
#pragma once

#include <cstdint>
#include <mutex>

#include "HVKBase/Export.h"
#include "HVKPlatform/ports/Clock.h"

namespace hvk {

/// Nanoseconds since the machine was made.
using VirtualTime = std::int64_t;

/// The end of the axis, some 146 years.
inline constexpr VirtualTime LatestVirtualTime = 4'600'000'000'000'000'000;

/// Seconds as virtual time. Negative and meaningless ones are 0; more than the axis holds is past its end.
HVK_EXPORT VirtualTime virtualTime(double seconds);

/// `delay` after `start`; past the end of the axis, where nothing falls due any more, when it does not fit.
HVK_EXPORT VirtualTime later(VirtualTime start, VirtualTime delay);
inline VirtualTime later(VirtualTime start, double seconds) { return later(start, virtualTime(seconds)); }

/// The clock. Thread: any.
class HVK_EXPORT VirtualClock : public ClockPort {
public:
    explicit VirtualClock(double wallSeconds = 0, double monotonicSeconds = 0);

    double wallSeconds() override;
    double monotonicSeconds() override;

    /// Where the clock is on the axis.
    VirtualTime now() const;

    /// What the wall clock shows at a point of the axis unless it is set before.
    double wallSecondsAt(VirtualTime time) const;

    /// Moves both clocks on, to the end of the axis at most; a time that is past already changes nothing.
    void moveTo(VirtualTime time);

    /// Sets the wall clock, forwards or back, as a person or NTP does. The monotonic clock does not notice.
    void setWallSeconds(double seconds);

private:
    double shownAt(VirtualTime time) const;

    mutable std::mutex mutex_;
    VirtualTime now_ = 0;
    VirtualTime wallSet_ = 0;  ///< when the wall clock was set last
    double wallSeconds_;       ///< and to what
    double monotonicStart_;
};

}  // namespace hvk
