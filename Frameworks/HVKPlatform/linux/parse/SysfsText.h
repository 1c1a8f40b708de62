// SysfsText.h - the small texts of sysfs: names in paths, readable text, numbers written in hexadecimal.
#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>

namespace hvk::parse {

/// The text with every byte that is no UTF-8 replaced by U+FFFD: fit for a property or a name.
std::string readableText(std::string_view bytes);

/// A directory's name as it stands in a registry path: '/', '@', '%', control characters and bytes that are no UTF-8
/// are written as "%2F". Two names never become the same text.
std::string escapedName(std::string_view name);

/// Sorts names as people number things: the shorter first, then by bytes, so that sdb comes before sdaa and nvme2
/// before nvme10.
bool nameBefore(std::string_view left, std::string_view right);

/// Sorts paths component by component with `nameBefore`: a directory before what is in it.
bool pathBefore(std::string_view left, std::string_view right);

/// "0x8086" or "8086" as a number; nothing for anything else, also when it does not fit.
std::optional<std::uint32_t> hexadecimal(std::string_view word);

/// "power_supply" as "PowerSupply": letters after anything that is neither letter nor digit become capitals.
std::string capitalized(std::string_view name);

/// The bytes of "52:54:00:12:34:56", six or however many there are; empty for anything else.
std::string hardwareAddress(std::string_view text);

}  // namespace hvk::parse
