// HID.h - the readings of the HID event system.
#pragma once

#include "HVKPlatform/ports/HID.h"
#include "HVKPlatform/support/Diagnostics.h"

namespace hvk {

/// HIDPort of macOS. The functions that give events are private ones, found by name at the first question; where one
/// is missing the answer is Unsupported. Each question has a client of its own: what came or went since the last one
/// is seen, and nothing is kept in the event system between two.
class DarwinHIDPort : public HIDPort {
public:
    explicit DarwinHIDPort(Diagnostics& diagnostics);

    Status readings(std::uint32_t usagePage, std::uint32_t usage, std::uint32_t eventType,
                    std::vector<HIDReading>& readings) override;

private:
    SourceHealth& health_;
};

}  // namespace hvk
