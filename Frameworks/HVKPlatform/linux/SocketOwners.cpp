#include "HVKPlatform/linux/SocketOwners.h"

#include <dirent.h>
#include <fcntl.h>
#include <linux/inet_diag.h>
#include <linux/netlink.h>
#include <linux/sock_diag.h>
#include <netinet/in.h>
#include <sys/socket.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <cerrno>
#include <cstring>
#include <vector>

#include "HVKPlatform/linux/SystemCalls.h"
#include "HVKPlatform/linux/parse/Scan.h"
#include "HVKPlatform/linux/parse/SocketDiagnostics.h"

namespace hvk {

namespace {

using namespace std::chrono_literals;

/// Reading all sockets and descriptors takes at most this share of the time.
constexpr int RestPerWork = 10;
constexpr auto ShortestRest = 50ms;
/// A flow without a socket of its own is not looked for again so soon.
constexpr auto UnsureFor = 5s;
/// A flow that passes no more is forgotten.
constexpr auto ForgottenAfter = 60s;
constexpr std::size_t MostFlows = 200'000;

constexpr std::string_view SocketLink = "socket:[";

class Descriptor {
public:
    explicit Descriptor(int number) : number_(number) {}
    ~Descriptor() {
        if (number_ >= 0) ::close(number_);
    }
    Descriptor(const Descriptor&) = delete;
    Descriptor& operator=(const Descriptor&) = delete;
    int get() const { return number_; }

private:
    int number_;
};

bool ask(int socket, std::uint8_t family, std::uint8_t protocol) {
    struct {
        nlmsghdr header;
        inet_diag_req_v2 request;
    } message{};
    message.header.nlmsg_len = sizeof message;
    message.header.nlmsg_type = SOCK_DIAG_BY_FAMILY;
    message.header.nlmsg_flags = NLM_F_REQUEST | NLM_F_DUMP;
    message.request.sdiag_family = family;
    message.request.sdiag_protocol = protocol;
    message.request.idiag_states = ~std::uint32_t{0};
    countSystemCalls();
    return ::send(socket, &message, sizeof message, 0) == static_cast<ssize_t>(sizeof message);
}

bool isZero(const parse::FlowEnd& end) { return end == parse::FlowEnd{}; }

/// The end without its address: a socket that is bound to every address.
parse::Flow withoutRemote(const parse::Flow& flow, bool everyAddress) {
    parse::Flow bound{flow.protocol, flow.local, {}};
    if (everyAddress) bound.local.address = {};
    return bound;
}

bool isAny(const std::array<std::uint8_t, 16>& address) {
    // 0.0.0.0 stands in its mapped form.
    return std::all_of(address.begin(), address.begin() + 10, [](std::uint8_t byte) { return byte == 0; }) &&
           std::all_of(address.begin() + 12, address.end(), [](std::uint8_t byte) { return byte == 0; });
}

}  // namespace

SocketOwners::SocketOwners(const LinuxRoot& root, Diagnostics& diagnostics)
    : root_(root),
      sockets_(diagnostics.source("sock_diag", "the sockets of captured packets")),
      descriptors_(diagnostics.source("/proc/PID/fd", "the processes that hold the sockets",
                                      "grant the program: setcap cap_sys_ptrace,cap_dac_read_search+ep PROGRAM")) {}

/// The process that waits for packets at the local end, whoever sends them.
std::int32_t SocketOwners::holderOfBound(const parse::Flow& flow) const {
    for (const bool everyAddress : {false, true})
        if (const auto found = bound_.find(withoutRemote(flow, everyAddress)); found != bound_.end())
            return found->second;
    return 0;
}

std::int32_t SocketOwners::owner(const parse::Flow& flow) {
    const auto now = Clock::now();
    const auto found = flows_.find(flow);
    if (found != flows_.end() && (found->second.isSure || now - found->second.seen < UnsureFor)) {
        if (found->second.isSure) found->second.seen = now;
        return found->second.pid;
    }
    if (now >= nextRefresh_) {
        refresh(now);
        if (const auto exact = flows_.find(flow); exact != flows_.end() && exact->second.isSure)
            return exact->second.pid;
        // Nobody's, or of a socket that takes what comes: looked for again later.
        if (flows_.size() < MostFlows) flows_[flow] = {holderOfBound(flow), now, false};
    }
    return holderOfBound(flow);
}

void SocketOwners::refresh(Clock::time_point now) {
    std::unordered_map<std::uint64_t, std::int32_t> inodes;
    readProcesses(inodes);
    bound_.clear();
    readSockets(inodes);
    std::erase_if(flows_, [now](const auto& entry) { return now - entry.second.seen > ForgottenAfter; });
    const auto end = Clock::now();
    nextRefresh_ = end + std::max<Clock::duration>(ShortestRest, RestPerWork * (end - now));
}

void SocketOwners::readProcesses(std::unordered_map<std::uint64_t, std::int32_t>& inodes) {
    DIR* const table = ::opendir(root_.path("/proc").c_str());
    if (table == nullptr) {
        (void)descriptors_.failed(failureFromErrno(errno, "/proc"));
        return;
    }
    std::size_t refused = 0;
    std::array<char, 64> target{};
    while (const dirent* process = ::readdir(table)) {
        const auto pid = parse::toUnsigned(process->d_name);
        if (!pid) continue;
        const std::string path = std::string(process->d_name) + "/fd";
        countSystemCalls();
        const int directory = ::openat(::dirfd(table), path.c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC);
        if (directory < 0) {
            if (errno == EACCES || errno == EPERM) ++refused;
            continue;
        }
        DIR* const list = ::fdopendir(directory);
        if (list == nullptr) {
            ::close(directory);
            continue;
        }
        while (const dirent* descriptor = ::readdir(list)) {
            countSystemCalls();
            const ssize_t length = ::readlinkat(directory, descriptor->d_name, target.data(), target.size());
            if (length <= static_cast<ssize_t>(SocketLink.size())) continue;
            std::string_view text(target.data(), static_cast<std::size_t>(length));
            if (text.substr(0, SocketLink.size()) != SocketLink || text.back() != ']') continue;
            text.remove_prefix(SocketLink.size());
            text.remove_suffix(1);
            // Of several that hold it, the first is taken: the one that made it, as a rule.
            if (const auto inode = parse::toUnsigned(text)) inodes.emplace(*inode, static_cast<std::int32_t>(*pid));
        }
        ::closedir(list);
    }
    ::closedir(table);
    descriptors_.works();
    descriptors_.note(refused == 0 ? ""
                                   : std::to_string(refused) +
                                         " processes do not show their descriptors; their traffic "
                                         "has no owner");
}

bool SocketOwners::readSockets(std::unordered_map<std::uint64_t, std::int32_t>& inodes) {
    const Descriptor socket(::socket(AF_NETLINK, SOCK_RAW | SOCK_CLOEXEC, NETLINK_SOCK_DIAG));
    countSystemCalls();
    if (socket.get() < 0) {
        (void)sockets_.failed(failureFromErrno(errno, "sock_diag"));
        return false;
    }
    // The kernel answers at once; a limit all the same, so that nothing waits for ever.
    const timeval limit{1, 0};
    ::setsockopt(socket.get(), SOL_SOCKET, SO_RCVTIMEO, &limit, sizeof limit);
    const auto now = Clock::now();
    std::vector<std::uint8_t> datagram(std::size_t{1} << 16);
    for (const std::uint8_t family : {AF_INET, AF_INET6})
        for (const std::uint8_t protocol : {IPPROTO_TCP, IPPROTO_UDP}) {
            if (!ask(socket.get(), family, protocol)) {
                (void)sockets_.failed(failureFromErrno(errno, "sock_diag"));
                return false;
            }
            for (bool complete = false; !complete;) {
                countSystemCalls();
                const ssize_t size = ::recv(socket.get(), datagram.data(), datagram.size(), 0);
                if (size < 0 && errno == EINTR) continue;
                if (size < 0) {
                    (void)sockets_.failed(failureFromErrno(errno, "sock_diag"));
                    return false;
                }
                const auto parsed = parse::parseSockets(
                    {datagram.data(), static_cast<std::size_t>(size)}, protocol,
                    [&](const parse::SocketRecord& record) {
                        const auto holder = inodes.find(record.inode);
                        if (record.inode == 0 || holder == inodes.end()) return;
                        if (isZero(record.flow.remote) || record.flow.remote.port == 0)
                            bound_[withoutRemote(record.flow, isAny(record.flow.local.address))] = holder->second;
                        else if (flows_.size() < MostFlows)
                            flows_[record.flow] = {holder->second, now, true};
                    });
                if (!parsed) {
                    (void)sockets_.failed(parsed.failure());
                    return false;
                }
                complete = *parsed;
            }
        }
    sockets_.works();
    return true;
}

}  // namespace hvk
