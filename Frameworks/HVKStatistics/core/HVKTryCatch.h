// HVKTryCatch.h - guards that run a block and contain the exceptions a library may raise.
//
// An "object exception" is anything derived from std::exception and, on macOS, an NSException, which a completion sees
// as a std::runtime_error. Whatever else is thrown passes through.
#pragma once

#include <exception>
#include <functional>

#include "HVKBase/Export.h"

namespace hvk {

/// Runs `block`; an object exception is discarded.
HVK_EXPORT void HVKTryCatchBlock(const std::function<void()>& block);

/// Runs `block`, then `completion(nullptr)`. An object exception of either one leads to `completion(&exception)`, valid
/// during the call.
HVK_EXPORT void HVKTryCatchBlockWithError(const std::function<void()>& block,
                                          const std::function<void(const std::exception*)>& completion);

}  // namespace hvk
