#include "HVKPlatform/darwin/decode/Load.h"

#include "HVKPlatform/darwin/decode/Bytes.h"

namespace hvk::decode {

namespace {

constexpr const char* Source = "vm.loadavg";

}  // namespace

Result<LoadAverages> decodeLoadAverages(std::span<const std::uint8_t> bytes) {
    if (bytes.size() < LoadAveragesSize) return shortRecord(Source, bytes.size(), LoadAveragesSize);
    LoadAverages averages;
    for (std::size_t period = 0; period < averages.values.size(); ++period)
        averages.values[period] = field<std::uint32_t>(bytes, period * 4);
    averages.scale = field<std::int64_t>(bytes, 16);
    if (averages.scale <= 0)
        return Failure{FailureKind::Malformed, Source, "scale of " + std::to_string(averages.scale)};
    return averages;
}

}  // namespace hvk::decode
