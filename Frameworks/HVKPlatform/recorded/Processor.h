// Processor.h - the processor counters of a recorded machine.
#pragma once

#include <vector>

#include "HVKBase/Export.h"
#include "HVKPlatform/ports/Processor.h"
#include "HVKPlatform/recorded/RecordedPort.h"
#include "HVKPlatform/recorded/RecordingField.h"

namespace hvk {

/// What the port answers.
struct ProcessorAnswers {
    ProcessorArchitecture architecture = ProcessorArchitecture::Paired;
    Result<std::vector<ProcessorTicks>> ticks = undescribed("processor.ticks");
};

/// Reads a section "processor"; what it does not name stays. Throws RecordingFault.
void readProcessor(const RecordingField& section, ProcessorAnswers& answers);

/// The port.
class HVK_EXPORT RecordedProcessor : public RecordedPort<ProcessorPort, ProcessorAnswers> {
public:
    explicit RecordedProcessor(Diagnostics& diagnostics);
    ProcessorArchitecture architecture() override;
    Status loadInfo(std::vector<ProcessorTicks>& ticks) override;

private:
    SourceHealth& ticks_;
};

}  // namespace hvk
