// Allocations.h - counts every allocation of this program.
#pragma once

#include <cstdint>

namespace hvk::bench {

/// Calls of operator new so far, on any thread.
std::uint64_t allocations();

}  // namespace hvk::bench
