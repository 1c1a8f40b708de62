// HardwareEvents.h - what a system tells of its own accord when the hardware changes: services, disks, configuration,
// power, Bluetooth; and the addresses of its interfaces, which are only told when asked for.
//
// A watch lasts for the machine's life. Its block is called on the machine's main queue, one event at a time, in order;
// an event that comes before the first run of the main queue waits. Nothing is filtered here: what an event is worth is
// the notifier's business. A system that loses events (a full socket) says so by one event for all that may have
// changed, never by silence.
#pragma once

#include <cstdint>
#include <functional>
#include <string>
#include <vector>

#include "HVKBase/Export.h"
#include "HVKPlatform/Result.h"
#include "HVKPlatform/Value.h"
#include "HVKPlatform/ports/Registry.h"

namespace hvk {

/// What became of a registry service.
enum class ServiceEvent {
    Publish,    ///< it is there: "IOServicePublish"
    Matched,    ///< it is there and its drivers have been found: "IOServiceMatched"
    Terminate,  ///< it goes away: "IOServiceTerminate"
};

/// What became of a disk.
enum class DiskEvent {
    Appeared,
    DescriptionChanged,
    Disappeared,
    MountApproval,    ///< somebody asks to mount it; nobody here objects
    UnmountApproval,  ///< the same for unmounting
};

/// The messages of the system power service that matter.
inline constexpr std::uint32_t PowerMessageCanSystemSleep = 0xE0000270;
inline constexpr std::uint32_t PowerMessageSystemWillSleep = 0xE0000280;

/// What became of an input device, or of a Bluetooth device.
enum class DeviceEvent {
    Matched,    ///< an input device came
    Removed,    ///< an input device went
    Connected,  ///< a Bluetooth device connected
};

/// One address of one interface, or the interface itself.
struct InterfaceAddress {
    enum class Family : std::uint8_t { Link, IPv4, IPv6, Other };

    std::string name;         ///< "utun0", "eth0"; may be empty
    std::string address;      ///< as text, IPv6 without a scope; empty for Link and Other
    std::string destination;  ///< the peer's address of a point-to-point link; empty when there is none
    Family family = Family::Other;
    bool up = false;
    bool pointToPoint = false;

    bool operator==(const InterfaceAddress&) const = default;
};

/// Hardware events. Thread: the main thread.
class HVK_EXPORT HardwareEventsPort {
public:
    virtual ~HardwareEventsPort() = default;

    /// Watches services that match. Gives an iterator over those that are there now (owned by the caller); the watch is
    /// armed once an iterator over them has been walked to its end, and again after each event by walking the iterator
    /// that the block was given, which stays the same. IOServiceAddMatchingNotification; kernel uevents.
    virtual Result<RegistryHandle> watchServices(ServiceEvent event, const RegistryMatch& match,
                                                 std::function<void(RegistryHandle iterator)> block) = 0;

    /// Watches all disks, those that are there at first included (each "appears"). The description has the keys of
    /// DiskArbitration: "DAVolumePath" (text), "DAVolumeMountable", "DAVolumeName", "DADeviceModel", "DAVolumeNetwork",
    /// "DAMediaBSDName" and others as far as they are known. DiskArbitration; the mount table and block uevents.
    virtual Status watchDisks(std::function<void(DiskEvent event, const Value& description)> block) = 0;

    /// Watches configuration keys and patterns (regular expressions); the block gets the keys that changed together.
    /// SCDynamicStoreSetNotificationKeys; rtnetlink and the network manager.
    virtual Status watchConfiguration(const std::string& name, const std::vector<std::string>& keys,
                                      const std::vector<std::string>& patterns,
                                      std::function<void(const std::vector<std::string>& keys)> block) = 0;

    /// Watches the power sources. IOPSNotificationCreateRunLoopSource; power_supply uevents.
    virtual Status watchPowerSources(std::function<void()> block) = 0;

    /// Watches sleep and waking. `argument` names the change for `allowPowerChange`. IORegisterForSystemPower; logind.
    virtual Status watchSystemPower(std::function<void(std::uint32_t message, std::int64_t argument)> block) = 0;

    /// Lets a power change go on. IOAllowPowerChange.
    virtual void allowPowerChange(std::int64_t argument) = 0;

    /// Watches input devices of these transports ("Bluetooth", "USB"), and Bluetooth devices that connect. IOHIDManager
    /// and IOBluetooth; input uevents and the Bluetooth daemon.
    virtual Status watchBluetooth(const std::vector<std::string>& transports,
                                  std::function<void(DeviceEvent event)> block) = 0;

    /// All addresses in the system's order, an interface's link before its addresses. getifaddrs.
    virtual Result<std::vector<InterfaceAddress>> interfaceAddresses() = 0;
};

/// Answers Unsupported to everything: the base of a new adapter.
class HVK_EXPORT UnsupportedHardwareEventsPort : public HardwareEventsPort {
public:
    Result<RegistryHandle> watchServices(ServiceEvent, const RegistryMatch&,
                                         std::function<void(RegistryHandle)>) override {
        return unsupported("service events");
    }
    Status watchDisks(std::function<void(DiskEvent, const Value&)>) override { return unsupported("disk events"); }
    Status watchConfiguration(const std::string&, const std::vector<std::string>&, const std::vector<std::string>&,
                              std::function<void(const std::vector<std::string>&)>) override {
        return unsupported("configuration events");
    }
    Status watchPowerSources(std::function<void()>) override { return unsupported("power source events"); }
    Status watchSystemPower(std::function<void(std::uint32_t, std::int64_t)>) override {
        return unsupported("system power events");
    }
    void allowPowerChange(std::int64_t) override {}
    Status watchBluetooth(const std::vector<std::string>&, std::function<void(DeviceEvent)>) override {
        return unsupported("Bluetooth events");
    }
    Result<std::vector<InterfaceAddress>> interfaceAddresses() override { return unsupported("interface addresses"); }
};

/// Hands every question on; a test overrides the one it bends.
class HVK_EXPORT ForwardingHardwareEventsPort : public HardwareEventsPort {
public:
    explicit ForwardingHardwareEventsPort(HardwareEventsPort& target) : target_(target) {}
    Result<RegistryHandle> watchServices(ServiceEvent event, const RegistryMatch& match,
                                         std::function<void(RegistryHandle)> block) override {
        return target_.watchServices(event, match, std::move(block));
    }
    Status watchDisks(std::function<void(DiskEvent, const Value&)> block) override {
        return target_.watchDisks(std::move(block));
    }
    Status watchConfiguration(const std::string& name, const std::vector<std::string>& keys,
                              const std::vector<std::string>& patterns,
                              std::function<void(const std::vector<std::string>&)> block) override {
        return target_.watchConfiguration(name, keys, patterns, std::move(block));
    }
    Status watchPowerSources(std::function<void()> block) override {
        return target_.watchPowerSources(std::move(block));
    }
    Status watchSystemPower(std::function<void(std::uint32_t, std::int64_t)> block) override {
        return target_.watchSystemPower(std::move(block));
    }
    void allowPowerChange(std::int64_t argument) override { target_.allowPowerChange(argument); }
    Status watchBluetooth(const std::vector<std::string>& transports, std::function<void(DeviceEvent)> block) override {
        return target_.watchBluetooth(transports, std::move(block));
    }
    Result<std::vector<InterfaceAddress>> interfaceAddresses() override { return target_.interfaceAddresses(); }

protected:
    HardwareEventsPort& target_;
};

}  // namespace hvk
