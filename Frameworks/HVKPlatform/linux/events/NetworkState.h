// NetworkState.h - the interfaces, addresses and default routes that are known, and the names of what changes in them.
//
//   "State:/Network/Interface"              the list of interfaces
//   "State:/Network/Interface/eth0/Link"    whether it is up and carries traffic, its name and its hardware address
//   "State:/Network/Interface/eth0/IPv4"    its addresses; ".../IPv6" alike
//   "State:/Network/Global/IPv4"            where traffic goes by default; ".../IPv6" alike
//
// What the kernel repeats without a difference (a lease renewed, an address confirmed) changes nothing.
#pragma once

#include <cstddef>
#include <cstdint>
#include <map>
#include <set>
#include <string>
#include <tuple>

#include "HVKPlatform/linux/parse/RouteMessages.h"

namespace hvk {

/// Configuration keys, sorted.
using ConfigurationKeys = std::set<std::string>;

/// The state. Thread: one at a time.
class NetworkState {
public:
    /// Takes one record and adds the keys of what it changes.
    void apply(const parse::RouteRecord& record, ConfigurationKeys& changed);

    /// The keys of everything in which two states differ.
    static ConfigurationKeys difference(const NetworkState& before, const NetworkState& after);

    /// The names of the interfaces.
    std::set<std::string> interfaceNames() const;

    std::size_t interfaceCount() const { return links_.size(); }

    bool operator==(const NetworkState&) const = default;

private:
    using Family = parse::RouteFamily;
    /// Prefix length, address, peer.
    using Address = std::tuple<std::uint8_t, std::string, std::string>;
    /// Priority, interface, gateway.
    using Route = std::tuple<std::uint32_t, std::int32_t, std::string>;

    void apply(const parse::LinkRecord& link, ConfigurationKeys& changed);
    void apply(const parse::AddressRecord& address, ConfigurationKeys& changed);
    void apply(const parse::DefaultRouteRecord& route, ConfigurationKeys& changed);
    std::string nameOf(std::int32_t index) const;
    void dropRoutes(std::int32_t index, ConfigurationKeys& changed);

    std::map<std::int32_t, parse::LinkRecord> links_;
    std::map<std::pair<std::int32_t, Family>, std::set<Address>> addresses_;
    std::map<Family, std::set<Route>> routes_;
};

}  // namespace hvk
