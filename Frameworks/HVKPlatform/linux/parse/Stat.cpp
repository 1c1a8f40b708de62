#include "HVKPlatform/linux/parse/Stat.h"

#include <string>

#include "HVKPlatform/linux/parse/Scan.h"

namespace hvk::parse {

namespace {

Failure malformed(std::string detail) { return {FailureKind::Malformed, "/proc/stat", std::move(detail)}; }

/// The numbers behind "cpuN"; false when the first four are not there.
bool parseTimes(std::string_view fields, ProcessorTimes& times) {
    std::uint64_t* const targets[] = {&times.user,   &times.nice, &times.system,  &times.idle,
                                      &times.iowait, &times.irq,  &times.softirq, &times.steal};
    std::size_t count = 0;
    for (std::uint64_t* target : targets) {
        const std::string_view word = takeWord(fields);
        if (word.empty()) break;
        const auto number = toUnsigned(word);
        if (!number) return false;
        *target = *number;
        ++count;
    }
    return count >= 4;
}

}  // namespace

Status parseProcessorLines(std::string_view text, ProcessorLines& result) {
    result.lines.clear();
    result.endsWithThem = true;
    if (text.empty()) return malformed("the file is empty");
    while (!text.empty()) {
        bool complete = false;
        std::string_view line = takeLine(text, complete);
        if (!line.starts_with("cpu")) {
            result.endsWithThem = false;
            break;
        }
        if (!complete) return malformed("the file is cut within line \"" + std::string(line.substr(0, 40)) + "\"");
        line.remove_prefix(3);
        if (line.starts_with(' ')) continue;  // the sum of all processors
        ProcessorLine& entry = result.lines.emplace_back();
        const auto number = takeUnsigned(line);
        if (!number || *number > 0xFFFF || !parseTimes(line, entry.times))
            return malformed("a processor line has no four numbers: \"cpu" + std::string(line.substr(0, 40)) + "\"");
        entry.processor = static_cast<std::uint32_t>(*number);
    }
    if (result.lines.empty()) return malformed("there is no processor line");
    return {};
}

std::optional<std::uint64_t> parseBootTime(std::string_view text) {
    while (!text.empty()) {
        bool complete = false;
        std::string_view line = takeLine(text, complete);
        if (!complete || takeWord(line) != "btime") continue;
        return takeUnsigned(line);
    }
    return std::nullopt;
}

}  // namespace hvk::parse
