#include "HVKPlatform/darwin/decode/PacketTap.h"

#include <algorithm>
#include <string_view>

namespace hvk::decode {

namespace {

// Where the fields lie.
constexpr std::size_t LengthAt = 0;
constexpr std::size_t TypeNextAt = 4;
constexpr std::size_t LinkTypeAt = 8;
constexpr std::size_t InterfaceAt = 12;
constexpr std::size_t InterfaceSize = 24;
constexpr std::size_t FlagsAt = 36;
constexpr std::size_t PidAt = 52;
/// The fields that are read; every known header is longer.
constexpr std::size_t ShortestHeader = PidAt + 4;

constexpr std::uint32_t PacketFollows = 1;

std::uint32_t number(std::span<const std::uint8_t> bytes, std::size_t at) {
    std::uint32_t value = 0;
    for (std::size_t index = 0; index < 4; ++index)
        value |= static_cast<std::uint32_t>(bytes[at + index]) << (8 * index);
    return value;
}

}  // namespace

std::optional<CapturedPacket> packetTap(std::span<const std::uint8_t> bytes) {
    if (bytes.size() < ShortestHeader) return std::nullopt;
    const std::uint32_t length = number(bytes, LengthAt);
    if (length < ShortestHeader || length > bytes.size()) return std::nullopt;
    if (number(bytes, TypeNextAt) != PacketFollows) return std::nullopt;
    CapturedPacket packet;
    packet.hasHeader = true;
    packet.linkType = number(bytes, LinkTypeAt);
    const auto name = bytes.subspan(InterfaceAt, InterfaceSize);
    const auto end = std::find(name.begin(), name.end(), std::uint8_t{0});
    packet.interface =
        std::string_view(reinterpret_cast<const char*>(name.data()), static_cast<std::size_t>(end - name.begin()));
    packet.flags = number(bytes, FlagsAt);
    packet.pid = static_cast<std::int32_t>(number(bytes, PidAt));
    packet.frame = bytes.subspan(length);
    return packet;
}

}  // namespace hvk::decode
