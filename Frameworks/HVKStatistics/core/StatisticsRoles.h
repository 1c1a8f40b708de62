// StatisticsRoles.h - what the framework object asks of each module, and nothing else.
//
// The framework relays events and demo mode through these roles, so that a test or a host can put its own module in
// place of one of ours and see exactly which operations reach it, in which order. Each module class derives from its
// role; a property of HVKStatisticsFramework has the module's own class as soon as that class is part of the library.
// Thread: the main thread.
#pragma once

#include <cstdint>
#include <functional>
#include <string>
#include <vector>

#include "HVKBase/Export.h"
#include "HVKPlatform/Value.h"

namespace hvk {

/// Any module that demo mode reaches.
class HVK_EXPORT StatisticsModuleRole {
public:
    virtual ~StatisticsModuleRole() = default;

    /// Whether the module shows demonstration data instead of live readings.
    virtual void setDemo(bool demo) = 0;
};

/// A module that rebuilds its inventory on the update after it was marked.
class HVK_EXPORT StatisticsChangeableRole : public StatisticsModuleRole {
public:
    /// Marks the inventory as stale.
    virtual void setChanged(bool changed) = 0;
};

/// The sensors module.
class HVK_EXPORT StatisticsSensorsRole : public StatisticsModuleRole {
public:
    /// Takes over what the recipe of the machine's model says; null, without one, changes nothing.
    virtual void loadFromPlatform(const Value& recipe) = 0;
};

/// The graphics module.
class HVK_EXPORT StatisticsGPURole : public StatisticsChangeableRole {
public:
    /// As the sensors module's.
    virtual void loadFromPlatform(const Value& recipe) = 0;
};

/// The disks module: three inventories, three marks.
class HVK_EXPORT StatisticsDisksRole : public StatisticsChangeableRole {
public:
    /// Marks the network volumes as stale.
    virtual void setChangedNetwork(bool changed) = 0;
    /// Marks the removable volumes (disk images) as stale.
    virtual void setChangedRemovable(bool changed) = 0;
};

/// The network module.
class HVK_EXPORT StatisticsNetworkRole : public StatisticsModuleRole {
public:
    /// Reads the services again after the configuration keys in `keys` changed.
    virtual void updateConnections(const std::vector<std::string>& keys) = 0;
    /// Whether the last `updateConnections` found a difference.
    virtual bool changed() const = 0;
    /// Reads the state of the tunnels again.
    virtual void updateTunnelStatus() = 0;
};

/// The Bluetooth module. Demo mode does not reach it.
class HVK_EXPORT StatisticsBluetoothRole {
public:
    virtual ~StatisticsBluetoothRole() = default;
    /// Marks the devices as stale.
    virtual void setBluetoothChanged(bool changed) = 0;
    /// Takes over what the global recipe says; null, without one, changes nothing.
    virtual void loadFromGlobalPlatform(const Value& recipe) = 0;
    /// What the module calls when the permission to use Bluetooth changed.
    virtual void setOnBluetoothAuthorizationChanged(std::function<void()> block) = 0;
    /// What the module calls when a device disconnected.
    virtual void setOnDeviceDisconnected(std::function<void()> block) = 0;
};

/// The power-metrics runner. Demo mode does not reach it.
class HVK_EXPORT StatisticsPowerMetricsRole {
public:
    virtual ~StatisticsPowerMetricsRole() = default;
};

/// Who is told of hardware events. The notifier calls on the main queue; the network and battery modules call from
/// inside their own updates.
class HVK_EXPORT HVKStatisticsHardwareNotifierDelegate {
public:
    virtual ~HVKStatisticsHardwareNotifierDelegate() = default;

    /// What changed is in the name; the receiver reads the new state for itself.
    virtual void bluetoothChanged() = 0;
    virtual void bluetoothAuthorizationChanged() = 0;
    virtual void powerSourceChanged() = 0;
    virtual void disksChanged() = 0;
    virtual void networkDisksChanged() = 0;
    virtual void removableDisksChanged() = 0;
    /// `keys`: the configuration keys that changed.
    virtual void networkChanged(const std::vector<std::string>& keys) = 0;
    virtual void networkTunnelChanged() = 0;
    virtual void GPUChanged() = 0;
    virtual void SMARTChanged() = 0;
    virtual void networkLocationsChanged(const Value& locations) = 0;
    virtual void networkPrimaryServiceChanged(const Value& service) = 0;
    virtual void networkIPv4Changed() = 0;
    virtual void networkIPv6Changed() = 0;
    virtual void networkDNSChanged() = 0;
    virtual void networkRouterChanged() = 0;
    virtual void networkPublicAddressChanged() = 0;
    virtual void networkWifiNetworkChanged() = 0;
    virtual void networkInternetStatusChanged() = 0;
    virtual void networkStatusChanged(std::int64_t status) = 0;
    virtual void batterySourceChanged() = 0;
    virtual void batteryStateChanged() = 0;
};

/// The hardware change notifier: one start operation for each source of events.
class HVK_EXPORT StatisticsHardwareNotifierRole {
public:
    virtual ~StatisticsHardwareNotifierRole() = default;
    /// Not owned; null to forget it.
    virtual void setDelegate(HVKStatisticsHardwareNotifierDelegate* delegate) = 0;
    virtual void startNetworkTunnel() = 0;
    virtual void startPowerSources() = 0;
    virtual void startDisks() = 0;
    virtual void startNetwork() = 0;
    virtual void startSystemPowerEvents() = 0;
    virtual void startGPU() = 0;
    virtual void startSMART() = 0;
    /// Starts at most once, whoever asks.
    virtual void startBluetooth() = 0;
};

}  // namespace hvk
