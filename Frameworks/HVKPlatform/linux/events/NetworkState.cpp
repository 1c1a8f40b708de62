#include "HVKPlatform/linux/events/NetworkState.h"

#include <variant>

namespace hvk {

namespace {

constexpr const char* InterfaceList = "State:/Network/Interface";

std::string keyOf(const std::string& interface, const char* part) {
    return std::string(InterfaceList).append("/").append(interface).append("/").append(part);
}

const char* partOf(parse::RouteFamily family) { return family == parse::RouteFamily::IPv4 ? "IPv4" : "IPv6"; }

std::string globalKeyOf(parse::RouteFamily family) { return std::string("State:/Network/Global/") + partOf(family); }

}  // namespace

/// Its name; nothing for an interface that is not known, whose addresses then concern nobody.
std::string NetworkState::nameOf(std::int32_t index) const {
    const auto found = links_.find(index);
    return found == links_.end() ? std::string() : found->second.name;
}

void NetworkState::apply(const parse::RouteRecord& record, ConfigurationKeys& changed) {
    std::visit([&](const auto& one) { apply(one, changed); }, record);
}

/// The kernel drops the routes of an interface that goes down without a word.
void NetworkState::dropRoutes(std::int32_t index, ConfigurationKeys& changed) {
    for (auto& [family, routes] : routes_)
        if (std::erase_if(routes, [&](const Route& route) { return std::get<1>(route) == index; }) > 0)
            changed.insert(globalKeyOf(family));
    std::erase_if(routes_, [](const auto& one) { return one.second.empty(); });
}

void NetworkState::apply(const parse::LinkRecord& link, ConfigurationKeys& changed) {
    const auto known = links_.find(link.index);
    if (link.gone) {
        if (known == links_.end()) return;
        const std::string name = known->second.name;
        changed.insert(InterfaceList);
        changed.insert(keyOf(name, "Link"));
        for (const Family family : {Family::IPv4, Family::IPv6})
            if (addresses_.erase({link.index, family}) > 0) changed.insert(keyOf(name, partOf(family)));
        dropRoutes(link.index, changed);
        links_.erase(known);
        return;
    }
    if (known == links_.end()) {
        if (link.name.empty()) return;
        links_.emplace(link.index, link);
        changed.insert(InterfaceList);
        changed.insert(keyOf(link.name, "Link"));
        return;
    }
    parse::LinkRecord now = link;
    // A message about something else leaves out what did not change.
    if (now.name.empty()) now.name = known->second.name;
    if (now.hardwareAddress.empty()) now.hardwareAddress = known->second.hardwareAddress;
    if (now == known->second) return;
    if (now.name != known->second.name) {
        changed.insert(InterfaceList);
        changed.insert(keyOf(known->second.name, "Link"));
    }
    changed.insert(keyOf(now.name, "Link"));
    if (!now.up) dropRoutes(link.index, changed);
    known->second = std::move(now);
}

void NetworkState::apply(const parse::AddressRecord& address, ConfigurationKeys& changed) {
    const std::string name = nameOf(address.index);
    if (name.empty()) return;
    const auto place = addresses_.try_emplace({address.index, address.family}).first;
    const Address one{address.prefixLength, address.local, address.peer};
    const bool differs = address.gone ? place->second.erase(one) > 0 : place->second.insert(one).second;
    if (place->second.empty()) addresses_.erase(place);
    if (differs) changed.insert(keyOf(name, partOf(address.family)));
}

void NetworkState::apply(const parse::DefaultRouteRecord& route, ConfigurationKeys& changed) {
    const auto place = routes_.try_emplace(route.family).first;
    const Route one{route.priority, route.index, route.gateway};
    const auto isReplaced = [&](const Route& other) { return std::get<0>(other) == route.priority && other != one; };
    bool differs = route.replaces && std::erase_if(place->second, isReplaced) > 0;
    differs |= route.gone ? place->second.erase(one) > 0 : place->second.insert(one).second;
    if (place->second.empty()) routes_.erase(place);
    if (differs) changed.insert(globalKeyOf(route.family));
}

ConfigurationKeys NetworkState::difference(const NetworkState& before, const NetworkState& after) {
    ConfigurationKeys keys;
    // What went or is another, then what came.
    const auto compare = [&](const NetworkState& one, const NetworkState& other) {
        for (const auto& [index, link] : one.links_) {
            const auto found = other.links_.find(index);
            if (found != other.links_.end() && found->second == link) continue;
            keys.insert(keyOf(link.name, "Link"));
            if (found == other.links_.end() || found->second.name != link.name) keys.insert(InterfaceList);
        }
        for (const auto& [place, addresses] : one.addresses_) {
            const auto found = other.addresses_.find(place);
            if (found == other.addresses_.end() || found->second != addresses)
                keys.insert(keyOf(one.nameOf(place.first), partOf(place.second)));
        }
        for (const auto& [family, routes] : one.routes_) {
            const auto found = other.routes_.find(family);
            if (found == other.routes_.end() || found->second != routes) keys.insert(globalKeyOf(family));
        }
    };
    compare(before, after);
    compare(after, before);
    return keys;
}

std::set<std::string> NetworkState::interfaceNames() const {
    std::set<std::string> names;
    for (const auto& [index, link] : links_) names.insert(link.name);
    return names;
}

}  // namespace hvk
