#include "HVKPlatform/recorded/VirtualClock.h"

#include <algorithm>
#include <cmath>

namespace hvk {

namespace {

constexpr double NanosecondsPerSecond = 1e9;
constexpr VirtualTime PastTheEnd = LatestVirtualTime + 1;

}  // namespace

VirtualTime virtualTime(double seconds) {
    if (!(seconds > 0)) return 0;
    if (seconds > static_cast<double>(LatestVirtualTime) / NanosecondsPerSecond) return PastTheEnd;
    return static_cast<VirtualTime>(std::llround(seconds * NanosecondsPerSecond));
}

VirtualTime later(VirtualTime start, VirtualTime delay) { return std::min(start + delay, PastTheEnd); }

VirtualClock::VirtualClock(double wallSeconds, double monotonicSeconds)
    : wallSeconds_(wallSeconds), monotonicStart_(monotonicSeconds) {}

double VirtualClock::wallSeconds() {
    std::lock_guard lock(mutex_);
    return shownAt(now_);
}

double VirtualClock::wallSecondsAt(VirtualTime time) const {
    std::lock_guard lock(mutex_);
    return shownAt(time);
}

double VirtualClock::shownAt(VirtualTime time) const {
    return wallSeconds_ + static_cast<double>(time - wallSet_) / NanosecondsPerSecond;
}

double VirtualClock::monotonicSeconds() {
    std::lock_guard lock(mutex_);
    return monotonicStart_ + static_cast<double>(now_) / NanosecondsPerSecond;
}

VirtualTime VirtualClock::now() const {
    std::lock_guard lock(mutex_);
    return now_;
}

void VirtualClock::moveTo(VirtualTime time) {
    std::lock_guard lock(mutex_);
    now_ = std::clamp(time, now_, LatestVirtualTime);
}

void VirtualClock::setWallSeconds(double seconds) {
    std::lock_guard lock(mutex_);
    wallSet_ = now_;
    wallSeconds_ = seconds;
}

}  // namespace hvk
