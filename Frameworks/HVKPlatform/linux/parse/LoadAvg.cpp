#include "HVKPlatform/linux/parse/LoadAvg.h"

#include <string>

#include "HVKPlatform/linux/parse/Scan.h"

namespace hvk::parse {

Result<LoadAverages> parseLoadAverages(std::string_view text) {
    LoadAverages averages;
    averages.scale = 100;
    for (std::uint32_t& value : averages.values) {
        const std::string_view word = takeWord(text);
        const std::size_t point = word.find('.');
        const auto whole = toUnsigned(word.substr(0, point));
        const auto hundredths =
            point == std::string_view::npos ? std::nullopt : toUnsigned(word.substr(point + 1));
        if (!whole || !hundredths || word.size() - point != 3 || *whole > 40'000'000)
            return Failure{FailureKind::Malformed, "/proc/loadavg",
                           "\"" + std::string(word.substr(0, 40)) + "\" is no load average"};
        value = static_cast<std::uint32_t>(*whole * 100 + *hundredths);
    }
    return averages;
}

}  // namespace hvk::parse
