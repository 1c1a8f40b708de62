// NumericOrder.h - the order of names with numbers in them, as a person counts: "Mac2,1" before "Mac10,1".
#pragma once

#include <string_view>

#include "HVKBase/Export.h"

namespace hvk {

/// Negative, zero or positive as `left` comes before, with or after `right`. Runs of the digits 0-9 are compared as
/// numbers of any length, leading zeros not counted; all else byte by byte. Thread: any.
HVK_EXPORT int numericCompare(std::string_view left, std::string_view right);

/// A strict order for sorting by it; names that differ only in leading zeros are ordered by their bytes.
HVK_EXPORT bool comesBeforeByNumber(std::string_view left, std::string_view right);

}  // namespace hvk
