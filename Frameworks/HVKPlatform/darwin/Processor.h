// Processor.h - the tick counters of the Mach kernel.
#pragma once

#include "HVKPlatform/darwin/HostPort.h"
#include "HVKPlatform/ports/Processor.h"
#include "HVKPlatform/support/Diagnostics.h"

namespace hvk {

/// ProcessorPort of macOS.
class DarwinProcessorPort : public ProcessorPort {
public:
    DarwinProcessorPort(const HostPort& host, Diagnostics& diagnostics);

    ProcessorArchitecture architecture() override;
    Status loadInfo(std::vector<ProcessorTicks>& ticks) override;

private:
    const HostPort& host_;
    SourceHealth& health_;
};

}  // namespace hvk
