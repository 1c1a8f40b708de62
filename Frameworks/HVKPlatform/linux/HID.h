// HID.h - the thermal zones of a Linux machine as temperature services of the HID event system.
//
// The product of a zone is its type, "acpitz". When several zones have one type, the one with the lowest number keeps
// it and the others are "acpitz 2", "acpitz 3" in the order of their numbers; a name that a zone got it keeps while the
// program runs. A zone that fails, sleeps or is disabled is absent.
#pragma once

#include <mutex>
#include <string>
#include <vector>

#include "HVKPlatform/linux/AttributeFile.h"
#include "HVKPlatform/linux/DirectoryWatch.h"
#include "HVKPlatform/linux/LinuxRoot.h"
#include "HVKPlatform/ports/HID.h"
#include "HVKPlatform/support/Diagnostics.h"

namespace hvk {

/// A zone as it is found, without a reading.
struct ThermalZoneDescription {
    std::string product;
    std::string type;

    bool operator==(const ThermalZoneDescription&) const = default;
};

/// Temperatures of /sys/class/thermal/thermal_zone*, in the order of their numbers. Thread: any.
class LinuxHIDPort : public HIDPort {
public:
    LinuxHIDPort(const LinuxRoot& root, Diagnostics& diagnostics);

    /// Absent when the machine has no thermal zones at all. A pass over zones that are the same as before allocates
    /// nothing.
    Status readings(std::uint32_t usagePage, std::uint32_t usage, std::uint32_t eventType,
                    std::vector<HIDReading>& readings) override;

    /// The zones that are there now.
    std::vector<ThermalZoneDescription> zones();

    /// Moves when a zone came or went.
    std::uint64_t revision();

private:
    struct Zone {
        std::string node;  ///< "thermal_zone3"
        ThermalZoneDescription description;
        AttributeFile temperature;
        AttributeFile mode;
        int error = 0;  ///< of the reading before
    };

    void update();
    std::string productFor(const std::string& type, const std::vector<Zone>& named) const;
    bool isDisabled(Zone& zone);
    bool read(Zone& zone, double& celsius);

    const LinuxRoot& root_;
    SourceHealth& source_;
    std::mutex mutex_;
    DescriptorBudget budget_;
    DirectoryWatch watch_;
    std::vector<Zone> zones_;
    std::uint64_t revision_ = 0;
};

}  // namespace hvk
