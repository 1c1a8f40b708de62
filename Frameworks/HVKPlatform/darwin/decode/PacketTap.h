// PacketTap.h - the header that macOS writes before each packet of a packet-tap capture.
//
// The header says its own length, which differs between systems; all numbers are little-endian, also in the file of a
// machine that is not.
#pragma once

#include <cstdint>
#include <optional>
#include <span>

#include "HVKPlatform/ports/PacketCapture.h"

namespace hvk::decode {

/// The packet behind a header: owner, direction, interface and frame, as views into `bytes`. Nothing when there is no
/// whole header, or when the header says that no packet follows. A frame that was cut short is handed on as it is.
std::optional<CapturedPacket> packetTap(std::span<const std::uint8_t> bytes);

}  // namespace hvk::decode
