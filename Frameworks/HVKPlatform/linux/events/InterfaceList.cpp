#include "HVKPlatform/linux/events/InterfaceList.h"

#include <arpa/inet.h>
#include <ifaddrs.h>
#include <net/if.h>
#include <netinet/in.h>
#include <sys/socket.h>

#include <cerrno>
#include <memory>
#include <string>

#include "HVKPlatform/linux/LinuxRoot.h"

namespace hvk {

namespace {

std::string textOf(const sockaddr* address) {
    if (address == nullptr) return {};
    char text[INET6_ADDRSTRLEN] = "";
    const void* bytes = nullptr;
    if (address->sa_family == AF_INET) bytes = &reinterpret_cast<const sockaddr_in*>(address)->sin_addr;
    if (address->sa_family == AF_INET6) bytes = &reinterpret_cast<const sockaddr_in6*>(address)->sin6_addr;
    if (bytes == nullptr || ::inet_ntop(address->sa_family, bytes, text, sizeof text) == nullptr) return {};
    return text;
}

InterfaceAddress::Family familyOf(const sockaddr* address) {
    using Family = InterfaceAddress::Family;
    // An interface without a hardware address, such as a tunnel, is listed without any.
    switch (address == nullptr ? AF_PACKET : address->sa_family) {
        case AF_PACKET: return Family::Link;
        case AF_INET: return Family::IPv4;
        case AF_INET6: return Family::IPv6;
        default: return Family::Other;
    }
}

}  // namespace

Result<std::vector<InterfaceAddress>> listInterfaceAddresses() {
    ifaddrs* first = nullptr;
    if (::getifaddrs(&first) != 0) return failureFromErrno(errno, "getifaddrs");
    const std::unique_ptr<ifaddrs, decltype(&::freeifaddrs)> owner(first, &::freeifaddrs);
    std::vector<InterfaceAddress> addresses;
    for (const ifaddrs* one = first; one != nullptr; one = one->ifa_next) {
        InterfaceAddress address;
        if (one->ifa_name != nullptr) address.name = one->ifa_name;
        address.family = familyOf(one->ifa_addr);
        address.up = (one->ifa_flags & IFF_UP) != 0;
        address.pointToPoint = (one->ifa_flags & IFF_POINTOPOINT) != 0;
        address.address = textOf(one->ifa_addr);
        // Where there is no peer the same place holds the broadcast address.
        if (address.pointToPoint) address.destination = textOf(one->ifa_dstaddr);
        addresses.push_back(std::move(address));
    }
    return addresses;
}

}  // namespace hvk
