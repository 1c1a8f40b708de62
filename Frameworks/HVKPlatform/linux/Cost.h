// Cost.h - what measuring costs on Linux.
#pragma once

#include "HVKPlatform/ports/Cost.h"

namespace hvk {

/// The thread's CPU clock and the adapter's own count of its system calls.
class LinuxCostPort : public CostPort {
public:
    Result<double> threadProcessorSeconds() override;
    Result<std::uint64_t> systemCalls() override;
};

}  // namespace hvk
