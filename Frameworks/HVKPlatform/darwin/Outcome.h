// Outcome.h - notes a reading's outcome with its source on the way out.
#pragma once

#include "HVKPlatform/Result.h"
#include "HVKPlatform/support/Diagnostics.h"

namespace hvk {

/// Hands `result` on after noting whether the source worked.
template <class T>
Result<T> noted(SourceHealth& health, Result<T> result) {
    if (!result) return health.failed(result.failure());
    health.works();
    return result;
}

}  // namespace hvk
