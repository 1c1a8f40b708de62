#include "HVKStatistics/HVKStatisticsFramework.h"

#include "HVKStatistics/core/HVKStatisticsHardwareNotifier.h"
#include "HVKStatistics/core/HVKStatisticsOSVersion.h"

namespace hvk {

namespace {

/// How long a changed network configuration is given to settle before it is read again.
constexpr double NetworkSettleSeconds = 1.0;

/// Calls a host's block when it is set.
template <class Block, class... Arguments>
void notify(const Block& block, const Arguments&... arguments) {
    if (block) block(arguments...);
}

}  // namespace

HVKStatisticsFramework::HVKStatisticsFramework(Machine& machine)
    : HVKStatisticsFramework(machine, std::make_shared<HVKStatisticsPlatform>(machine)) {}

HVKStatisticsFramework::HVKStatisticsFramework(Machine& machine, std::shared_ptr<HVKStatisticsPlatform> platform)
    : machine_(machine),
      platform_(std::move(platform)),
      cpu_(std::make_shared<HVKStatisticsCPU>(machine)),
      memory_(std::make_shared<HVKStatisticsMemory>(machine)),
      gpu_(std::make_shared<HVKStatisticsGPU>(machine)),
      load_(std::make_shared<HVKStatisticsLoad>(machine)),
      sensors_(std::make_shared<HVKStatisticsSensors>(machine)),
      uptime_(std::make_shared<HVKStatisticsUptime>(machine)),
      packets_(std::make_shared<HVKStatisticsPackets>(machine)),
      processes_(std::make_shared<HVKStatisticsProcesses>(machine)) {
    setHardwareNotifier(std::make_shared<HVKStatisticsHardwareNotifier>(machine));
}

HVKStatisticsFramework::~HVKStatisticsFramework() { setHardwareNotifier(nullptr); }

HVKStatisticsFramework& HVKStatisticsFramework::shared() {
    // The shared recipes are never destroyed: nobody owns them.
    static HVKStatisticsFramework& instance = *new HVKStatisticsFramework(
        Machine::current(), std::shared_ptr<HVKStatisticsPlatform>(&HVKStatisticsPlatform::shared(), [](auto*) {}));
    return instance;
}

void HVKStatisticsFramework::setHardwareNotifier(std::shared_ptr<StatisticsHardwareNotifierRole> notifier) {
    if (hardwareNotifier_) hardwareNotifier_->setDelegate(nullptr);
    hardwareNotifier_ = std::move(notifier);
    if (hardwareNotifier_) hardwareNotifier_->setDelegate(this);
}

void HVKStatisticsFramework::setDemo(bool demo) {
    demo_ = demo;
    const std::initializer_list<StatisticsModuleRole*> modules = {
        cpu_.get(),  memory_.get(),  gpu_.get(),   network_.get(), disks_.get(),   battery_.get(),
        load_.get(), sensors_.get(), smart_.get(), uptime_.get(),  packets_.get(), processes_.get(),
    };
    for (StatisticsModuleRole* module : modules)
        if (module != nullptr) module->setDemo(demo);
}

bool HVKStatisticsFramework::isBluetoothAllowed() const {
    // Before 14.0 the notifier may start without asking.
    if (!HVKStatisticsOSVersion(machine_).isAtLeast(14, 0)) return true;
    const auto authorization = machine_.bluetooth().authorization();
    return authorization && *authorization == BluetoothAuthorization::AllowedAlways;
}

void HVKStatisticsFramework::startNotifications() {
    if (hardwareNotifier_) {
        hardwareNotifier_->startNetworkTunnel();
        hardwareNotifier_->startPowerSources();
        hardwareNotifier_->startDisks();
        hardwareNotifier_->startNetwork();
        hardwareNotifier_->startSystemPowerEvents();
        hardwareNotifier_->startGPU();
        hardwareNotifier_->startSMART();
        if (isBluetoothAllowed()) hardwareNotifier_->startBluetooth();
    }
    if (bluetooth_) {
        bluetooth_->setOnBluetoothAuthorizationChanged([this, alive = std::weak_ptr(alive_)] {
            if (alive.expired()) return;
            notify(onBluetoothAuthorizationChanged);
            if (hardwareNotifier_) hardwareNotifier_->startBluetooth();
        });
        bluetooth_->setOnDeviceDisconnected([this, alive = std::weak_ptr(alive_)] {
            if (!alive.expired()) notify(onBluetoothChanged);
        });
    }
}

const Value& HVKStatisticsFramework::platformRecipe() {
    if (platform_->platform().is_null()) platform_->loadPlatform();
    return platform_->platform();
}

void HVKStatisticsFramework::loadPlatform() {
    if (sensors_) sensors_->loadFromPlatform(platformRecipe());
    if (gpu_) gpu_->loadFromPlatform(platformRecipe());
}

void HVKStatisticsFramework::loadGlobalPlatform() {
    if (platform_->globalplatform().is_null()) platform_->loadGlobalPlatform();
    if (bluetooth_) bluetooth_->loadFromGlobalPlatform(platform_->globalplatform());
}

void HVKStatisticsFramework::updatePlatform(std::function<void(bool updated)> completion) {
    platform_->updatePlatform(std::move(completion));
}

void HVKStatisticsFramework::updateGlobalPlatform(std::function<void(bool updated)> completion) {
    platform_->updateGlobalPlatform(std::move(completion));
}

bool HVKStatisticsFramework::isPlatformSupported() { return !platformRecipe().is_null(); }

void HVKStatisticsFramework::bluetoothChanged() {
    if (bluetooth_) bluetooth_->setBluetoothChanged(true);
    notify(onBluetoothChanged);
}

void HVKStatisticsFramework::bluetoothAuthorizationChanged() { notify(onBluetoothAuthorizationChanged); }

void HVKStatisticsFramework::powerSourceChanged() {
    // The battery module finds a changed source in its own update.
}

void HVKStatisticsFramework::disksChanged() {
    if (disks_) disks_->setChanged(true);
    notify(onDisksChanged);
}

void HVKStatisticsFramework::networkDisksChanged() {
    if (disks_) disks_->setChangedNetwork(true);
    notify(onNetworkDisksChanged);
}

void HVKStatisticsFramework::removableDisksChanged() {
    if (disks_) disks_->setChangedRemovable(true);
}

void HVKStatisticsFramework::updateConnections(const std::vector<std::string>& keys) {
    if (!network_) return;
    network_->updateConnections(keys);
    if (network_->changed()) notify(onNetworkChanged);
}

void HVKStatisticsFramework::networkChanged(const std::vector<std::string>& keys) {
    updateConnections(keys);
    machine_.queues().main().asyncAfter(NetworkSettleSeconds, [this, keys, alive = std::weak_ptr(alive_)] {
        if (!alive.expired()) updateConnections(keys);
    });
}

void HVKStatisticsFramework::networkTunnelChanged() {
    if (network_) network_->updateTunnelStatus();
    notify(onNetworkTunnelChanged);
}

void HVKStatisticsFramework::GPUChanged() {
    if (gpu_) gpu_->setChanged(true);
    notify(onGPUChanged);
}

void HVKStatisticsFramework::SMARTChanged() {
    if (smart_) smart_->setChanged(true);
    notify(onSMARTChanged);
}

void HVKStatisticsFramework::networkLocationsChanged(const Value& locations) {
    notify(onNetworkLocationsChanged, locations);
}

void HVKStatisticsFramework::networkPrimaryServiceChanged(const Value& service) {
    notify(onNetworkPrimaryServiceChanged, service);
}

void HVKStatisticsFramework::networkIPv4Changed() { notify(onNetworkIPv4Changed); }
void HVKStatisticsFramework::networkIPv6Changed() { notify(onNetworkIPv6Changed); }
void HVKStatisticsFramework::networkDNSChanged() { notify(onNetworkDNSChanged); }
void HVKStatisticsFramework::networkRouterChanged() { notify(onNetworkRouterChanged); }

void HVKStatisticsFramework::networkPublicAddressChanged() {
    // Nothing depends on it.
}

void HVKStatisticsFramework::networkWifiNetworkChanged() { notify(onNetworkWifiChanged); }

void HVKStatisticsFramework::networkInternetStatusChanged() {
    // Nothing depends on it.
}

void HVKStatisticsFramework::networkStatusChanged(std::int64_t status) { notify(onNetworkStatusChanged, status); }
void HVKStatisticsFramework::batterySourceChanged() { notify(onBatterySourceChanged); }
void HVKStatisticsFramework::batteryStateChanged() { notify(onBatteryStateChanged); }

}  // namespace hvk
