// Memory.h - the memory counters of a recorded machine.
#pragma once

#include "HVKBase/Export.h"
#include "HVKPlatform/ports/Memory.h"
#include "HVKPlatform/recorded/RecordedPort.h"
#include "HVKPlatform/recorded/RecordingField.h"

namespace hvk {

/// What the port answers.
struct MemoryAnswers {
    Result<VirtualMemoryStatistics> virtualMemory = undescribed("memory.virtualMemory");
    Result<SwapUsage> swapUsage = undescribed("memory.swapUsage");
    Result<std::uint64_t> physicalMemory = undescribed("memory.physicalMemory");
};

/// Reads a section "memory"; what it does not name stays, counter by counter. Throws RecordingFault.
void readMemory(const RecordingField& section, MemoryAnswers& answers);

/// The port.
class HVK_EXPORT RecordedMemory : public RecordedPort<MemoryPort, MemoryAnswers> {
public:
    explicit RecordedMemory(Diagnostics& diagnostics);
    Result<VirtualMemoryStatistics> virtualMemory() override;
    Result<SwapUsage> swapUsage() override;
    Result<std::uint64_t> physicalMemory() override;

private:
    SourceHealth& virtualMemory_;
    SourceHealth& swapUsage_;
    SourceHealth& physicalMemory_;
};

}  // namespace hvk
