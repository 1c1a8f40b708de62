// fuzz_mac_records.cpp - the records of a Mac's kernel. The first byte picks the decoder.

#include <cstdint>
#include <span>
#include <vector>

#include "HVKPlatform/darwin/decode/Load.h"
#include "HVKPlatform/darwin/decode/Memory.h"
#include "HVKPlatform/darwin/decode/Processor.h"
#include "HVKPlatform/darwin/decode/System.h"

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    using namespace hvk;
    using namespace hvk::decode;
    if (size < 2) return 0;
    const std::span<const std::uint8_t> bytes(data + 2, size - 2);
    switch (data[0] % 8) {
        case 0: {
            std::vector<ProcessorTicks> ticks;
            (void)decodeProcessorLoad(bytes, data[1], ticks);
            break;
        }
        case 1: (void)decodeVirtualMemory(bytes); break;
        case 2: (void)decodeSwapUsage(bytes); break;
        case 3: (void)decodeLoadAverages(bytes); break;
        case 4: (void)decodeBootTime(bytes); break;
        case 5: (void)decodeText("source", bytes); break;
        case 6: (void)decodeCount("source", bytes); break;
        default: (void)decodeSize("source", bytes);
    }
    return 0;
}
