// Stat.h - the text of /proc/stat: processor times and boot time.
#pragma once

#include <cstdint>
#include <optional>
#include <string_view>
#include <vector>

#include "HVKPlatform/Result.h"

namespace hvk::parse {

/// Times of one processor line, in ticks. Fields that an old kernel does not print are 0.
struct ProcessorTimes {
    std::uint64_t user = 0;
    std::uint64_t nice = 0;
    std::uint64_t system = 0;
    std::uint64_t idle = 0;
    std::uint64_t iowait = 0;
    std::uint64_t irq = 0;
    std::uint64_t softirq = 0;
    std::uint64_t steal = 0;
};

/// One "cpuN" line.
struct ProcessorLine {
    std::uint32_t processor = 0;  ///< the kernel's number
    ProcessorTimes times;
};

/// What the processor lines of a file say.
struct ProcessorLines {
    std::vector<ProcessorLine> lines;  ///< in the file's order; offline processors have none
    bool endsWithThem = false;         ///< nothing follows: the file may have been cut at a line's end
};

/// Reads the processor lines into `result`, whose buffer is reused. Malformed when there is none, when a line has fewer
/// than four numbers or something that is no number, and when the last line is cut.
Status parseProcessorLines(std::string_view text, ProcessorLines& result);

/// The "btime" line: seconds since 1970 at which the kernel started.
std::optional<std::uint64_t> parseBootTime(std::string_view text);

}  // namespace hvk::parse
