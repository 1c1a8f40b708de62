// RouteSource.h - follows the interfaces, addresses and default routes by the kernel's messages.
//
// Messages that come close together are one change. When the socket overflows, the state is read anew as the kernel
// lists it and what differs is told: nothing is lost, whatever the storm.
#pragma once

#include <atomic>
#include <functional>
#include <optional>

#include "HVKPlatform/linux/events/EventThread.h"
#include "HVKPlatform/linux/events/NetlinkSocket.h"
#include "HVKPlatform/linux/events/NetworkState.h"
#include "HVKPlatform/support/Diagnostics.h"

namespace hvk {

/// The source. Thread: that of the events, but for `open`.
class RouteSource : public EventSource {
public:
    /// Is told the keys that changed together.
    using Take = std::function<void(const ConfigurationKeys& keys)>;

    /// Opens the socket and reads the state as it is. Fails when the system refuses either.
    static Result<std::shared_ptr<RouteSource>> open(std::size_t bufferBytes, SourceHealth& health, Take take);

    void appendTo(std::vector<pollfd>& waited) const override;
    void turn(const pollfd* answered, Clock::time_point now) override;
    std::optional<Clock::time_point> due() const override { return due_; }

    /// What is known.
    const NetworkState& state() const { return state_; }

    /// The state as the kernel lists it now. Thread: any.
    static Result<NetworkState> listing();

    /// Datagrams were lost so many times. Thread: any.
    std::uint64_t overflows() const { return overflows_; }

private:
    RouteSource(NetlinkSocket socket, SourceHealth& health, Take take);

    void receive(Clock::time_point now);
    void readAnew(Clock::time_point now);
    void settle(Clock::time_point now);

    NetlinkSocket socket_;
    SourceHealth& health_;
    Take take_;
    NetworkState state_;
    ConfigurationKeys changed_;
    bool overflowed_ = false;
    std::optional<Clock::time_point> due_;
    std::atomic<std::uint64_t> overflows_{0};
};

}  // namespace hvk
