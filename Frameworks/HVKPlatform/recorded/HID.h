// HID.h - the HID event readings of a recorded machine.
#pragma once

#include <memory>
#include <vector>

#include "HVKBase/Export.h"
#include "HVKPlatform/ports/HID.h"
#include "HVKPlatform/recorded/RecordedPort.h"
#include "HVKPlatform/recorded/RecordingField.h"

namespace hvk {

/// One service with its current event; a temperature sensor unless the recording says otherwise.
struct RecordedHIDReading {
    std::uint32_t usagePage = HIDTemperatureUsagePage;
    std::uint32_t usage = HIDTemperatureUsage;
    std::uint32_t eventType = HIDTemperatureEvent;
    HIDReading reading;

    bool operator==(const RecordedHIDReading&) const = default;
};

/// What the port answers.
struct HIDAnswers {
    Result<std::shared_ptr<const std::vector<RecordedHIDReading>>> readings = undescribed("hid.readings");
};

/// Reads a section "hid": "readings" lists all of them anew. Throws RecordingFault.
void readHID(const RecordingField& section, HIDAnswers& answers);

/// The port.
class HVK_EXPORT RecordedHID : public RecordedPort<HIDPort, HIDAnswers> {
public:
    explicit RecordedHID(Diagnostics& diagnostics);
    Status readings(std::uint32_t usagePage, std::uint32_t usage, std::uint32_t eventType,
                    std::vector<HIDReading>& readings) override;

private:
    SourceHealth& readings_;
};

}  // namespace hvk
