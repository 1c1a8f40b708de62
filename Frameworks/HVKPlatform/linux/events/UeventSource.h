// UeventSource.h - hears the device events of the kernel, and those of the device manager when there is one.
//
// An event is taken as a hint where to look, never as the state: it is told which devices to look at, once for all
// events that come close together. The device manager repeats the kernel's event when its rules are done, with what
// they found; a block device is therefore looked at when the manager has spoken, or after a while without it, so that
// one event is not told twice. Lost events are a hint to look at everything.
#pragma once

#include <atomic>
#include <functional>
#include <map>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "HVKPlatform/linux/events/EventThread.h"
#include "HVKPlatform/linux/events/NetlinkSocket.h"
#include "HVKPlatform/support/Diagnostics.h"

namespace hvk {

/// What has to be looked at.
struct DeviceHints {
    bool everything = false;         ///< events were lost
    std::vector<std::string> disks;  ///< block devices by name: "sda1"
    bool powerSources = false;       ///< something about the power supplies
    bool inputDevices = false;       ///< an input device came or went
    bool services = false;           ///< some device came, went or found its driver
};

/// The source. Thread: that of the events, but for `open`.
class UeventSource : public EventSource {
public:
    using Take = std::function<void(const DeviceHints& hints)>;

    /// Opens the socket of the kernel, and with `managed` that of the device manager too. Fails when the system refuses
    /// it.
    static Result<std::shared_ptr<UeventSource>> open(bool managed, std::size_t bufferBytes, SourceHealth& health,
                                                      Take take);

    void appendTo(std::vector<pollfd>& waited) const override;
    void turn(const pollfd* answered, Clock::time_point now) override;
    std::optional<Clock::time_point> due() const override;

    /// Has everything looked at.
    void lookAtEverything(Clock::time_point now);

    /// Events were lost so many times; so many were heard. Thread: any.
    std::uint64_t overflows() const { return overflows_; }
    std::uint64_t heard() const { return heard_; }

private:
    UeventSource(std::vector<NetlinkSocket> sockets, SourceHealth& health, Take take);

    void receive(NetlinkSocket& socket, Clock::time_point now);
    void hear(std::string_view datagram, Clock::time_point now);
    void settle(Clock::time_point now);

    std::vector<NetlinkSocket> sockets_;  ///< the kernel's first
    SourceHealth& health_;
    Take take_;
    std::map<std::string, Clock::time_point> disks_;  ///< when each is looked at
    DeviceHints hints_;                               ///< all but the disks
    std::optional<Clock::time_point> due_;            ///< of the hints
    std::atomic<std::uint64_t> overflows_{0};
    std::atomic<std::uint64_t> heard_{0};
};

}  // namespace hvk
