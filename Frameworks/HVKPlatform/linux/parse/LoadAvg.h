// LoadAvg.h - the text of /proc/loadavg.
#pragma once

#include <string_view>

#include "HVKPlatform/Result.h"
#include "HVKPlatform/ports/Load.h"

namespace hvk::parse {

/// The three averages as hundredths, exactly the digits of the text: "0.12 0.34 0.56 ..." gives {12, 34, 56} / 100.
/// Malformed when one of the three is no number with two decimals.
Result<LoadAverages> parseLoadAverages(std::string_view text);

}  // namespace hvk::parse
