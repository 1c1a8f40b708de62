// NetlinkSocket.h - a socket that the kernel, or the device manager, tells events by.
//
// A datagram that finds no room is lost, and the next receive says so once: whoever reads must then look for himself.
#pragma once

#include <cstddef>
#include <cstdint>
#include <string_view>
#include <vector>

#include "HVKPlatform/Result.h"
#include "HVKPlatform/linux/Descriptor.h"

namespace hvk {

/// The socket. Thread: one at a time.
class NetlinkSocket {
public:
    /// What one receive brought.
    enum class Outcome {
        Message,   ///< a datagram of the kernel or of root
        Ignored,   ///< one of somebody else, or one that did not fit
        Overflow,  ///< some were lost before those that are still there
        Empty,     ///< nothing is there now
    };

    /// Opens a socket that hears `groups` (a bit each; 0 for one that only answers). `bufferBytes` is what the kernel
    /// may keep for it: as much as it allows without privilege, all of it with. Does not wait.
    static Result<NetlinkSocket> open(int protocol, std::uint32_t groups, std::size_t bufferBytes);

    int descriptor() const { return socket_.get(); }

    /// Takes the next datagram; its text is valid until the next one. Never waits.
    Outcome receive(std::string_view& datagram);

    /// Waits up to so long for a datagram to be there.
    bool wait(int milliseconds) const;

    /// Sends a request to the kernel.
    Status send(std::string_view request) const;

private:
    explicit NetlinkSocket(Descriptor socket);

    Descriptor socket_;
    std::vector<char> buffer_;
};

}  // namespace hvk
