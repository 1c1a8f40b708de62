// SensorDescriptions.h - what the sensors of a recorded machine say of themselves.
#pragma once

#include "HVKBase/Export.h"
#include "HVKPlatform/ports/SensorDescriptions.h"
#include "HVKPlatform/recorded/RecordedPort.h"
#include "HVKPlatform/recorded/RecordingField.h"

namespace hvk {

/// What the port answers.
struct SensorDescriptionsAnswers {
    Result<std::vector<SensorDescription>> descriptions = undescribed("sensors.descriptions");
    Result<std::uint64_t> revision = undescribed("sensors.revision");
};

/// Reads a section "sensors": "descriptions" lists all of them anew. What it does not name stays. Throws
/// RecordingFault.
void readSensorDescriptions(const RecordingField& section, SensorDescriptionsAnswers& answers);

/// The port.
class HVK_EXPORT RecordedSensorDescriptions : public RecordedPort<SensorDescriptionsPort, SensorDescriptionsAnswers> {
public:
    explicit RecordedSensorDescriptions(Diagnostics& diagnostics);
    Result<std::vector<SensorDescription>> descriptions() override;
    Result<std::uint64_t> revision() override;

private:
    SourceHealth& descriptions_;
    SourceHealth& revision_;
};

}  // namespace hvk
