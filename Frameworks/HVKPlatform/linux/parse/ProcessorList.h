// ProcessorList.h - the kernel's lists of processors, such as "0-3,8,10-11".
#pragma once

#include <cstdint>
#include <optional>
#include <string_view>
#include <vector>

namespace hvk::parse {

/// The numbers of the list in ascending order; empty for an empty text, nothing for one that is no list.
std::optional<std::vector<std::uint32_t>> parseProcessorList(std::string_view text);

}  // namespace hvk::parse
