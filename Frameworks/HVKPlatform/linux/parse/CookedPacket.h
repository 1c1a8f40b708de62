// CookedPacket.h - a packet as the kernel hands it over on the device "any" (LINKTYPE_LINUX_SLL2), and the flow that it
// belongs to.
//
// All numbers are in network order. A packet is captured in part only; what was cut off is not needed.
#pragma once

#include <array>
#include <cstddef>
#include <cstdint>
#include <optional>
#include <span>

namespace hvk::parse {

/// How a packet came by (PACKET_* of the kernel).
inline constexpr std::uint8_t CookedOutgoing = 4;

/// Protocols of the packet behind the header.
inline constexpr std::uint16_t CookedIPv4 = 0x0800;
inline constexpr std::uint16_t CookedIPv6 = 0x86DD;

/// The header.
struct CookedPacket {
    std::uint16_t protocol = 0;            ///< an EtherType, or one of the kernel's own
    std::uint32_t interface = 0;           ///< its number
    std::uint16_t hardware = 0;            ///< ARPHRD_*: 1 Ethernet, 772 loopback
    std::uint8_t type = 0;                 ///< PACKET_*: 4 outgoing
    std::span<const std::uint8_t> packet;  ///< begins with the header of its protocol
};

/// Nothing for what is shorter than a header.
std::optional<CookedPacket> cookedPacket(std::span<const std::uint8_t> bytes);

/// One end of a flow. An IPv4 address stands in the last four bytes behind ::ffff:0:0.
struct FlowEnd {
    std::array<std::uint8_t, 16> address{};
    std::uint16_t port = 0;

    bool operator==(const FlowEnd&) const = default;
};

/// A flow as one of its ends sees it.
struct Flow {
    std::uint8_t protocol = 0;  ///< 6 TCP, 17 UDP
    FlowEnd local;
    FlowEnd remote;

    bool operator==(const Flow&) const = default;

    /// The same as the other end sees it.
    Flow reversed() const { return {protocol, remote, local}; }
};

struct FlowHash {
    std::size_t operator()(const Flow& flow) const;
};

/// The address of four bytes in the form of a flow's end.
std::array<std::uint8_t, 16> mappedAddress(std::span<const std::uint8_t, 4> address);

/// The flow of an IP packet of TCP or UDP, its sender as the local end. Nothing for other protocols, for fragments but
/// the first, and for what is cut before the ports.
std::optional<Flow> flowOf(std::uint16_t protocol, std::span<const std::uint8_t> packet);

}  // namespace hvk::parse
