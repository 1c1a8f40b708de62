// SocketOwners.h - which process holds the socket of a flow.
//
// The kernel tells all sockets with their inodes (sock_diag), and each process its descriptors (/proc/PID/fd). Both are
// read together when a flow is seen that is not known yet, but never more than a tenth of the time. A flow whose
// process ended before it was looked for has no owner.
#pragma once

#include <chrono>
#include <cstdint>
#include <string>
#include <unordered_map>

#include "HVKPlatform/linux/LinuxRoot.h"
#include "HVKPlatform/linux/parse/CookedPacket.h"
#include "HVKPlatform/support/Diagnostics.h"

namespace hvk {

/// The owners. Thread: one at a time.
class SocketOwners {
public:
    /// Reads nothing yet. Both must outlive this object.
    SocketOwners(const LinuxRoot& root, Diagnostics& diagnostics);

    /// The process that holds the local end of a flow; 0 when nobody does, or nobody knows.
    std::int32_t owner(const parse::Flow& flow);

private:
    using Clock = std::chrono::steady_clock;

    /// What is known of a flow.
    struct Known {
        std::int32_t pid = 0;
        Clock::time_point seen;
        bool isSure = false;  ///< it has a socket of its own
    };

    void refresh(Clock::time_point now);
    bool readSockets(std::unordered_map<std::uint64_t, std::int32_t>& inodes);
    void readProcesses(std::unordered_map<std::uint64_t, std::int32_t>& inodes);
    std::int32_t holderOfBound(const parse::Flow& flow) const;

    const LinuxRoot& root_;
    SourceHealth& sockets_;
    SourceHealth& descriptors_;
    std::unordered_map<parse::Flow, Known, parse::FlowHash> flows_;
    std::unordered_map<parse::Flow, std::int32_t, parse::FlowHash> bound_;  ///< sockets without a remote end
    Clock::time_point nextRefresh_{};
};

}  // namespace hvk
