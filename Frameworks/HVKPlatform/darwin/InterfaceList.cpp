#include "HVKPlatform/darwin/InterfaceList.h"

#include <arpa/inet.h>
#include <ifaddrs.h>
#include <net/if.h>
#include <netinet/in.h>
#include <sys/socket.h>

#include <cerrno>
#include <cstring>
#include <memory>
#include <string>

#include "HVKPlatform/darwin/Cost.h"
#include "HVKPlatform/darwin/decode/Failures.h"

namespace hvk {

namespace {

std::string textOf(const sockaddr* address) {
    char text[INET6_ADDRSTRLEN] = "";
    if (address == nullptr) return text;
    if (address->sa_family == AF_INET) {
        ::inet_ntop(AF_INET, &reinterpret_cast<const sockaddr_in*>(address)->sin_addr, text, sizeof text);
    } else if (address->sa_family == AF_INET6) {
        in6_addr bytes = reinterpret_cast<const sockaddr_in6*>(address)->sin6_addr;
        // The kernel keeps the interface's number inside a link-local address.
        if (IN6_IS_ADDR_LINKLOCAL(&bytes)) std::memset(bytes.s6_addr + 2, 0, 2);
        ::inet_ntop(AF_INET6, &bytes, text, sizeof text);
    }
    return text;
}

InterfaceAddress::Family familyOf(const sockaddr* address) {
    using Family = InterfaceAddress::Family;
    switch (address == nullptr ? AF_UNSPEC : address->sa_family) {
        case AF_LINK: return Family::Link;
        case AF_INET: return Family::IPv4;
        case AF_INET6: return Family::IPv6;
        default: return Family::Other;
    }
}

}  // namespace

Result<std::vector<InterfaceAddress>> listInterfaceAddresses() {
    ifaddrs* first = nullptr;
    countSystemCalls();
    if (::getifaddrs(&first) != 0) return decode::systemControlFailure("getifaddrs", errno);
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
