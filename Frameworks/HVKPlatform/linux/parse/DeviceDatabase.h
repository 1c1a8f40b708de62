// DeviceDatabase.h - what the device manager has found out about a device: /run/udev/data/b8:1.
#pragma once

#include <optional>
#include <string>
#include <string_view>

namespace hvk::parse {

/// The value of a property line, "E:ID_FS_TYPE=ext4"; nothing when it is not there.
std::optional<std::string_view> deviceProperty(std::string_view content, std::string_view key);

/// A value of a key that ends in "_ENC", with "\x20" made plain.
std::string decodedDeviceText(std::string_view text);

/// The value of a plain "KEY=VALUE" line, as in a device's "uevent" file; nothing when it is not there.
std::optional<std::string_view> deviceVariable(std::string_view content, std::string_view key);

}  // namespace hvk::parse
