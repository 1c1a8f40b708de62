#include "HVKPlatform/linux/parse/CookedPacket.h"

#include <algorithm>

namespace hvk::parse {

namespace {

constexpr std::size_t CookedHeaderSize = 20;
constexpr std::uint8_t TCP = 6;
constexpr std::uint8_t UDP = 17;

// IPv6 headers that may stand before those of TCP and UDP.
constexpr std::uint8_t HopByHop = 0;
constexpr std::uint8_t Routing = 43;
constexpr std::uint8_t DestinationOptions = 60;
constexpr std::uint8_t Fragment = 44;
constexpr int MostExtensions = 8;

std::uint16_t number16(std::span<const std::uint8_t> bytes, std::size_t at) {
    return static_cast<std::uint16_t>(bytes[at] << 8 | bytes[at + 1]);
}

std::uint32_t number32(std::span<const std::uint8_t> bytes, std::size_t at) {
    return static_cast<std::uint32_t>(number16(bytes, at)) << 16 | number16(bytes, at + 2);
}

bool hasPorts(std::uint8_t protocol) { return protocol == TCP || protocol == UDP; }

std::optional<Flow> withPorts(Flow flow, std::span<const std::uint8_t> segment) {
    if (!hasPorts(flow.protocol) || segment.size() < 4) return std::nullopt;
    flow.local.port = number16(segment, 0);
    flow.remote.port = number16(segment, 2);
    return flow;
}

std::optional<Flow> flowOfIPv4(std::span<const std::uint8_t> packet) {
    constexpr std::size_t ShortestHeader = 20;
    if (packet.size() < ShortestHeader || packet[0] >> 4 != 4) return std::nullopt;
    const std::size_t header = std::size_t{4} * (packet[0] & 0xF);
    const bool isLaterFragment = (number16(packet, 6) & 0x1FFF) != 0;
    if (header < ShortestHeader || header > packet.size() || isLaterFragment) return std::nullopt;
    Flow flow;
    flow.protocol = packet[9];
    flow.local.address = mappedAddress(packet.subspan<12, 4>());
    flow.remote.address = mappedAddress(packet.subspan<16, 4>());
    return withPorts(flow, packet.subspan(header));
}

std::optional<Flow> flowOfIPv6(std::span<const std::uint8_t> packet) {
    constexpr std::size_t Header = 40;
    if (packet.size() < Header || packet[0] >> 4 != 6) return std::nullopt;
    Flow flow;
    flow.protocol = packet[6];
    std::copy_n(packet.begin() + 8, 16, flow.local.address.begin());
    std::copy_n(packet.begin() + 24, 16, flow.remote.address.begin());
    auto rest = packet.subspan(Header);
    for (int extension = 0; extension < MostExtensions && !hasPorts(flow.protocol); ++extension) {
        constexpr std::size_t Unit = 8;
        if (rest.size() < Unit) return std::nullopt;
        std::size_t size = Unit;
        switch (flow.protocol) {
            case HopByHop:
            case Routing:
            case DestinationOptions: size = Unit * (std::size_t{1} + rest[1]); break;
            case Fragment:
                if ((number16(rest, 2) & 0xFFF8) != 0) return std::nullopt;
                break;
            default: return std::nullopt;
        }
        if (size > rest.size()) return std::nullopt;
        flow.protocol = rest[0];
        rest = rest.subspan(size);
    }
    return withPorts(flow, rest);
}

}  // namespace

std::optional<CookedPacket> cookedPacket(std::span<const std::uint8_t> bytes) {
    if (bytes.size() < CookedHeaderSize) return std::nullopt;
    CookedPacket cooked;
    cooked.protocol = number16(bytes, 0);
    cooked.interface = number32(bytes, 4);
    cooked.hardware = number16(bytes, 8);
    cooked.type = bytes[10];
    cooked.packet = bytes.subspan(CookedHeaderSize);
    return cooked;
}

std::size_t FlowHash::operator()(const Flow& flow) const {
    // FNV-1a over what differs between flows.
    std::uint64_t hash = 14695981039346656037ULL;
    const auto mix = [&hash](std::uint64_t value) { hash = (hash ^ value) * 1099511628211ULL; };
    mix(flow.protocol);
    for (const FlowEnd* end : {&flow.local, &flow.remote}) {
        mix(end->port);
        for (const std::uint8_t byte : end->address) mix(byte);
    }
    return static_cast<std::size_t>(hash);
}

std::array<std::uint8_t, 16> mappedAddress(std::span<const std::uint8_t, 4> address) {
    std::array<std::uint8_t, 16> mapped{};
    mapped[10] = mapped[11] = 0xFF;
    std::copy(address.begin(), address.end(), mapped.begin() + 12);
    return mapped;
}

std::optional<Flow> flowOf(std::uint16_t protocol, std::span<const std::uint8_t> packet) {
    if (protocol == CookedIPv4) return flowOfIPv4(packet);
    if (protocol == CookedIPv6) return flowOfIPv6(packet);
    return std::nullopt;
}

}  // namespace hvk::parse
