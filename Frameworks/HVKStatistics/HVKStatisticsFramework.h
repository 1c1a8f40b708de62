// HVKStatisticsFramework.h - the object through which a host reaches the statistics engine.
//
// It owns one instance of every module, passes demo mode on, and turns each hardware event into a mark on the module
// concerned and a call of the host's block. It has no timer, thread or queue of its own and samples nothing: the host
// calls each module's `update` with the current time, at its own cadence.
//
//     auto& framework = HVKStatisticsFramework::shared();
//     framework.onDisksChanged = [] { redraw(); };
//     framework.startNotifications();
//     framework.CPU()->update(now);
#pragma once

#include <cstdint>
#include <functional>
#include <memory>
#include <string>
#include <vector>

#include "HVKBase/Export.h"
#include "HVKPlatform/Machine.h"
#include "HVKPlatform/Value.h"
#include "HVKStatistics/core/HVKStatisticsUptime.h"
#include "HVKStatistics/core/StatisticsRoles.h"
#include "HVKStatistics/graphics/HVKStatisticsGPU.h"
#include "HVKStatistics/network/HVKStatisticsPackets.h"
#include "HVKStatistics/processes/HVKStatisticsProcesses.h"
#include "HVKStatistics/processor/HVKStatisticsCPU.h"
#include "HVKStatistics/processor/HVKStatisticsLoad.h"
#include "HVKStatistics/processor/HVKStatisticsMemory.h"
#include "HVKStatistics/sensors/HVKStatisticsPlatform.h"
#include "HVKStatistics/sensors/HVKStatisticsSensors.h"

namespace hvk {

/// The framework object. Thread: the main thread; only `shared` may be called from any.
class HVK_EXPORT HVKStatisticsFramework : public HVKStatisticsHardwareNotifierDelegate {
public:
    /// Makes the modules, in the order of the properties' construction, and starts nothing. A module that is not part
    /// of this build has an empty property.
    explicit HVKStatisticsFramework(Machine& machine = Machine::current());
    ~HVKStatisticsFramework() override;
    HVKStatisticsFramework(const HVKStatisticsFramework&) = delete;
    HVKStatisticsFramework& operator=(const HVKStatisticsFramework&) = delete;

    /// The one instance of the process, made on first call; never destroyed.
    static HVKStatisticsFramework& shared();

    // The modules. The framework never replaces one; a host may.
    const std::shared_ptr<HVKStatisticsCPU>& CPU() const { return cpu_; }
    void setCPU(std::shared_ptr<HVKStatisticsCPU> module) { cpu_ = std::move(module); }
    const std::shared_ptr<HVKStatisticsMemory>& Memory() const { return memory_; }
    void setMemory(std::shared_ptr<HVKStatisticsMemory> module) { memory_ = std::move(module); }
    const std::shared_ptr<HVKStatisticsGPU>& GPU() const { return gpu_; }
    void setGPU(std::shared_ptr<HVKStatisticsGPU> module) { gpu_ = std::move(module); }
    const std::shared_ptr<StatisticsNetworkRole>& Network() const { return network_; }
    void setNetwork(std::shared_ptr<StatisticsNetworkRole> module) { network_ = std::move(module); }
    const std::shared_ptr<HVKStatisticsSensors>& Sensors() const { return sensors_; }
    void setSensors(std::shared_ptr<HVKStatisticsSensors> module) { sensors_ = std::move(module); }
    const std::shared_ptr<StatisticsDisksRole>& Disks() const { return disks_; }
    void setDisks(std::shared_ptr<StatisticsDisksRole> module) { disks_ = std::move(module); }
    const std::shared_ptr<StatisticsModuleRole>& Battery() const { return battery_; }
    void setBattery(std::shared_ptr<StatisticsModuleRole> module) { battery_ = std::move(module); }
    const std::shared_ptr<StatisticsBluetoothRole>& Bluetooth() const { return bluetooth_; }
    void setBluetooth(std::shared_ptr<StatisticsBluetoothRole> module) { bluetooth_ = std::move(module); }
    const std::shared_ptr<HVKStatisticsLoad>& Load() const { return load_; }
    void setLoad(std::shared_ptr<HVKStatisticsLoad> module) { load_ = std::move(module); }
    const std::shared_ptr<StatisticsHardwareNotifierRole>& HardwareNotifier() const { return hardwareNotifier_; }
    /// The new notifier's delegate becomes this object, the old one's becomes none.
    void setHardwareNotifier(std::shared_ptr<StatisticsHardwareNotifierRole> notifier);
    const std::shared_ptr<HVKStatisticsProcesses>& Processes() const { return processes_; }
    void setProcesses(std::shared_ptr<HVKStatisticsProcesses> module) { processes_ = std::move(module); }
    const std::shared_ptr<StatisticsChangeableRole>& SMART() const { return smart_; }
    void setSMART(std::shared_ptr<StatisticsChangeableRole> module) { smart_ = std::move(module); }
    const std::shared_ptr<HVKStatisticsUptime>& Uptime() const { return uptime_; }
    void setUptime(std::shared_ptr<HVKStatisticsUptime> module) { uptime_ = std::move(module); }
    const std::shared_ptr<HVKStatisticsPackets>& Packets() const { return packets_; }
    void setPackets(std::shared_ptr<HVKStatisticsPackets> module) { packets_ = std::move(module); }
    const std::shared_ptr<StatisticsPowerMetricsRole>& PowerMetrics() const { return powerMetrics_; }
    void setPowerMetrics(std::shared_ptr<StatisticsPowerMetricsRole> module) { powerMetrics_ = std::move(module); }

