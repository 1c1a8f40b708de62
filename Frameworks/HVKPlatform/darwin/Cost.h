// Cost.h - what measuring costs on macOS.
#pragma once

#include "HVKPlatform/ports/Cost.h"
#include "HVKPlatform/support/Diagnostics.h"

namespace hvk {

/// Notes that the calling thread has entered the kernel `calls` times for the adapter: one for a system call, one for a
/// message to the kernel (a Mach or an IOKit call). Reading a clock is neither.
void countSystemCalls(std::uint64_t calls = 1);

/// CostPort of macOS.
class DarwinCostPort : public CostPort {
public:
    explicit DarwinCostPort(Diagnostics& diagnostics);

    Result<double> threadProcessorSeconds() override;
    Result<std::uint64_t> systemCalls() override;

private:
    SourceHealth& threadTime_;
};

}  // namespace hvk
