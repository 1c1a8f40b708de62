#include "HVKPlatform/linux/HardwareEvents.h"

#include <unistd.h>

#include <algorithm>
#include <iterator>
#include <utility>

#include "HVKPlatform/linux/events/BusSource.h"
#include "HVKPlatform/linux/events/InterfaceList.h"
#include "HVKPlatform/linux/events/MountSource.h"
#include "HVKPlatform/linux/events/RouteSource.h"
#include "HVKPlatform/linux/events/UeventSource.h"

namespace hvk {

namespace {

constexpr const char* InputDevices = "/sys/bus/hid/devices";
constexpr const char* DeviceManager = "/run/udev/control";
constexpr std::uint32_t PowerMessageSystemHasPoweredOn = 0xE0000300;
/// What of sleeping and waking, or of devices that connect, is kept for a main queue that does not run.
constexpr std::size_t MostKept = 64;

/// How the kernel begins the name of an input device: with its bus.
const char* prefixOf(const std::string& transport) {
    if (transport == "USB") return "0003:";
    if (transport == "Bluetooth") return "0005:";
    return nullptr;
}

}  // namespace

LinuxHardwareEventsPort::LinuxHardwareEventsPort(const LinuxRoot& root, LinuxRegistryPort& registry, QueuesPort& queues,
                                                 Diagnostics& diagnostics, EventBuffers buffers)
    : root_(root),
      registry_(registry),
      buffers_(buffers),
      ueventHealth_(diagnostics.source("device events", "devices that come and go",
                                       "give the program's namespace device events, or run it outside a container")),
      mountHealth_(diagnostics.source("mount table events", "volumes that come and go")),
      routeHealth_(diagnostics.source("rtnetlink", "changes of the network")),
      busHealth_(diagnostics.source("system bus", "sleep, and Bluetooth devices that connect",
                                    "start the message bus (dbus), or give the program its socket")),
      lockHealth_(diagnostics.source("login manager", "holding sleep until it was allowed",
                                     "start systemd-logind; without it the system does not wait")),
      addressHealth_(diagnostics.source("getifaddrs", "addresses of the interfaces")),
      services_(registry),
      disks_(root, mountHealth_),
      diskStates_(disks_.states()),
      serviceDelivery_(queues, [this] { services_.look(); }),
      diskDelivery_(queues, [this] { tellDisks(); }),
      inputDelivery_(queues, [this] { tellInputDevices(); }),
      configurationDelivery_(queues, [this] { tellConfiguration(); }),
      powerSourceDelivery_(queues, [this] { tellPowerSources(); }),
      sleepDelivery_(queues, [this] { tellSleep(); }),
      connectionDelivery_(queues, [this] { tellConnections(); }) {}

LinuxHardwareEventsPort::~LinuxHardwareEventsPort() { stop(); }

void LinuxHardwareEventsPort::stop() { thread_.stop(); }

Status LinuxHardwareEventsPort::needLive(const char* what) {
    if (root_.isLive()) return {};
    return Failure{FailureKind::Unsupported, what, "a saved tree does not change"};
}

// What is waited for is opened when it is first needed.

Status LinuxHardwareEventsPort::needUevents() {
    if (uevents_) return {};
    const bool managed = ::access(root_.path(DeviceManager).c_str(), F_OK) == 0;
    auto opened =
        UeventSource::open(managed, buffers_.devices, ueventHealth_, [this](const DeviceHints& hints) { look(hints); });
    if (!opened) return opened.failure();
    uevents_ = std::move(*opened);
    thread_.add(uevents_);
    thread_.run([this, source = uevents_] { heardUevents_ = source; });
    return {};
}

Status LinuxHardwareEventsPort::needMounts() {
    if (mounts_) return {};
    auto opened = MountSource::open(root_, mountHealth_, [this] {
        if (disks_.lookAtMounts()) publishDisks();
    });
    if (!opened) return opened.failure();
    mounts_ = std::move(*opened);
    thread_.add(mounts_);
    return {};
}

Status LinuxHardwareEventsPort::needBus() {
    if (bus_) return busStatus_;
    const auto sleep = [this](bool sleeps) {
        {
            std::lock_guard lock(mutex_);
            if (sleeps_.size() >= MostKept) sleeps_.clear();
            sleeps_.push_back(sleeps);
        }
        sleepDelivery_.ask();
        // Whatever was plugged while the system slept.
        if (!sleeps && heardUevents_) heardUevents_->lookAtEverything(EventSource::Clock::now());
    };
    const auto connected = [this] {
        {
            std::lock_guard lock(mutex_);
            connections_ = std::min(connections_ + 1, MostKept);
        }
        connectionDelivery_.ask();
    };
    std::tie(bus_, busStatus_) = BusSource::open({busHealth_, lockHealth_}, {sleep, connected});
    thread_.add(bus_);
    return busStatus_;
}

void LinuxHardwareEventsPort::needDisks() {
    thread_.run([this] {
        if (std::exchange(disksNeeded_, true)) return diskDelivery_.ask();
        disks_.lookAtEverything();
        publishDisks();
    });
}

void LinuxHardwareEventsPort::needInputDevices() {
    thread_.run([this] {
        inputDevicesNeeded_ = true;
        lookAtInputDevices();
        inputDelivery_.ask();
    });
}

// On the thread of the events

void LinuxHardwareEventsPort::look(const DeviceHints& hints) {
    if (disksNeeded_) {
        if (hints.everything ? disks_.lookAtEverything() : !hints.disks.empty() && disks_.lookAt(hints.disks))
            publishDisks();
    }
    if (inputDevicesNeeded_ && (hints.everything || hints.inputDevices)) lookAtInputDevices();
    if (hints.everything || hints.powerSources) powerSourceDelivery_.ask();
    if (hints.everything || hints.services) serviceDelivery_.ask();
}

void LinuxHardwareEventsPort::publishDisks() {
    {
        std::lock_guard lock(mutex_);
        diskStates_ = disks_.states();
    }
    diskDelivery_.ask();
}

void LinuxHardwareEventsPort::lookAtInputDevices() {
    const auto listed = root_.list(InputDevices);
    auto names = std::make_shared<const Names>(listed.begin(), listed.end());
    {
        std::lock_guard lock(mutex_);
        if (*inputDevices_ == *names) return;
        inputDevices_ = std::move(names);
    }
    inputDelivery_.ask();
}

void LinuxHardwareEventsPort::publish(const ConfigurationKeys& keys) {
    bool any = false;
    {
        std::lock_guard lock(mutex_);
        for (const auto& watch : configurationWatches_) any |= watch->keep(keys);
    }
    if (any) configurationDelivery_.ask();
}

// On the main queue

void LinuxHardwareEventsPort::tellDisks() {
    std::shared_ptr<const DiskStates> now;
    {
        std::lock_guard lock(mutex_);
        now = diskStates_;
    }
    const auto watches = diskWatches_;  // a block may add one
    for (const auto& watch : watches) {
        const auto told = std::exchange(watch->told, now);
        for (const auto& [name, state] : *told) {
            const auto found = now->find(name);
            if (found == now->end() || found->second->identity != state->identity)
                watch->block(DiskEvent::Disappeared, state->description);
        }
        for (const auto& [name, state] : *now) {
            const auto found = told->find(name);
            if (found == told->end() || found->second->identity != state->identity)
                watch->block(DiskEvent::Appeared, state->description);
            else if (found->second != state && *found->second != *state)
                watch->block(DiskEvent::DescriptionChanged, state->description);
        }
    }
}

void LinuxHardwareEventsPort::tellInputDevices() {
    std::shared_ptr<const Names> now;
    {
        std::lock_guard lock(mutex_);
        now = inputDevices_;
    }
    const auto watches = inputWatches_;
    for (const auto& watch : watches) {
        const auto told = std::exchange(watch->told, now);
        const auto tell = [&](const Names& some, const Names& others, DeviceEvent event) {
            for (const std::string& name : some)
                if (others.count(name) == 0 && std::any_of(watch->prefixes.begin(), watch->prefixes.end(),
                                                           [&](const auto& one) { return name.starts_with(one); }))
                    watch->block(event);
        };
        tell(*told, *now, DeviceEvent::Removed);
        tell(*now, *told, DeviceEvent::Matched);
    }
}

void LinuxHardwareEventsPort::tellConfiguration() {
    std::vector<std::shared_ptr<ConfigurationWatch>> watches;
    {
        std::lock_guard lock(mutex_);
        watches = configurationWatches_;
    }
    for (const auto& watch : watches) watch->tell();
}

void LinuxHardwareEventsPort::tellPowerSources() {
    const auto watches = powerSourceWatches_;
    for (const auto& block : watches) block();
}

void LinuxHardwareEventsPort::tellSleep() {
    std::vector<bool> news;
    {
        std::lock_guard lock(mutex_);
        news.swap(sleeps_);
    }
    const auto watches = sleepWatches_;
    for (const bool sleeps : news) {
        if (sleeps) {
            ++lastSleep_;
            allowancesMissing_ = watches.size();
        }
        for (const auto& block : watches)
            block(sleeps ? PowerMessageSystemWillSleep : PowerMessageSystemHasPoweredOn, lastSleep_);
    }
}

void LinuxHardwareEventsPort::tellConnections() {
    std::size_t count = 0;
    {
        std::lock_guard lock(mutex_);
        count = std::exchange(connections_, 0);
    }
    const auto watches = inputWatches_;
    for (; count > 0; --count)
        for (const auto& watch : watches) watch->block(DeviceEvent::Connected);
}

// The port

Result<RegistryHandle> LinuxHardwareEventsPort::watchServices(ServiceEvent event, const RegistryMatch& match,
                                                              std::function<void(RegistryHandle)> block) {
    if (auto live = needLive("service events"); !live) return live.failure();
    if (auto ready = needUevents(); !ready) return ready.failure();
    return services_.add(event, match, std::move(block));
}

Status LinuxHardwareEventsPort::watchDisks(std::function<void(DiskEvent, const Value&)> block) {
    if (auto live = needLive("disk events"); !live) return live;
    // Either alone is still worth watching; what is missing stands in the diagnostics.
    const Status devices = needUevents();
    const Status volumes = needMounts();
    if (!devices && !volumes) return devices;
    diskWatches_.push_back(
        std::make_shared<DiskWatch>(DiskWatch{std::move(block), std::make_shared<const DiskStates>()}));
    needDisks();
    return {};
}

Status LinuxHardwareEventsPort::watchConfiguration(const std::string&, const std::vector<std::string>& keys,
                                                   const std::vector<std::string>& patterns,
                                                   std::function<void(const std::vector<std::string>&)> block) {
    if (auto live = needLive("configuration events"); !live) return live;
    auto watch = ConfigurationWatch::make(keys, patterns, std::move(block));
    if (!watch) return watch.failure();
    if (!routes_) {
        auto opened = RouteSource::open(buffers_.network, routeHealth_,
                                        [this](const ConfigurationKeys& changed) { publish(changed); });
        if (!opened) return opened.failure();
        routes_ = std::move(*opened);
        thread_.add(routes_);
    }
    std::lock_guard lock(mutex_);
    configurationWatches_.push_back(std::move(*watch));
    return {};
}

Status LinuxHardwareEventsPort::watchPowerSources(std::function<void()> block) {
    if (auto live = needLive("power source events"); !live) return live;
    if (auto ready = needUevents(); !ready) return ready;
    powerSourceWatches_.push_back(std::move(block));
    return {};
}

Status LinuxHardwareEventsPort::watchSystemPower(std::function<void(std::uint32_t, std::int64_t)> block) {
    if (auto live = needLive("system power events"); !live) return live;
    sleepWatches_.push_back(std::move(block));
    const Status status = needBus();
    thread_.run([this] { bus_->holdSleep(); });
    return status;
}

void LinuxHardwareEventsPort::allowPowerChange(std::int64_t argument) {
    if (argument != lastSleep_ || allowancesMissing_ == 0 || --allowancesMissing_ > 0) return;
    thread_.run([this] { bus_->letSleep(); });
}

Status LinuxHardwareEventsPort::watchBluetooth(const std::vector<std::string>& transports,
                                               std::function<void(DeviceEvent)> block) {
    if (auto live = needLive("Bluetooth events"); !live) return live;
    const Status devices = needUevents();
    const Status connections = needBus();
    if (!devices && !connections) return devices;
    auto watch = std::make_shared<InputWatch>(InputWatch{{}, std::move(block), std::make_shared<const Names>()});
    for (const std::string& transport : transports)
        if (const char* prefix = prefixOf(transport)) watch->prefixes.emplace_back(prefix);
    inputWatches_.push_back(std::move(watch));
    needInputDevices();
    return {};
}

Result<std::vector<InterfaceAddress>> LinuxHardwareEventsPort::interfaceAddresses() {
    if (auto live = needLive("interface addresses"); !live) return live.failure();
    auto addresses = listInterfaceAddresses();
    if (!addresses) return addressHealth_.failed(addresses.failure());
    addressHealth_.works();
    return addresses;
}

std::uint64_t LinuxHardwareEventsPort::deviceOverflows() const { return uevents_ ? uevents_->overflows() : 0; }
std::uint64_t LinuxHardwareEventsPort::networkOverflows() const { return routes_ ? routes_->overflows() : 0; }
std::uint64_t LinuxHardwareEventsPort::deviceEventsHeard() const { return uevents_ ? uevents_->heard() : 0; }

}  // namespace hvk
