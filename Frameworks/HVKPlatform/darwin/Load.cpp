#include "HVKPlatform/darwin/Load.h"

#include <sys/types.h>

#include <sys/sysctl.h>

#include <cstddef>

#include "HVKPlatform/darwin/Outcome.h"
#include "HVKPlatform/darwin/decode/Load.h"

namespace hvk {

static_assert(sizeof(loadavg) == decode::LoadAveragesSize && offsetof(loadavg, fscale) == 16);

DarwinLoadPort::DarwinLoadPort(Diagnostics& diagnostics)
    : averages_("vm.loadavg", {CTL_VM, VM_LOADAVG}), health_(diagnostics.source(averages_.name(), "load averages")) {}

Result<LoadAverages> DarwinLoadPort::loadAverages() {
    std::array<std::uint8_t, decode::LoadAveragesSize> record{};
    const auto bytes = averages_.read(record);
    if (!bytes) return health_.failed(bytes.failure());
    return noted(health_, decode::decodeLoadAverages(*bytes));
}

}  // namespace hvk
