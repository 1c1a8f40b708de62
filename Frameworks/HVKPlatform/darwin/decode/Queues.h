// Queues.h - turns a delay in seconds into what a dispatch timer is set to.
#pragma once

#include <cstdint>

namespace hvk::decode {

/// Nanoseconds of a delay, rounded up: what is not a number or negative is 0, what is over 100 years is 100 years.
std::int64_t delayNanoseconds(double seconds);

/// Nanoseconds between two runs of a repeating timer: as above, at least one millisecond.
std::int64_t intervalNanoseconds(double seconds);

/// How late a timer of this delay may run so that the kernel can join wake-ups: a tenth, at most 100 ms.
std::int64_t leewayNanoseconds(std::int64_t nanoseconds);

}  // namespace hvk::decode