    /// Whether the modules were told to show demonstration data; false at first.
    bool demo() const { return demo_; }

    /// Stores the flag and passes it to every module but Bluetooth and PowerMetrics.
    void setDemo(bool demo);

    /// Starts the notifier's sources. On an interface level of 14.0 or later Bluetooth is started only when the
    /// permission is there; otherwise when the Bluetooth module reports that it was given. Call it on the main thread.
    void startNotifications();

    /// The recipes of the machine: for `shared` it is `HVKStatisticsPlatform::shared`, otherwise one of its own. A host
    /// names the server of newer recipes there.
    HVKStatisticsPlatform& Platform() { return *platform_; }

    /// Hands the recipe of the machine's model that is in force to the Sensors and the GPU module; a null one when
    /// there is none. The first time it is read from the files before.
    void loadPlatform();

    /// Hands the global recipe to the Bluetooth module, alike.
    void loadGlobalPlatform();

    /// Asks the server for a newer recipe; the completion, which may be empty, is told on the main queue whether there
    /// was one. It takes effect with the next `loadPlatform`, or `loadGlobalPlatform`.
    void updatePlatform(std::function<void(bool updated)> completion);
    void updateGlobalPlatform(std::function<void(bool updated)> completion);

    /// Whether there is a recipe for the machine's model. The first time it is read from the files before.
    bool isPlatformSupported();

    // The host's blocks, each called on the main queue when it is set.
    std::function<void()> onGPUChanged;
    std::function<void()> onDisksChanged;
    std::function<void()> onNetworkDisksChanged;
    std::function<void()> onNetworkChanged;
    std::function<void()> onBluetoothChanged;
    std::function<void()> onBluetoothAuthorizationChanged;
    std::function<void()> onNetworkTunnelChanged;
    std::function<void(const Value& service)> onNetworkPrimaryServiceChanged;
    std::function<void(std::int64_t status)> onNetworkStatusChanged;
    std::function<void()> onNetworkIPv4Changed;
    std::function<void()> onNetworkIPv6Changed;
    std::function<void()> onNetworkDNSChanged;
    std::function<void()> onNetworkRouterChanged;
    std::function<void()> onNetworkWifiChanged;
    std::function<void(const Value& locations)> onNetworkLocationsChanged;
    std::function<void()> onBatterySourceChanged;
    std::function<void()> onBatteryStateChanged;
    std::function<void()> onSMARTChanged;

    // Hardware events, called by the notifier and by the modules.
    void bluetoothChanged() override;
    void bluetoothAuthorizationChanged() override;
    void powerSourceChanged() override;
    void disksChanged() override;
    void networkDisksChanged() override;
    void removableDisksChanged() override;
    /// Reads the connections at once and again 1 second later: configuration settles shortly after the first event.
    void networkChanged(const std::vector<std::string>& keys) override;
    void networkTunnelChanged() override;
    void GPUChanged() override;
    void SMARTChanged() override;
    void networkLocationsChanged(const Value& locations) override;
    void networkPrimaryServiceChanged(const Value& service) override;
    void networkIPv4Changed() override;
    void networkIPv6Changed() override;
    void networkDNSChanged() override;
    void networkRouterChanged() override;
    void networkPublicAddressChanged() override;
    void networkWifiNetworkChanged() override;
    void networkInternetStatusChanged() override;
    void networkStatusChanged(std::int64_t status) override;
    void batterySourceChanged() override;
    void batteryStateChanged() override;

private:
    HVKStatisticsFramework(Machine& machine, std::shared_ptr<HVKStatisticsPlatform> platform);

    /// The recipe in force; what the files hold when there is none yet.
    const Value& platformRecipe();

    bool isBluetoothAllowed() const;
    void updateConnections(const std::vector<std::string>& keys);

    Machine& machine_;
    std::shared_ptr<HVKStatisticsPlatform> platform_;
    bool demo_ = false;
    std::shared_ptr<HVKStatisticsCPU> cpu_;
    std::shared_ptr<HVKStatisticsMemory> memory_;
    std::shared_ptr<HVKStatisticsGPU> gpu_;
    std::shared_ptr<StatisticsNetworkRole> network_;
    std::shared_ptr<StatisticsDisksRole> disks_;
    std::shared_ptr<StatisticsModuleRole> battery_;
    std::shared_ptr<StatisticsBluetoothRole> bluetooth_;
    std::shared_ptr<HVKStatisticsLoad> load_;
    std::shared_ptr<HVKStatisticsSensors> sensors_;
    std::shared_ptr<StatisticsChangeableRole> smart_;
    std::shared_ptr<HVKStatisticsUptime> uptime_;
    std::shared_ptr<HVKStatisticsPackets> packets_;
    std::shared_ptr<StatisticsPowerMetricsRole> powerMetrics_;
    std::shared_ptr<HVKStatisticsProcesses> processes_;
    std::shared_ptr<StatisticsHardwareNotifierRole> hardwareNotifier_;

    /// Work that waits on the main queue holds it weakly, and does nothing once the framework is gone.
    std::shared_ptr<const bool> alive_ = std::make_shared<const bool>(true);
};

}  // namespace hvk
