// InterfaceList.h - the addresses of this system's interfaces: getifaddrs.
#pragma once

#include <vector>

#include "HVKPlatform/ports/HardwareEvents.h"

namespace hvk {

/// All of them in the system's order: links, then addresses. Thread: any.
Result<std::vector<InterfaceAddress>> listInterfaceAddresses();

}  // namespace hvk
