// HardwareMonitor.h - the text of hardware monitors in sysfs: attribute names, numbers, and paths of devices.
#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>

namespace hvk::parse {

/// What a channel of a monitor measures.
enum class MonitorQuantity { Temperature, Fan, Voltage, Current, Power, Energy, Frequency };

/// "temp12_input" taken apart.
struct MonitorAttribute {
    MonitorQuantity quantity = MonitorQuantity::Temperature;
    unsigned index = 0;          ///< 12
    std::string_view channel;    ///< "temp12"
    std::string_view attribute;  ///< "input"
};

/// The parts of an attribute's file name; nothing for files that belong to no channel of these quantities.
std::optional<MonitorAttribute> parseMonitorAttribute(std::string_view file);

/// The number that an attribute holds; nothing for anything but one whole number.
std::optional<std::int64_t> parseMonitorNumber(std::string_view text);

/// What a raw number is to be divided by to give degrees Celsius, revolutions per minute, volts, amperes, watts, joules
/// or megahertz.
double monitorDivisor(MonitorQuantity quantity);

/// The path of a device without the numbers that the kernel hands out in the order in which devices appear, so that it
/// is the same after a restart or when the device was plugged in again:
/// "/sys/devices/pci0000:00/0000:00:1d.0/0000:03:00.0/nvme/nvme1" gives
/// "pci0000:00/0000:00:1d.0/0000:03:00.0/nvme/nvme".
std::string stableDevicePath(std::string_view path);

/// Whether the left text comes first when runs of digits count as numbers: "i2c-2" before "i2c-10".
bool naturalLess(std::string_view left, std::string_view right);

}  // namespace hvk::parse
