// Processor.h - decodes the tick counters that host_processor_info(PROCESSOR_CPU_LOAD_INFO) hands out.
#pragma once

#include <cstddef>
#include <cstdint>
#include <span>
#include <vector>

#include "HVKPlatform/ports/Processor.h"

namespace hvk::decode {

/// Bytes of one processor_cpu_load_info: four 32-bit counters, user, system, idle, nice.
inline constexpr std::size_t ProcessorLoadSize = 16;

/// Decodes the records of `processors` processors into `ticks`, which is resized to that number and allocates nothing
/// when it has that size already. Malformed, with `ticks` as it was, when there is no processor or `bytes` does not
/// hold a whole record for each.
Status decodeProcessorLoad(std::span<const std::uint8_t> bytes, std::size_t processors,
                           std::vector<ProcessorTicks>& ticks);

}  // namespace hvk::decode
