// BusSource.h - what the system bus tells: that the system is about to sleep, and that a Bluetooth device connects.
//
// The login manager lets whoever holds a delay lock finish before the system sleeps; the lock is taken when sleep is
// watched, given back when the change is allowed, and taken again after waking. A bus that goes away is looked for
// again every half minute; the Bluetooth daemon may come and go as it likes.
#pragma once

#include <sdbus-c++/sdbus-c++.h>

#include <cstdint>
#include <functional>
#include <memory>
#include <optional>

#include "HVKPlatform/linux/events/EventThread.h"
#include "HVKPlatform/support/Diagnostics.h"

namespace hvk {

/// The source. Thread: that of the events, but for `open`.
class BusSource : public EventSource {
public:
    struct Takes {
        std::function<void(bool sleeps)> sleep;  ///< about to sleep, or awake again; empty when nobody watches
        std::function<void()> connected;         ///< a Bluetooth device has connected
    };

    /// What became of the bus, of the login manager's lock.
    struct Healths {
        SourceHealth& bus;
        SourceHealth& lock;
    };

    /// Connects to the system bus. Absent when there is none, Denied when it refuses; it is tried again, also then.
    static std::pair<std::shared_ptr<BusSource>, Status> open(Healths healths, Takes takes);

    void appendTo(std::vector<pollfd>& waited) const override;
    void turn(const pollfd* answered, Clock::time_point now) override;
    std::optional<Clock::time_point> due() const override;

    /// Has the system wait for `letSleep` before it sleeps.
    void holdSleep();

    /// Lets it sleep.
    void letSleep() { lock_.reset(); }

    /// Whether it waits.
    bool holdsSleep() const { return lock_.has_value(); }

private:
    BusSource(Healths healths, Takes takes) : healths_(healths), takes_(std::move(takes)) {}

    Status connect();
    void disconnect(const sdbus::Error& error, Clock::time_point now);
    void hearSleep(sdbus::Message& message);
    void hearProperties(sdbus::Message& message);

    Healths healths_;
    Takes takes_;
    bool holds_ = false;  ///< sleep is to be held, whenever there is a bus
    std::unique_ptr<sdbus::IConnection> connection_;
    std::optional<sdbus::UnixFd> lock_;
    std::optional<Clock::time_point> retry_;
};

}  // namespace hvk
