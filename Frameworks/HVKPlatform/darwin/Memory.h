// Memory.h - the virtual-memory counters of the Mach kernel.
#pragma once

#include "HVKPlatform/darwin/HostPort.h"
#include "HVKPlatform/darwin/SystemControl.h"
#include "HVKPlatform/ports/Memory.h"
#include "HVKPlatform/support/Diagnostics.h"

namespace hvk {

/// MemoryPort of macOS.
class DarwinMemoryPort : public MemoryPort {
public:
    DarwinMemoryPort(const HostPort& host, Diagnostics& diagnostics);

    Result<VirtualMemoryStatistics> virtualMemory() override;
    Result<SwapUsage> swapUsage() override;
    Result<std::uint64_t> physicalMemory() override;

private:
    const HostPort& host_;
    SystemControl swap_;
    SystemControl size_;
    SourceHealth& statisticsHealth_;
    SourceHealth& swapHealth_;
    SourceHealth& sizeHealth_;
};

}  // namespace hvk
