#include "HVKPlatform/linux/events/NetlinkSocket.h"

#include <linux/netlink.h>
#include <poll.h>
#include <sys/socket.h>

#include <cerrno>
#include <cstring>

#include "HVKPlatform/linux/LinuxRoot.h"

namespace hvk {

namespace {

constexpr const char* Source = "netlink";
/// More than the kernel puts into one listing datagram, and than the device manager sends.
constexpr std::size_t DatagramSize = 64 * 1024;

/// Whether the kernel sent it, or root did.
bool isTrusted(const sockaddr_nl& from, msghdr& message) {
    if (from.nl_pid == 0) return true;
    for (cmsghdr* part = CMSG_FIRSTHDR(&message); part != nullptr; part = CMSG_NXTHDR(&message, part)) {
        if (part->cmsg_level != SOL_SOCKET || part->cmsg_type != SCM_CREDENTIALS) continue;
        ucred sender{};
        std::memcpy(&sender, CMSG_DATA(part), sizeof sender);
        return sender.uid == 0;
    }
    return false;
}

}  // namespace

NetlinkSocket::NetlinkSocket(Descriptor socket) : socket_(std::move(socket)), buffer_(DatagramSize) {}

Result<NetlinkSocket> NetlinkSocket::open(int protocol, std::uint32_t groups, std::size_t bufferBytes) {
    Descriptor socket(::socket(AF_NETLINK, SOCK_RAW | SOCK_CLOEXEC | SOCK_NONBLOCK, protocol));
    if (!socket) return failureFromErrno(errno, Source);
    const int size = static_cast<int>(bufferBytes);
    if (::setsockopt(socket.get(), SOL_SOCKET, SO_RCVBUFFORCE, &size, sizeof size) != 0)
        ::setsockopt(socket.get(), SOL_SOCKET, SO_RCVBUF, &size, sizeof size);
    const int yes = 1;
    ::setsockopt(socket.get(), SOL_SOCKET, SO_PASSCRED, &yes, sizeof yes);
    sockaddr_nl address{};
    address.nl_family = AF_NETLINK;
    address.nl_groups = groups;
    if (::bind(socket.get(), reinterpret_cast<const sockaddr*>(&address), sizeof address) != 0)
        return failureFromErrno(errno, Source);
    return NetlinkSocket(std::move(socket));
}

NetlinkSocket::Outcome NetlinkSocket::receive(std::string_view& datagram) {
    for (;;) {
        sockaddr_nl from{};
        iovec part{buffer_.data(), buffer_.size()};
        alignas(cmsghdr) char control[CMSG_SPACE(sizeof(ucred))];
        msghdr message{};
        message.msg_name = &from;
        message.msg_namelen = sizeof from;
        message.msg_iov = &part;
        message.msg_iovlen = 1;
        message.msg_control = control;
        message.msg_controllen = sizeof control;
        const ssize_t count = ::recvmsg(socket_.get(), &message, MSG_DONTWAIT | MSG_CMSG_CLOEXEC);
        if (count < 0) {
            if (errno == EINTR) continue;
            return errno == ENOBUFS ? Outcome::Overflow : Outcome::Empty;
        }
        if ((message.msg_flags & MSG_TRUNC) != 0 || !isTrusted(from, message)) return Outcome::Ignored;
        datagram = {buffer_.data(), static_cast<std::size_t>(count)};
        return Outcome::Message;
    }
}

bool NetlinkSocket::wait(int milliseconds) const {
    pollfd one{socket_.get(), POLLIN, 0};
    return ::poll(&one, 1, milliseconds) > 0;
}

Status NetlinkSocket::send(std::string_view request) const {
    sockaddr_nl kernel{};
    kernel.nl_family = AF_NETLINK;
    const ssize_t count = ::sendto(socket_.get(), request.data(), request.size(), 0,
                                   reinterpret_cast<const sockaddr*>(&kernel), sizeof kernel);
    if (count == static_cast<ssize_t>(request.size())) return {};
    return failureFromErrno(errno, Source);
}

}  // namespace hvk
