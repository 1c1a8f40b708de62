// EventBenchmarks.cpp - hearing a thousand device events beside a bare receive loop on the same socket.
//
// Both sides make the events too, since the kernel hands each out but once.

#include <fcntl.h>
#include <linux/netlink.h>
#include <sys/socket.h>
#include <unistd.h>

#include <cstdlib>
#include <memory>
#include <vector>

#include "Benchmarks/Groups.h"
#include "Benchmarks/Pair.h"
#include "HVKPlatform/linux/Descriptor.h"
#include "HVKPlatform/linux/events/UeventSource.h"

namespace hvk::bench {

namespace {

constexpr int Events = 1000;
constexpr std::size_t Buffer = 64 << 20;

void makeEvents(int device) {
    for (int event = 0; event < Events; ++event)
        if (::write(device, "change", 6) != 6) std::abort();
}

int bareSocket() {
    const int descriptor = ::socket(AF_NETLINK, SOCK_RAW | SOCK_CLOEXEC | SOCK_NONBLOCK, NETLINK_KOBJECT_UEVENT);
    const int size = Buffer;
    ::setsockopt(descriptor, SOL_SOCKET, SO_RCVBUFFORCE, &size, sizeof size);
    sockaddr_nl address{};
    address.nl_family = AF_NETLINK;
    address.nl_groups = 1;
    if (::bind(descriptor, reinterpret_cast<const sockaddr*>(&address), sizeof address) != 0) std::abort();
    return descriptor;
}

}  // namespace

void registerEventBenchmarks() {
    const auto device = std::make_shared<Descriptor>(::open("/sys/class/mem/null/uevent", O_WRONLY | O_CLOEXEC));
    if (!*device) return;  // only root may make events up
    // A socket that is not read while the other side runs fills up and costs the kernel time: each pass has its own.
    const auto hear = [device] {
        Diagnostics diagnostics;
        const auto source =
            UeventSource::open(false, Buffer, diagnostics.source("events", "benchmark"), [](const DeviceHints&) {});
        if (!source) std::abort();
        makeEvents(device->get());
        std::vector<pollfd> waited;
        (*source)->appendTo(waited);
        waited.front().revents = POLLIN;
        (*source)->turn(waited.data(), EventSource::Clock::now());
        if ((*source)->heard() < Events) std::abort();
    };
    const auto receive = [device] {
        const Descriptor socket(bareSocket());
        makeEvents(device->get());
        char datagram[8192];
        int heard = 0;
        while (::recv(socket.get(), datagram, sizeof datagram, 0) > 0) ++heard;
        if (heard < Events) std::abort();
    };
    registerPair({"device events", 1.5, "the same events, made and received without a look", Events}, hear, receive);
}

}  // namespace hvk::bench
