#include "HVKPlatform/darwin/decode/System.h"

#include <algorithm>

#include "HVKPlatform/darwin/decode/Bytes.h"

namespace hvk::decode {

Result<double> decodeBootTime(std::span<const std::uint8_t> bytes) {
    constexpr const char* Source = "kern.boottime";
    if (bytes.size() < TimeValueSize) return shortRecord(Source, bytes.size(), TimeValueSize);
    const auto seconds = field<std::int64_t>(bytes, 0);
    if (seconds <= 0) return Failure{FailureKind::Malformed, Source, std::to_string(seconds) + " s since 1970"};
    return static_cast<double>(seconds);
}

Result<std::string> decodeText(const std::string& source, std::span<const std::uint8_t> bytes) {
    std::string text(bytes.begin(), std::find(bytes.begin(), bytes.end(), 0));
    if (text.empty()) return Failure{FailureKind::Malformed, source, "empty text"};
    return text;
}

Result<std::uint32_t> decodeCount(const std::string& source, std::span<const std::uint8_t> bytes) {
    if (bytes.size() < sizeof(std::int32_t)) return shortRecord(source, bytes.size(), sizeof(std::int32_t));
    const auto count = field<std::int32_t>(bytes, 0);
    if (count <= 0) return Failure{FailureKind::Malformed, source, "count of " + std::to_string(count)};
    return static_cast<std::uint32_t>(count);
}

Result<std::uint64_t> decodeSize(const std::string& source, std::span<const std::uint8_t> bytes) {
    if (bytes.size() < sizeof(std::uint64_t)) return shortRecord(source, bytes.size(), sizeof(std::uint64_t));
    return field<std::uint64_t>(bytes, 0);
}

std::string operatingSystemName(const OperatingSystemVersion& version) {
    std::string name = "macOS " + std::to_string(version.major) + "." + std::to_string(version.minor);
    if (version.bugfix > 0) name += "." + std::to_string(version.bugfix);
    return name;
}

}  // namespace hvk::decode
