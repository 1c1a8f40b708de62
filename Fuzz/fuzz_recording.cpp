// fuzz_recording.cpp - recordings: whatever loads must also play, under every module.

#include <cmath>
#include <cstdint>

#include "HVKPlatform/recorded/RecordedMachine.h"
#include "HVKStatistics/HVKStatisticsFramework.h"
#include "HVKStatistics/sensors/SMCSensors.h"

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    using namespace hvk;
    const Value description = Value::parse(data, data + size, nullptr, false);
    if (description.is_discarded()) return 0;
    auto machine = RecordedMachine::fromJSON(description);
    if (!machine) return 0;
    HVKStatisticsFramework framework(**machine);
    SMC controller(**machine);
    controller.open();
    for (int step = 0; step < 4; ++step) {
        const double now = (*machine)->clock().wallSeconds();
        framework.CPU()->update(now);
        framework.Memory()->update(now);
        framework.Load()->update(now);
        if (!std::isfinite(framework.CPU()->history()[0].user)) __builtin_trap();
        if (!std::isfinite(framework.Memory()->memory().pressure)) __builtin_trap();
        // Whatever the keys are called, the list is text that prints.
        (void)allSensors(controller).dump();
        const auto next = (*machine)->nextFrameTime();
        if (!next) break;
        (*machine)->advanceTo(*next);
    }
    (void)framework.CPU()->stats().dump(-1, ' ', true, Value::error_handler_t::replace);
    return 0;
}
