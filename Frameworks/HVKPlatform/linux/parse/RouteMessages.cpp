#include "HVKPlatform/linux/parse/RouteMessages.h"

#include <algorithm>
#include <cstring>
#include <optional>
#include <utility>

namespace hvk::parse {

namespace {

// <linux/netlink.h> and <linux/rtnetlink.h>, which other systems have not.
constexpr std::size_t HeaderSize = 16;
constexpr std::size_t AttributeHeaderSize = 4;
constexpr std::uint16_t MessageError = 2, MessageDone = 3;
constexpr std::uint16_t NewLink = 16, DelLink = 17, NewAddress = 20, DelAddress = 21, NewRoute = 24, DelRoute = 25;
constexpr std::uint16_t FlagInterrupted = 0x10;  // of a listing
constexpr std::uint16_t FlagReplaces = 0x100;    // of a new route
constexpr std::uint16_t AttributeTypeMask = 0x3fff;
constexpr std::uint8_t FamilyUnspecified = 0, FamilyIPv4 = 2, FamilyIPv6 = 10;

constexpr std::size_t LinkBodySize = 16, AddressBodySize = 8, RouteBodySize = 12;
constexpr std::uint16_t LinkAddress = 1, LinkName = 3;
constexpr std::uint32_t LinkUp = 0x1, LinkRunning = 0x40;
constexpr std::uint16_t InterfaceAddressPeer = 1, InterfaceAddressLocal = 2;
constexpr std::uint16_t RouteOutInterface = 4, RouteGateway = 5, RoutePriority = 6, RouteTable = 15;
constexpr std::uint8_t RouteTypeUnicast = 1;
constexpr std::uint32_t MainTable = 254;

template <class Number>
Number numberAt(std::string_view bytes, std::size_t offset) {
    Number number{};
    std::memcpy(&number, bytes.data() + offset, sizeof number);
    return number;
}

constexpr std::size_t aligned(std::size_t size) { return (size + 3) & ~std::size_t{3}; }

/// Calls `take(type, bytes)` for each attribute; false when a length makes no sense.
template <class Take>
bool eachAttribute(std::string_view bytes, Take take) {
    while (bytes.size() >= AttributeHeaderSize) {
        const std::size_t length = numberAt<std::uint16_t>(bytes, 0);
        if (length < AttributeHeaderSize || length > bytes.size()) return false;
        take(static_cast<std::uint16_t>(numberAt<std::uint16_t>(bytes, 2) & AttributeTypeMask),
             bytes.substr(AttributeHeaderSize, length - AttributeHeaderSize));
        bytes.remove_prefix(std::min(aligned(length), bytes.size()));
    }
    return true;
}

std::optional<RouteFamily> familyOf(std::uint8_t number) {
    if (number == FamilyIPv4) return RouteFamily::IPv4;
    if (number == FamilyIPv6) return RouteFamily::IPv6;
    return std::nullopt;
}

std::uint32_t number32(std::string_view bytes) {
    return bytes.size() >= sizeof(std::uint32_t) ? numberAt<std::uint32_t>(bytes, 0) : 0;
}

using Take = std::function<void(RouteRecord)>;

bool parseLink(std::string_view body, bool gone, const Take& take) {
    if (body.size() < LinkBodySize) return false;
    // A bridge tells of its ports by messages of its own family, which are no interfaces that come or go.
    if (numberAt<std::uint8_t>(body, 0) != FamilyUnspecified) return true;
    LinkRecord link;
    link.gone = gone;
    link.index = numberAt<std::int32_t>(body, 4);
    const auto flags = numberAt<std::uint32_t>(body, 8);
    link.up = (flags & LinkUp) != 0;
    link.running = (flags & LinkRunning) != 0;
    const bool whole = eachAttribute(body.substr(LinkBodySize), [&](std::uint16_t type, std::string_view bytes) {
        if (type == LinkName) link.name = bytes.substr(0, bytes.find('\0'));
        if (type == LinkAddress) link.hardwareAddress = bytes;
    });
    if (whole) take(std::move(link));
    return whole;
}

bool parseAddress(std::string_view body, bool gone, const Take& take) {
    if (body.size() < AddressBodySize) return false;
    const auto family = familyOf(numberAt<std::uint8_t>(body, 0));
    if (!family) return true;
    AddressRecord address;
    address.gone = gone;
    address.family = *family;
    address.prefixLength = numberAt<std::uint8_t>(body, 1);
    address.index = numberAt<std::int32_t>(body, 4);
    const bool whole = eachAttribute(body.substr(AddressBodySize), [&](std::uint16_t type, std::string_view bytes) {
        if (type == InterfaceAddressPeer) address.peer = bytes;
        if (type == InterfaceAddressLocal) address.local = bytes;
    });
    // Where there is no other end the kernel may name the address but once.
    if (address.local.empty()) address.local = address.peer;
    if (address.peer.empty()) address.peer = address.local;
    if (whole) take(std::move(address));
    return whole;
}

bool parseRoute(std::string_view body, bool gone, bool replaces, const Take& take) {
    if (body.size() < RouteBodySize) return false;
    const auto family = familyOf(numberAt<std::uint8_t>(body, 0));
    const bool isDefault = numberAt<std::uint8_t>(body, 1) == 0 && numberAt<std::uint8_t>(body, 2) == 0;
    if (!family || !isDefault || numberAt<std::uint8_t>(body, 7) != RouteTypeUnicast) return true;
    DefaultRouteRecord route;
    route.gone = gone;
    route.replaces = replaces;
    route.family = *family;
    std::uint32_t table = numberAt<std::uint8_t>(body, 4);
    const bool whole = eachAttribute(body.substr(RouteBodySize), [&](std::uint16_t type, std::string_view bytes) {
        if (type == RouteOutInterface) route.index = static_cast<std::int32_t>(number32(bytes));
        if (type == RouteGateway) route.gateway = bytes;
        if (type == RoutePriority) route.priority = number32(bytes);
        if (type == RouteTable) table = number32(bytes);
    });
    if (whole && table == MainTable) take(std::move(route));
    return whole;
}

bool parseBody(std::uint16_t type, std::uint16_t flags, std::string_view body, const Take& take) {
    switch (type) {
        case NewLink:
        case DelLink: return parseLink(body, type == DelLink, take);
        case NewAddress:
        case DelAddress: return parseAddress(body, type == DelAddress, take);
        case NewRoute:
        case DelRoute: return parseRoute(body, type == DelRoute, (flags & FlagReplaces) != 0, take);
        default: return true;
    }
}

Failure malformed(const char* detail) { return {FailureKind::Malformed, "rtnetlink", detail}; }

}  // namespace

Result<RouteOutcome> parseRouteMessages(std::string_view datagram, const Take& take) {
    RouteOutcome outcome;
    while (!datagram.empty()) {
        if (datagram.size() < HeaderSize) return malformed("a message is shorter than its header");
        const std::size_t length = numberAt<std::uint32_t>(datagram, 0);
        const auto type = numberAt<std::uint16_t>(datagram, 4);
        if (length < HeaderSize || length > datagram.size()) return malformed("a message's length makes no sense");
        const std::string_view body = datagram.substr(HeaderSize, length - HeaderSize);
        const auto flags = numberAt<std::uint16_t>(datagram, 6);
        if ((flags & FlagInterrupted) != 0) outcome.interrupted = true;
        if (type == MessageDone)
            outcome.done = true;
        else if (type == MessageError)
            outcome.error = -static_cast<std::int32_t>(number32(body));
        else if (!parseBody(type, flags, body, take))
            return malformed("a message is shorter than what it holds");
        datagram.remove_prefix(std::min(aligned(length), datagram.size()));
    }
    return outcome;
}

}  // namespace hvk::parse
