// fuzz_mac_records.cpp - the records of a Mac's kernel. The first byte picks the decoder.

#include <cstdint>
#include <span>
#include <vector>

#include "HVKPlatform/darwin/decode/Load.h"
#include "HVKPlatform/darwin/decode/Memory.h"
#include "HVKPlatform/darwin/decode/ProcessArguments.h"
#include "HVKPlatform/darwin/decode/ProcessRecords.h"
#include "HVKPlatform/darwin/decode/Processor.h"
#include "HVKPlatform/darwin/decode/System.h"

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    using namespace hvk;
    using namespace hvk::decode;
    if (size < 2) return 0;
    const std::span<const std::uint8_t> bytes(data + 2, size - 2);
    switch (data[0] % 15) {
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
        case 7: (void)decodeSize("source", bytes); break;
        case 8: (void)decodeProcessArguments(bytes); break;
        case 9: (void)decodeProcessInformation(bytes); break;
        case 10: (void)decodeProcessIdentity(bytes); break;
        case 11: (void)decodeResourceUsage(bytes); break;
        case 12: (void)decodeTaskUsage(bytes); break;
        case 13: (void)decodeFootprint(bytes); break;
        default: (void)decodeTimebaseFrequency(bytes);
    }
    return 0;
}
