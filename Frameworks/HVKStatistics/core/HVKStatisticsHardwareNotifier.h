// HVKStatisticsHardwareNotifier.h - turns the system's notifications into a small set of calls of its delegate.
//
// It owns which notifications count: volumes of backups, EFI partitions, link-local radio interfaces and DHCP chatter
// are noise, and so is what disks and Bluetooth report in the first 5 seconds of watching, when everything that is
// there announces itself. It touches no module; its delegate does.
//
//     HVKStatisticsHardwareNotifier notifier(machine);
//     notifier.setDelegate(&framework);
//     notifier.startDisks();
#pragma once

#include <cstdint>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "HVKBase/Export.h"
#include "HVKPlatform/Machine.h"
#include "HVKStatistics/core/StatisticsRoles.h"

namespace hvk {

/// One address of a point-to-point link.
struct NetworkTunnelLink {
    std::string bsd;          ///< the interface: "utun3"
    std::string source;       ///< the local address as text
    std::string destination;  ///< the peer's

    bool operator==(const NetworkTunnelLink&) const = default;
};

/// The notifier. Every source is idle until it is started and is never stopped: the watches end with the machine, and
/// an event that comes after this object is gone does nothing. A source that the machine cannot watch stays idle, and
/// the reason is in the diagnostics. Thread: the main thread. The delegate is called on the main queue, later than the
/// event; only `networkTunnelChanged` comes at once, out of the timer.
class HVK_EXPORT HVKStatisticsHardwareNotifier : public StatisticsHardwareNotifierRole {
public:
    explicit HVKStatisticsHardwareNotifier(Machine& machine = Machine::current());
    ~HVKStatisticsHardwareNotifier() override;
    HVKStatisticsHardwareNotifier(const HVKStatisticsHardwareNotifier&) = delete;
    HVKStatisticsHardwareNotifier& operator=(const HVKStatisticsHardwareNotifier&) = delete;

    /// The process-wide instance, over the current machine; made on first call, never destroyed. The framework object
    /// has one of its own.
    static HVKStatisticsHardwareNotifier& HardwareNotifier();

    /// Who is told; null at first.
    HVKStatisticsHardwareNotifierDelegate* delegate() const;
    void setDelegate(HVKStatisticsHardwareNotifierDelegate* delegate) override;

    /// Accelerators. Both their coming and their going are asked for, and only the going is armed: a GPU that leaves is
    /// reported, one that comes is not.
    void startGPU() override;

    /// SMART media. Neither notification is armed; the SMART module finds changes by its own look.
    void startSMART() override;

    /// Input devices over Bluetooth and USB, and Bluetooth devices that connect. Starts at most once.
    void startBluetooth() override;

    /// Sleep: every request is granted, and nobody is told.
    void startSystemPowerEvents() override;

    /// Disks and volumes; silent for the first 5 seconds.
    void startDisks() override;

    /// The network's configuration.
    void startNetwork() override;

    /// The tunnels, at once and then every 10 seconds.
    void startNetworkTunnel() override;

    /// The power sources.
    void startPowerSources() override;

    // Events. The system's notifications call these; a host may, too.
    void GPUChanged();
    void SMARTChanged();
    /// Nothing comes of it before `bluetoothStart` is over.
    void bluetoothChanged();
    void powerSourceChanged();
    /// Tells of a network volume, of a disk image or of a disk by the disk's description; nothing comes of it before
    /// `disksStart` is over.
    void disksChanged(const Value& description);
    void networkChanged(const std::vector<std::string>& keys);
    void networkTunnelChanged();
    /// Grants a request to sleep; other messages are ignored.
    void powerEvent(std::uint32_t message, std::int64_t argument);
    /// A Bluetooth device has connected.
    void notification();
    /// Reads the tunnels, and tells of a difference to the last set, in which order counts. The first set always is
    /// one.
    void checkNetworkTunnels();

    /// Which keys of a batch of configuration changes count: none when the batch is the system's own chatter.
    static std::vector<std::string> relevantConfigurationKeys(const std::vector<std::string>& keys);

    /// The point-to-point links of interfaces that are up, in the system's order; none when the addresses cannot be
    /// read.
    std::vector<NetworkTunnelLink> networkTunnelLinks();

    /// The last set seen; nothing before the first check.
    const std::optional<std::vector<NetworkTunnelLink>>& networkTunnels() const;

    /// The end of the silence after the start, seconds since 1970; 0 before it is started.
    double disksStart() const;
    double bluetoothStart() const;

private:
    class Core;

    std::shared_ptr<Core> core_;  ///< the watches' blocks and the queue hold it weakly
};

}  // namespace hvk
