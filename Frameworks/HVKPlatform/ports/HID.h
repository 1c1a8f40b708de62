// HID.h - the readings of the HID event system: services that are picked by their usage, each with one current event.
//
// Which product names mean what, and how a reading is scaled, belongs to the modules.
#pragma once

#include <cstdint>
#include <string>
#include <vector>

#include "HVKBase/Export.h"
#include "HVKPlatform/Result.h"

namespace hvk {

/// Temperature sensors: usage page 0xFF00, usage 5.
inline constexpr std::uint32_t HIDTemperatureUsagePage = 0xFF00;
inline constexpr std::uint32_t HIDTemperatureUsage = 5;

/// Event types as the system counts them.
inline constexpr std::uint32_t HIDTemperatureEvent = 15;

/// The reading of one service.
struct HIDReading {
    std::string product;  ///< its "Product", e.g. "PMU tdie1"
    double value = 0;     ///< the event's floating-point field, e.g. 41.5 degrees Celsius

    bool operator==(const HIDReading&) const = default;
};

/// HID readings. Thread: the one that updates the sensors.
class HVK_EXPORT HIDPort {
public:
    virtual ~HIDPort() = default;

    /// Reads the current event of every service with this primary usage, in the system's order, into the caller's list,
    /// whose strings are used again. Services without a "Product" are left out, and so are those that have no such
    /// event now: a sensor that fails or sleeps is absent, never zero. On failure the list is empty.
    /// IOHIDEventSystemClient; Linux: thermal zones, as temperature sensors.
    virtual Status readings(std::uint32_t usagePage, std::uint32_t usage, std::uint32_t eventType,
                            std::vector<HIDReading>& readings) = 0;
};

/// Answers Unsupported: the base of a new adapter.
class HVK_EXPORT UnsupportedHIDPort : public HIDPort {
public:
    Status readings(std::uint32_t, std::uint32_t, std::uint32_t, std::vector<HIDReading>& readings) override {
        readings.clear();
        return unsupported("HID events");
    }
};

/// Hands the question on; a test overrides it.
class HVK_EXPORT ForwardingHIDPort : public HIDPort {
public:
    explicit ForwardingHIDPort(HIDPort& target) : target_(target) {}
    Status readings(std::uint32_t usagePage, std::uint32_t usage, std::uint32_t eventType,
                    std::vector<HIDReading>& readings) override {
        return target_.readings(usagePage, usage, eventType, readings);
    }

protected:
    HIDPort& target_;
};

}  // namespace hvk
