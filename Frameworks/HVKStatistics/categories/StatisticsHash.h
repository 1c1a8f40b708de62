// StatisticsHash.h - the stable key of an item that is known by a text, such as a registry path.
#pragma once

#include <string>
#include <string_view>

#include "HVKBase/Export.h"

namespace hvk {

/// The SHA-1 digest of the text's UTF-8 bytes as 40 lower-case hexadecimal digits; "" gives
/// "da39a3ee5e6b4b0d3255bfef95601890afd80709". Thread: any.
HVK_EXPORT std::string statisticsHash(std::string_view text);

}  // namespace hvk
