// BundleName.h - the name that a bundle's Info.plist gives it.
#pragma once

#include <string>

#include "HVKPlatform/Result.h"

namespace hvk {

/// CFBundleDisplayName of `bundle`/Contents/Info.plist when it is a string, else CFBundleName when it is one. Absent
/// when there is no such file or it holds neither, Denied when it may not be read, Malformed when it is no property
/// list, no ordinary file or implausibly long. Reads the file afresh each time; never waits for a pipe. Thread: any.
Result<std::string> bundleDisplayName(const std::string& bundle);

}  // namespace hvk
