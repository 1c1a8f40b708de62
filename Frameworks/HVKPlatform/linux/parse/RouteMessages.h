// RouteMessages.h - what the kernel says of interfaces, addresses and routes: the messages of rtnetlink.
//
// Of the routes only the default ones of the main table are told; everything else that the kernel sends is passed over.
#pragma once

#include <cstdint>
#include <functional>
#include <string>
#include <string_view>
#include <variant>

#include "HVKPlatform/Result.h"

namespace hvk::parse {

/// An interface.
struct LinkRecord {
    bool gone = false;
    std::int32_t index = 0;
    std::string name;
    std::string hardwareAddress;  ///< its bytes
    bool up = false;              ///< the administrator wants it
    bool running = false;         ///< and it carries traffic

    bool operator==(const LinkRecord&) const = default;
};

/// The family of an address or a route.
enum class RouteFamily : std::uint8_t { IPv4, IPv6 };

/// An address of an interface.
struct AddressRecord {
    bool gone = false;
    std::int32_t index = 0;
    RouteFamily family = RouteFamily::IPv4;
    std::uint8_t prefixLength = 0;
    std::string local;  ///< its bytes, 4 or 16
    std::string peer;   ///< those of the other end; the same ones where there is none

    bool operator==(const AddressRecord&) const = default;
};

/// A default route of the main table.
struct DefaultRouteRecord {
    bool gone = false;
    bool replaces = false;  ///< it takes the place of those of its priority
    RouteFamily family = RouteFamily::IPv4;
    std::int32_t index = 0;      ///< the interface; 0 when there are several
    std::uint32_t priority = 0;  ///< the lower goes first
    std::string gateway;         ///< its bytes; empty for a route without one

    bool operator==(const DefaultRouteRecord&) const = default;
};

using RouteRecord = std::variant<LinkRecord, AddressRecord, DefaultRouteRecord>;

/// What a datagram said besides.
struct RouteOutcome {
    bool done = false;         ///< the end of a listing
    bool interrupted = false;  ///< the listing changed while it was made: it has to be made again
    int error = 0;             ///< the errno of a request that was refused
};

/// Reads one datagram and hands its records on in order. Malformed when a length makes no sense; what came before it
/// was handed on.
Result<RouteOutcome> parseRouteMessages(std::string_view datagram, const std::function<void(RouteRecord)>& take);

}  // namespace hvk::parse
