#include "HVKPlatform/darwin/decode/Processor.h"

#include "HVKPlatform/darwin/decode/Bytes.h"

namespace hvk::decode {

namespace {

constexpr const char* Source = "host_processor_info";

}  // namespace

Status decodeProcessorLoad(std::span<const std::uint8_t> bytes, std::size_t processors,
                           std::vector<ProcessorTicks>& ticks) {
    if (processors == 0) return Failure{FailureKind::Malformed, Source, "the kernel names no processor"};
    if (bytes.size() / ProcessorLoadSize < processors)
        return shortRecord(Source, bytes.size(), processors * ProcessorLoadSize);
    ticks.resize(processors);
    for (std::size_t place = 0; place < processors; ++place) {
        for (std::size_t state = 0; state < ProcessorStateCount; ++state)
            ticks[place][state] = field<std::uint32_t>(bytes, place * ProcessorLoadSize + state * 4);
    }
    return {};
}

}  // namespace hvk::decode
