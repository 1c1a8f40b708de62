#include "HVKPlatform/linux/parse/LoadAvg.h"

#include <string>

#include "HVKPlatform/linux/parse/Scan.h"

namespace hvk::parse {

namespace {

constexpr std::uint64_t LargestWhole = 40'000'000;

/// "12.34" as 1234; nothing for what is not written with two decimals.
std::optional<std::uint32_t> toHundredths(std::string_view word) {
    constexpr std::size_t decimals = 2;
    if (word.size() < decimals + 2 || word[word.size() - decimals - 1] != '.') return std::nullopt;
    const auto whole = toUnsigned(word.substr(0, word.size() - decimals - 1));
    const auto hundredths = toUnsigned(word.substr(word.size() - decimals));
    if (!whole || !hundredths || *whole > LargestWhole) return std::nullopt;
    return static_cast<std::uint32_t>(*whole * 100 + *hundredths);
}

}  // namespace

Result<LoadAverages> parseLoadAverages(std::string_view text) {
    LoadAverages averages;
    averages.scale = 100;
    for (std::uint32_t& value : averages.values) {
        const std::string_view word = takeWord(text);
        const auto hundredths = toHundredths(word);
        if (!hundredths) {
            std::string detail = "\"";
            detail.append(word.substr(0, 40)).append("\" is no load average");
            return Failure{FailureKind::Malformed, "/proc/loadavg", std::move(detail)};
        }
        value = *hundredths;
    }
    return averages;
}

}  // namespace hvk::parse
