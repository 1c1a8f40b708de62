// LinkMaker.h - makes, changes and removes network interfaces for a live test, in a network namespace of its own.
#pragma once

#include <arpa/inet.h>
#include <fcntl.h>
#include <linux/if.h>
#include <linux/if_link.h>
#include <linux/if_tun.h>
#include <linux/netlink.h>
#include <linux/rtnetlink.h>
#include <linux/veth.h>
#include <sched.h>
#include <sys/ioctl.h>
#include <sys/socket.h>

#include <cstring>
#include <fstream>
#include <string>

#include "HVKPlatform/linux/Descriptor.h"

namespace hvk {

/// Moves the calling thread, and those that it starts, into an empty network namespace without IPv6 addresses of the
/// kernel's own. False when that is not allowed.
inline bool enterEmptyNetwork() {
    if (::unshare(CLONE_NEWNET) != 0) return false;
    for (const char* which : {"all", "default"})
        std::ofstream(std::string("/proc/sys/net/ipv6/conf/") + which + "/disable_ipv6") << 1;
    return true;
}

/// Each call answers whether the kernel did it. Thread: one at a time.
class LinkMaker {
public:
    LinkMaker()
        : netlink_(::socket(AF_NETLINK, SOCK_RAW | SOCK_CLOEXEC, NETLINK_ROUTE)),
          control_(::socket(AF_INET, SOCK_DGRAM | SOCK_CLOEXEC, 0)) {}

    bool addPair(const std::string& name, const std::string& peer) {
        std::string inner = fixed(ifinfomsg{}) + attribute(IFLA_IFNAME, peer + '\0');
        inner = attribute(IFLA_INFO_DATA, attribute(VETH_INFO_PEER, inner));
        return ask(RTM_NEWLINK, NLM_F_CREATE | NLM_F_EXCL,
                   fixed(ifinfomsg{}) + attribute(IFLA_IFNAME, name + '\0') +
                       attribute(IFLA_LINKINFO, attribute(IFLA_INFO_KIND, std::string("veth")) + inner));
    }

    bool remove(const std::string& name) {
        return ask(RTM_DELLINK, 0, fixed(ifinfomsg{}) + attribute(IFLA_IFNAME, name + '\0'));
    }

    bool set(const std::string& name, bool up) {
        ifreq request = requestFor(name);
        if (::ioctl(control_.get(), SIOCGIFFLAGS, &request) != 0) return false;
        const auto flags = static_cast<unsigned>(request.ifr_flags);
        request.ifr_flags = static_cast<short>(up ? flags | IFF_UP : flags & ~unsigned{IFF_UP});
        return ::ioctl(control_.get(), SIOCSIFFLAGS, &request) == 0;
    }

    bool setAddress(const std::string& name, const char* address) { return change(name, address, SIOCSIFADDR); }
    bool setPeer(const std::string& name, const char* address) { return change(name, address, SIOCSIFDSTADDR); }

    /// A tunnel that lives as long as the descriptor.
    static Descriptor tunnel(const std::string& name) {
        Descriptor device(::open("/dev/net/tun", O_RDWR | O_CLOEXEC));
        ifreq request = requestFor(name);
        request.ifr_flags = IFF_TUN | IFF_NO_PI;
        if (!device || ::ioctl(device.get(), TUNSETIFF, &request) != 0) return {};
        return device;
    }

private:
    static ifreq requestFor(const std::string& name) {
        ifreq request{};
        std::strncpy(request.ifr_name, name.c_str(), sizeof request.ifr_name - 1);
        return request;
    }

    template <class Record>
    static std::string fixed(const Record& record) {
        std::string bytes(sizeof record, '\0');
        std::memcpy(bytes.data(), &record, sizeof record);
        return bytes;
    }

    static std::string attribute(unsigned type, const std::string& content) {
        const rtattr head{static_cast<unsigned short>(sizeof(rtattr) + content.size()),
                          static_cast<unsigned short>(type)};
        std::string bytes = fixed(head) + content;
        bytes.resize((bytes.size() + 3) / 4 * 4);
        return bytes;
    }

    bool ask(std::uint16_t type, std::uint16_t flags, const std::string& body) {
        nlmsghdr head{};
        head.nlmsg_len = static_cast<std::uint32_t>(sizeof head + body.size());
        head.nlmsg_type = type;
        head.nlmsg_flags = static_cast<std::uint16_t>(NLM_F_REQUEST | NLM_F_ACK | flags);
        const std::string message = fixed(head) + body;
        if (::send(netlink_.get(), message.data(), message.size(), 0) < 0) return false;
        char answer[8192];
        const ssize_t count = ::recv(netlink_.get(), answer, sizeof answer, 0);
        nlmsgerr error{};
        if (count < static_cast<ssize_t>(sizeof head + sizeof error)) return false;
        std::memcpy(&error, answer + sizeof head, sizeof error);
        return error.error == 0;
    }

    bool change(const std::string& name, const char* address, unsigned long what) {
        ifreq request = requestFor(name);
        sockaddr_in internet{};
        internet.sin_family = AF_INET;
        ::inet_pton(AF_INET, address, &internet.sin_addr);
        std::memcpy(&request.ifr_addr, &internet, sizeof internet);
        return ::ioctl(control_.get(), what, &request) == 0;
    }

    Descriptor netlink_;
    Descriptor control_;
};

}  // namespace hvk
