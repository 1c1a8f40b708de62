#include "HVKPlatform/darwin/decode/ProcessArguments.h"

#include <algorithm>

#include "HVKPlatform/darwin/decode/Bytes.h"

namespace hvk::decode {

namespace {

/// Takes the text before the next NUL, and the NUL, off the front of `bytes`.
std::string takeText(std::span<const std::uint8_t>& bytes) {
    const auto end = std::find(bytes.begin(), bytes.end(), 0);
    std::string text(bytes.begin(), end);
    bytes = bytes.subspan(std::min(text.size() + 1, bytes.size()));
    return text;
}

}  // namespace

Result<std::vector<std::string>> decodeProcessArguments(std::span<const std::uint8_t> bytes) {
    constexpr const char* Source = "KERN_PROCARGS2";
    if (bytes.size() < sizeof(std::int32_t)) return shortRecord(Source, bytes.size(), sizeof(std::int32_t));
    const auto count = field<std::int32_t>(bytes, 0);
    if (count < 0) return Failure{FailureKind::Malformed, Source, "count of " + std::to_string(count)};
    bytes = bytes.subspan(sizeof(std::int32_t));

    std::vector<std::string> texts;
    texts.push_back(takeText(bytes));
    if (texts.front().empty()) return Failure{FailureKind::Malformed, Source, "no path of an executable"};
    while (!bytes.empty() && bytes.front() == 0) bytes = bytes.subspan(1);
    for (std::int32_t argument = 0; argument < count && !bytes.empty(); ++argument) texts.push_back(takeText(bytes));
    return texts;
}

}  // namespace hvk::decode
