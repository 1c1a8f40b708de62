// SocketDiagnostics.h - the kernel's answers to a question for its sockets (sock_diag over netlink).
#pragma once

#include <cstddef>
#include <cstdint>
#include <functional>
#include <optional>
#include <span>

#include "HVKPlatform/Result.h"
#include "HVKPlatform/linux/parse/CookedPacket.h"

namespace hvk::parse {

/// One socket.
struct SocketRecord {
    Flow flow;                ///< the remote end is all zero for one that only listens or is only bound
    std::uint64_t inode = 0;  ///< 0 for one that no process holds any more
};

/// Hands every socket of one datagram to `use`. True when the answer is complete with it, false when more follows.
/// `protocol` is that of the question. Malformed for bytes that are no answer, and for an error that the kernel sends.
Result<bool> parseSockets(std::span<const std::uint8_t> datagram, std::uint8_t protocol,
                          const std::function<void(const SocketRecord&)>& use);

}  // namespace hvk::parse
