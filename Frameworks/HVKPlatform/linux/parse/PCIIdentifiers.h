// PCIIdentifiers.h - names of PCI devices, from the list that distributions install (pci.ids).
#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>

namespace hvk::parse {

/// The name of a device in the list's text: "Navi 31 [Radeon RX 7900 XTX]" for 0x1002, 0x744c. Nothing when the list
/// does not have it. What is no list has nothing.
std::optional<std::string> pciDeviceName(std::string_view list, std::uint32_t vendor, std::uint32_t device);

/// What people call the device: the text in the last square brackets, "Radeon RX 7900 XTX", else all of it.
std::string marketedName(std::string_view deviceName);

}  // namespace hvk::parse
