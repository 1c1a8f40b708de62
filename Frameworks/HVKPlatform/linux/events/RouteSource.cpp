#include "HVKPlatform/linux/events/RouteSource.h"

#include <linux/netlink.h>
#include <linux/rtnetlink.h>
#include <sys/socket.h>

#include <cstring>
#include <string>
#include <utility>

#include "HVKPlatform/linux/LinuxRoot.h"

namespace hvk {

namespace {

using namespace std::chrono_literals;

constexpr const char* Source = "rtnetlink";
constexpr std::uint32_t Groups =
    RTMGRP_LINK | RTMGRP_IPV4_IFADDR | RTMGRP_IPV6_IFADDR | RTMGRP_IPV4_ROUTE | RTMGRP_IPV6_ROUTE;
/// One step, such as an interface that is made, comes as several messages.
constexpr auto Settle = 100ms;
/// A listing during which something changes is made again.
constexpr int Attempts = 5;
constexpr int ListingPatienceMilliseconds = 2000;
constexpr std::size_t ListingBuffer = 1 << 20;
/// So many messages at a turn, so that the other sources have theirs.
constexpr int MessagesPerTurn = 4096;

std::string request(std::uint16_t type, std::uint8_t family) {
    struct {
        nlmsghdr header;
        ifinfomsg body;  // the longest of those that ask; its first byte is the family in all
    } message{};
    message.header.nlmsg_len = sizeof message;
    message.header.nlmsg_type = type;
    message.header.nlmsg_flags = NLM_F_REQUEST | NLM_F_DUMP;
    message.header.nlmsg_seq = 1;
    message.body.ifi_family = family;
    std::string bytes(sizeof message, '\0');
    std::memcpy(bytes.data(), &message, sizeof message);
    return bytes;
}

/// Reads one listing into `state`. Whether it is whole; when it is not, it may be made again.
Result<bool> list(NetlinkSocket& socket, std::uint16_t type, std::uint8_t family, NetworkState& state) {
    if (auto sent = socket.send(request(type, family)); !sent) return sent.failure();
    ConfigurationKeys ignored;
    bool interrupted = false;
    for (;;) {
        std::string_view datagram;
        switch (socket.receive(datagram)) {
            case NetlinkSocket::Outcome::Overflow: return false;
            case NetlinkSocket::Outcome::Ignored: continue;
            case NetlinkSocket::Outcome::Empty:
                if (!socket.wait(ListingPatienceMilliseconds))
                    return Failure{FailureKind::TimedOut, Source, "the kernel does not answer"};
                continue;
            case NetlinkSocket::Outcome::Message: break;
        }
        const auto outcome = parse::parseRouteMessages(datagram, [&](const parse::RouteRecord& record) {
            state.apply(record, ignored);
            ignored.clear();
        });
        if (!outcome) return outcome.failure();
        if (outcome->error != 0) return failureFromErrno(outcome->error, Source);
        interrupted |= outcome->interrupted;
        if (outcome->done) return !interrupted;
    }
}

}  // namespace

RouteSource::RouteSource(NetlinkSocket socket, SourceHealth& health, Take take)
    : socket_(std::move(socket)), health_(health), take_(std::move(take)) {}

Result<std::shared_ptr<RouteSource>> RouteSource::open(std::size_t bufferBytes, SourceHealth& health, Take take) {
    auto socket = NetlinkSocket::open(NETLINK_ROUTE, Groups, bufferBytes);
    if (!socket) return health.failed(socket.failure());
    std::shared_ptr<RouteSource> source(new RouteSource(std::move(*socket), health, std::move(take)));
    // After the socket hears: what changes meanwhile is heard too.
    auto state = listing();
    if (!state) return health.failed(state.failure());
    source->state_ = std::move(*state);
    health.works();
    return source;
}

Result<NetworkState> RouteSource::listing() {
    Failure failure{FailureKind::Gone, Source, "the listing changes all the time"};
    for (int attempt = 0; attempt < Attempts; ++attempt) {
        // A socket of its own each time: no rest of an earlier answer.
        auto socket = NetlinkSocket::open(NETLINK_ROUTE, 0, ListingBuffer);
        if (!socket) return socket.failure();
        NetworkState state;
        bool whole = true;
        for (const auto& [type, family] : {std::pair<std::uint16_t, std::uint8_t>{RTM_GETLINK, AF_UNSPEC},
                                           {RTM_GETADDR, AF_UNSPEC},
                                           {RTM_GETROUTE, AF_INET},
                                           {RTM_GETROUTE, AF_INET6}}) {
            const auto listed = list(*socket, type, family, state);
            // A kernel without IPv6 has no routes of it.
            if (!listed && family != AF_INET6) return listed.failure();
            whole = whole && (!listed || *listed);
            if (!whole) break;
        }
        if (whole) return state;
    }
    return failure;
}

void RouteSource::appendTo(std::vector<pollfd>& waited) const { waited.push_back({socket_.descriptor(), POLLIN, 0}); }

void RouteSource::settle(Clock::time_point now) {
    if (!due_) due_ = now + Settle;
}

void RouteSource::turn(const pollfd* answered, Clock::time_point now) {
    if (answered->revents != 0) receive(now);
    if (!due_ || *due_ > now) return;
    due_.reset();
    if (std::exchange(overflowed_, false)) readAnew(now);
    if (changed_.empty()) return;
    take_(std::exchange(changed_, {}));
}

void RouteSource::receive(Clock::time_point now) {
    for (int count = 0; count < MessagesPerTurn; ++count) {
        std::string_view datagram;
        switch (socket_.receive(datagram)) {
            case NetlinkSocket::Outcome::Empty: return;
            case NetlinkSocket::Outcome::Ignored: continue;
            case NetlinkSocket::Outcome::Overflow:
                ++overflows_;
                overflowed_ = true;
                health_.note("messages were lost " + std::to_string(overflows_) + " times, and the state read anew");
                settle(now);
                continue;
            case NetlinkSocket::Outcome::Message: break;
        }
        const auto outcome = parse::parseRouteMessages(
            datagram, [&](const parse::RouteRecord& record) { state_.apply(record, changed_); });
        if (!outcome) {
            // What it said is not known: the kernel is asked.
            (void)health_.failed(outcome.failure());
            overflowed_ = true;
        }
        if (overflowed_ || !changed_.empty()) settle(now);
    }
}

void RouteSource::readAnew(Clock::time_point now) {
    auto state = listing();
    if (!state) {
        (void)health_.failed(state.failure());
        overflowed_ = true;
        settle(now);
        return;
    }
    health_.works();
    changed_.merge(NetworkState::difference(state_, *state));
    state_ = std::move(*state);
}

}  // namespace hvk
