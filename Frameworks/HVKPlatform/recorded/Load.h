// Load.h - the load averages of a recorded machine.
#pragma once

#include "HVKBase/Export.h"
#include "HVKPlatform/ports/Load.h"
#include "HVKPlatform/recorded/RecordedPort.h"
#include "HVKPlatform/recorded/RecordingField.h"

namespace hvk {

/// What the port answers.
struct LoadAnswers {
    Result<LoadAverages> averages = undescribed("load.values");
};

/// Reads a section "load"; what it does not name stays. Throws RecordingFault.
void readLoad(const RecordingField& section, LoadAnswers& answers);

/// The port.
class HVK_EXPORT RecordedLoad : public RecordedPort<LoadPort, LoadAnswers> {
public:
    explicit RecordedLoad(Diagnostics& diagnostics);
    Result<LoadAverages> loadAverages() override;

private:
    SourceHealth& averages_;
};

}  // namespace hvk
