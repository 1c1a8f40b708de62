// HardwareEvents.h - what a running Linux system tells of its own accord.
//
//   services, disks, power sources, input devices   the kernel's device events; the device manager's for disks
//   volumes                                         the mount table
//   configuration                                   rtnetlink
//   sleep, Bluetooth devices that connect           the system bus: logind and BlueZ
//
// A thread of its own waits for all of them; nothing runs before something is watched. News are states, not messages:
// what is told is the difference between what was told last and what is there now, so that a lost message or a main
// queue that is not run for a while costs no change that lasts, and no memory. A saved tree tells nothing.
#pragma once

#include <cstdint>
#include <memory>
#include <mutex>
#include <set>
#include <string>
#include <vector>

#include "HVKPlatform/linux/LinuxRoot.h"
#include "HVKPlatform/linux/Registry.h"
#include "HVKPlatform/linux/events/ConfigurationWatch.h"
#include "HVKPlatform/linux/events/Delivery.h"
#include "HVKPlatform/linux/events/DiskTable.h"
#include "HVKPlatform/linux/events/EventThread.h"
#include "HVKPlatform/linux/events/ServiceWatches.h"
#include "HVKPlatform/ports/HardwareEvents.h"
#include "HVKPlatform/ports/Queues.h"
#include "HVKPlatform/support/Diagnostics.h"

namespace hvk {

class BusSource;
class MountSource;
class RouteSource;
class UeventSource;
struct DeviceHints;

/// How much the kernel may keep for this program while it is busy, in bytes. Without privilege the system's own limit
/// (net.core.rmem_max) holds.
struct EventBuffers {
    std::size_t devices = 16 << 20;
    std::size_t network = 8 << 20;
};

/// The events. Thread: the main thread, as the port says.
class LinuxHardwareEventsPort : public HardwareEventsPort {
public:
    /// Waits for nothing yet. What it is given must outlive it; the queues need not be there before something is
    /// watched, and are not used after `stop`.
    LinuxHardwareEventsPort(const LinuxRoot& root, LinuxRegistryPort& registry, QueuesPort& queues,
                            Diagnostics& diagnostics, EventBuffers buffers = {});
    ~LinuxHardwareEventsPort() override;

    /// Ends all watches: nothing is put on the main queue any more.
    void stop();

    Result<RegistryHandle> watchServices(ServiceEvent event, const RegistryMatch& match,
                                         std::function<void(RegistryHandle)> block) override;
    /// Nobody is asked before a mount: there are no approvals.
    Status watchDisks(std::function<void(DiskEvent, const Value&)> block) override;
    Status watchConfiguration(const std::string& name, const std::vector<std::string>& keys,
                              const std::vector<std::string>& patterns,
                              std::function<void(const std::vector<std::string>&)> block) override;
    Status watchPowerSources(std::function<void()> block) override;
    Status watchSystemPower(std::function<void(std::uint32_t, std::int64_t)> block) override;
    /// The system sleeps when everybody who was told has allowed it.
    void allowPowerChange(std::int64_t argument) override;
    /// Those that are there at first are told too.
    Status watchBluetooth(const std::vector<std::string>& transports, std::function<void(DeviceEvent)> block) override;
    Result<std::vector<InterfaceAddress>> interfaceAddresses() override;

    /// How often the kernel had no room for an event of a device, or for one of the network; and how many events of
    /// devices were heard. 0 before something is watched. Thread: any.
    std::uint64_t deviceOverflows() const;
    std::uint64_t networkOverflows() const;
    std::uint64_t deviceEventsHeard() const;

private:
    using Names = std::set<std::string>;

    struct DiskWatch {
        std::function<void(DiskEvent, const Value&)> block;
        std::shared_ptr<const DiskStates> told;
    };
    struct InputWatch {
        std::vector<std::string> prefixes;  ///< of the names of the devices that count
        std::function<void(DeviceEvent)> block;
        std::shared_ptr<const Names> told;
    };

    Status needLive(const char* what);
    Status needUevents();
    Status needMounts();
    Status needBus();
    void needDisks();
    void needInputDevices();

    // On the thread of the events.
    void look(const DeviceHints& hints);
    void lookAtInputDevices();
    void publishDisks();
    void publish(const ConfigurationKeys& keys);

    // On the main queue.
    void tellDisks();
    void tellInputDevices();
    void tellConfiguration();
    void tellPowerSources();
    void tellSleep();
    void tellConnections();

    const LinuxRoot& root_;
    LinuxRegistryPort& registry_;
    const EventBuffers buffers_;
    SourceHealth& ueventHealth_;
    SourceHealth& mountHealth_;
    SourceHealth& routeHealth_;
    SourceHealth& busHealth_;
    SourceHealth& lockHealth_;
    SourceHealth& addressHealth_;

    // The main thread's.
    ServiceWatches services_;
    std::vector<std::shared_ptr<DiskWatch>> diskWatches_;
    std::vector<std::shared_ptr<InputWatch>> inputWatches_;
    std::vector<std::function<void()>> powerSourceWatches_;
    std::vector<std::function<void(std::uint32_t, std::int64_t)>> sleepWatches_;
    std::int64_t lastSleep_ = 0;
    std::size_t allowancesMissing_ = 0;  ///< of those who were told of the last sleep

    // The thread's.
    DiskTable disks_;
    bool disksNeeded_ = false;
    bool inputDevicesNeeded_ = false;
    std::shared_ptr<UeventSource> heardUevents_;

    // Between them.
    mutable std::mutex mutex_;
    std::shared_ptr<const DiskStates> diskStates_;
    std::shared_ptr<const Names> inputDevices_ = std::make_shared<const Names>();
    std::vector<std::shared_ptr<ConfigurationWatch>> configurationWatches_;
    std::vector<bool> sleeps_;  ///< what of sleep and waking is not told yet
    std::size_t connections_ = 0;

    Delivery serviceDelivery_;
    Delivery diskDelivery_;
    Delivery inputDelivery_;
    Delivery configurationDelivery_;
    Delivery powerSourceDelivery_;
    Delivery sleepDelivery_;
    Delivery connectionDelivery_;

    std::shared_ptr<UeventSource> uevents_;
    std::shared_ptr<MountSource> mounts_;
    std::shared_ptr<RouteSource> routes_;
    std::shared_ptr<BusSource> bus_;
    Status busStatus_;
    EventThread thread_;  ///< last, so that it ends first
};

}  // namespace hvk
