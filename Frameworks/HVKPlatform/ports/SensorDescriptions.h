// SensorDescriptions.h - what the sensors of a machine say of themselves: names, limits, and what belongs together.
//
// From it a recipe is made on a machine that has none. It owns no values: these are read through the controller
// (UserClient.h) and the HID port (HID.h), by the keys that stand here.
#pragma once

#include <cstddef>
#include <cstdint>
#include <optional>
#include <string>
#include <vector>

#include "HVKBase/Export.h"
#include "HVKPlatform/Result.h"

namespace hvk {

/// What a sensor measures, and the unit of its values and limits.
enum class SensorKind {
    Temperature,  ///< degrees Celsius
    Fan,          ///< revolutions per minute
    Voltage,      ///< volts
    Current,      ///< amperes
    Power,        ///< watts
    Frequency,    ///< megahertz
};

/// The name of a kind as recordings write it: "temperature", "fan", "voltage", "current", "power", "frequency".
inline constexpr const char* sensorKindName(SensorKind kind) {
    constexpr const char* Names[] = {"temperature", "fan", "voltage", "current", "power", "frequency"};
    return Names[static_cast<std::size_t>(kind)];
}

/// Which port reads a sensor.
enum class SensorSource {
    Controller,  ///< a key of the management controller
    HID,         ///< a product of the HID event system
};

/// One sensor.
struct SensorDescription {
    std::string key;  ///< four characters of the controller, e.g. "Tq3Z", or a HID product, e.g. "acpitz"
    SensorSource source = SensorSource::Controller;
    SensorKind kind = SensorKind::Temperature;
    std::string name;            ///< English, unique among those of its kind: "CPU Package", "CPU Core 1", "SSD"
    std::string chip;            ///< what reads it, e.g. "coretemp"; two alike are "nvme" and "nvme 2"
    std::string group;           ///< what it is one of, e.g. "CPU Cores"; empty when it stands alone
    std::optional<double> low;   ///< the lowest value that is expected, where the sensor says
    std::optional<double> high;  ///< the highest; above `low`

    bool operator==(const SensorDescription&) const = default;
};

/// The descriptions. Thread: any.
class HVK_EXPORT SensorDescriptionsPort {
public:
    virtual ~SensorDescriptionsPort() = default;

    /// The sensors that the machine has now, those of one chip together; one that sleeps or fails is among them.
    /// Linux: /sys/class/hwmon and /sys/class/thermal. macOS has recipes and answers Unsupported.
    virtual Result<std::vector<SensorDescription>> descriptions() = 0;

    /// A number that moves when a sensor came, went, or gave its first value: then a recipe loads more than before.
    /// Unsupported where the sensors never change.
    virtual Result<std::uint64_t> revision() = 0;
};

/// Answers Unsupported: the base of a new adapter.
class HVK_EXPORT UnsupportedSensorDescriptionsPort : public SensorDescriptionsPort {
public:
    Result<std::vector<SensorDescription>> descriptions() override { return unsupported("descriptions of sensors"); }
    Result<std::uint64_t> revision() override { return unsupported("descriptions of sensors"); }
};

/// Hands the questions on; a test overrides one.
class HVK_EXPORT ForwardingSensorDescriptionsPort : public SensorDescriptionsPort {
public:
    explicit ForwardingSensorDescriptionsPort(SensorDescriptionsPort& target) : target_(target) {}
    Result<std::vector<SensorDescription>> descriptions() override { return target_.descriptions(); }
    Result<std::uint64_t> revision() override { return target_.revision(); }

protected:
    SensorDescriptionsPort& target_;
};

}  // namespace hvk
