#include "HVKPlatform/linux/parse/ProcessorList.h"

#include <algorithm>

#include "HVKPlatform/linux/parse/Scan.h"

namespace hvk::parse {

namespace {

/// More processors than any kernel is built for; a hostile range cannot exhaust the memory.
constexpr std::uint64_t MaximumProcessor = 0xFFFF;

}  // namespace

std::optional<std::vector<std::uint32_t>> parseProcessorList(std::string_view text) {
    std::vector<std::uint32_t> processors;
    text = trimmed(text);
    while (!text.empty()) {
        const std::size_t comma = text.find(',');
        const std::string_view range = text.substr(0, comma);
        text.remove_prefix(comma == std::string_view::npos ? text.size() : comma + 1);

        const std::size_t dash = range.find('-');
        const auto first = toUnsigned(range.substr(0, dash));
        const auto last = dash == std::string_view::npos ? first : toUnsigned(range.substr(dash + 1));
        if (!first || !last || *first > *last || *last > MaximumProcessor) return std::nullopt;
        for (std::uint64_t number = *first; number <= *last; ++number)
            processors.push_back(static_cast<std::uint32_t>(number));
    }
    std::sort(processors.begin(), processors.end());
    processors.erase(std::unique(processors.begin(), processors.end()), processors.end());
    return processors;
}

}  // namespace hvk::parse
