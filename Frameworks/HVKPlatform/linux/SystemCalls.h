// SystemCalls.h - counts the system calls that the adapter makes on the calling thread.
#pragma once

#include <cstdint>

namespace hvk {

/// Calls made so far on this thread; each place that makes one adds to it.
inline std::uint64_t& systemCallsOfThisThread() {
    thread_local std::uint64_t count = 0;
    return count;
}

inline void countSystemCalls(std::uint64_t calls = 1) { systemCallsOfThisThread() += calls; }

}  // namespace hvk
