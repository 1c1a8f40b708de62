#include "HVKPlatform/linux/events/UeventSource.h"

#include <linux/netlink.h>

#include <algorithm>
#include <utility>

#include "HVKPlatform/linux/parse/Uevent.h"

namespace hvk {

namespace {

using namespace std::chrono_literals;

constexpr std::uint32_t KernelGroup = 1;
constexpr std::uint32_t ManagerGroup = 2;
/// Events of one step come close together.
constexpr auto Settle = 100ms;
/// How long the device manager's rules may take before a disk is looked at without them.
constexpr auto ManagerPatience = 700ms;
/// With more disks than that waiting, everything is looked at.
constexpr std::size_t MostDisks = 1024;
/// So many messages at a turn, so that the other sources have theirs.
constexpr int MessagesPerTurn = 4096;

bool isDevicesOwnNews(std::string_view action) {
    return action == "add" || action == "remove" || action == "bind" || action == "unbind" || action == "move";
}

}  // namespace

UeventSource::UeventSource(std::vector<NetlinkSocket> sockets, SourceHealth& health, Take take)
    : sockets_(std::move(sockets)), health_(health), take_(std::move(take)) {}

Result<std::shared_ptr<UeventSource>> UeventSource::open(bool managed, std::size_t bufferBytes, SourceHealth& health,
                                                         Take take) {
    std::vector<NetlinkSocket> sockets;
    for (const std::uint32_t group : {KernelGroup, ManagerGroup}) {
        if (group == ManagerGroup && !managed) break;
        auto socket = NetlinkSocket::open(NETLINK_KOBJECT_UEVENT, group, bufferBytes);
        if (!socket) return health.failed(socket.failure());
        sockets.push_back(std::move(*socket));
    }
    health.works();
    return std::shared_ptr<UeventSource>(new UeventSource(std::move(sockets), health, std::move(take)));
}

void UeventSource::appendTo(std::vector<pollfd>& waited) const {
    for (const NetlinkSocket& socket : sockets_) waited.push_back({socket.descriptor(), POLLIN, 0});
}

std::optional<EventSource::Clock::time_point> UeventSource::due() const {
    std::optional<Clock::time_point> first = due_;
    for (const auto& [name, when] : disks_)
        if (!first || when < *first) first = when;
    return first;
}

void UeventSource::settle(Clock::time_point now) {
    if (!due_) due_ = now + Settle;
}

void UeventSource::lookAtEverything(Clock::time_point now) {
    hints_.everything = true;
    disks_.clear();
    settle(now);
}

void UeventSource::turn(const pollfd* answered, Clock::time_point now) {
    for (std::size_t index = 0; index < sockets_.size(); ++index)
        if (answered[index].revents != 0) receive(sockets_[index], now);
    DeviceHints hints;
    if (due_ && *due_ <= now) {
        due_.reset();
        hints = std::exchange(hints_, {});
    }
    for (auto one = disks_.begin(); one != disks_.end();) {
        if (one->second > now) {
            ++one;
            continue;
        }
        hints.disks.push_back(one->first);
        one = disks_.erase(one);
    }
    if (hints.everything || hints.powerSources || hints.inputDevices || hints.services || !hints.disks.empty())
        take_(hints);
}

void UeventSource::receive(NetlinkSocket& socket, Clock::time_point now) {
    for (int count = 0; count < MessagesPerTurn; ++count) {
        std::string_view datagram;
        switch (socket.receive(datagram)) {
            case NetlinkSocket::Outcome::Empty: return;
            case NetlinkSocket::Outcome::Ignored: continue;
            case NetlinkSocket::Outcome::Overflow:
                ++overflows_;
                health_.note("events were lost " + std::to_string(overflows_) + " times, and all devices looked at");
                lookAtEverything(now);
                continue;
            case NetlinkSocket::Outcome::Message: hear(datagram, now); break;
        }
    }
}

void UeventSource::hear(std::string_view datagram, Clock::time_point now) {
    ++heard_;
    const auto event = parse::parseUevent(datagram);
    if (!event) {
        (void)health_.failed(event.failure());
        return;
    }
    if (event->subsystem == "block") {
        if (hints_.everything) return;
        if (disks_.size() >= MostDisks) return lookAtEverything(now);
        const bool waitsForManager = sockets_.size() > 1 && !event->isManaged;
        const auto when = now + (waitsForManager ? ManagerPatience : Settle);
        const auto [known, isNew] = disks_.try_emplace(std::string(event->name()), when);
        if (!isNew) known->second = std::min(known->second, when);
    }
    // Only the manager's word on disks is waited for: what it repeats of others was heard.
    if (event->isManaged) return;
    if (event->subsystem == "power_supply") hints_.powerSources = true;
    if (isDevicesOwnNews(event->action)) {
        hints_.services = true;
        if (event->subsystem == "hid") hints_.inputDevices = true;
    }
    if (hints_.powerSources || hints_.services) settle(now);
}

}  // namespace hvk
