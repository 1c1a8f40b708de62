#include "HVKPlatform/darwin/decode/Queues.h"

#include <algorithm>
#include <cmath>

namespace hvk::decode {

namespace {

constexpr double LongestSeconds = 100.0 * 366 * 86400;
constexpr std::int64_t ShortestInterval = 1'000'000;
constexpr std::int64_t LongestLeeway = 100'000'000;

}  // namespace

std::int64_t delayNanoseconds(double seconds) {
    if (!(seconds > 0)) return 0;
    return static_cast<std::int64_t>(std::ceil(std::min(seconds, LongestSeconds) * 1e9));
}

std::int64_t intervalNanoseconds(double seconds) { return std::max(delayNanoseconds(seconds), ShortestInterval); }

std::int64_t leewayNanoseconds(std::int64_t nanoseconds) { return std::min(nanoseconds / 10, LongestLeeway); }

}  // namespace hvk::decode
