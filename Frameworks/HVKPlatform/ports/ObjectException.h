// ObjectException.h - the exceptions that a system's own objects raise, made those of C++.
//
// A pure matter of the language runtime, the same on every machine, hence linked and not asked of a Machine.
#pragma once

#include <functional>

namespace hvk {

/// Runs `block`. macOS: an NSException comes out as a std::runtime_error whose text is "name: reason". Linux has no
/// objects of its own: whatever is thrown passes. Thread: any.
void runRaisingStandardExceptions(const std::function<void()>& block);

}  // namespace hvk
