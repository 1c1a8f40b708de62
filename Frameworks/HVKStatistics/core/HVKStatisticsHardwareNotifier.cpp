#include "HVKStatistics/core/HVKStatisticsHardwareNotifier.h"

#include <algorithm>
#include <array>
#include <string_view>
#include <utility>

#include "HVKLogger/DDLog.h"

namespace hvk {

namespace {

constexpr double GracePeriod = 5.0;
constexpr double TunnelInterval = 10.0;
constexpr const char* DiskImageModel = "Disk Image";
constexpr const char* ConfigurationName = "HVKStatisticsKit";

std::string textOf(const Value& description, const char* key) {
    const auto found = description.find(key);
    return found != description.end() && found->is_string() ? found->get<std::string>() : std::string();
}

bool isTrue(const Value& description, const char* key) {
    const auto found = description.find(key);
    return found != description.end() && found->is_boolean() && found->get<bool>();
}

/// Whether nobody cares about a disk: backups, what cannot be mounted, EFI partitions.
bool isNoise(const Value& description) {
    std::string path = textOf(description, "DAVolumePath");
    std::transform(path.begin(), path.end(), path.begin(),
                   [](char one) { return one >= 'A' && one <= 'Z' ? static_cast<char>(one - 'A' + 'a') : one; });
    return path.find(".timemachine") != std::string::npos || !isTrue(description, "DAVolumeMountable") ||
           textOf(description, "DAVolumeName") == "EFI";
}

/// An image that is attached and not mounted yet; its mounting is another event.
bool isUnmountedImage(const Value& description) {
    const auto path = description.find("DAVolumePath");
    return textOf(description, "DADeviceModel") == DiskImageModel && (path == description.end() || path->is_null());
}

void drain(RegistryPort& registry, RegistryHandle iterator) {
    while (const RegistryHandle entry = registry.next(iterator)) registry.release(entry);
}

}  // namespace

/// The state, kept apart so that what the system still calls can tell whether it is there.
class HVKStatisticsHardwareNotifier::Core : public std::enable_shared_from_this<Core> {
public:
    explicit Core(Machine& measured) : machine(measured) {}

    ~Core() { machine.registry().release(gpuIterator); }

    /// Calls the delegate on the main queue, if there is one by then.
    template <class Call>
    void tell(Call call) {
        machine.queues().main().async([weak = weak_from_this(), call] {
            const auto self = weak.lock();
            if (self && self->delegate != nullptr) call(*self->delegate);
        });
    }

    /// A block that does nothing once this object is gone.
    template <class... Arguments, class Work>
    std::function<void(Arguments...)> whileAlive(Work work) {
        return [weak = weak_from_this(), work](Arguments... arguments) {
            if (const auto self = weak.lock()) work(*self, arguments...);
        };
    }

    /// Notes whether a source is watched.
    template <class Answer>
    void note(const char* source, const char* subject, const Answer& answer) {
        SourceHealth& health = machine.diagnostics().source(source, subject);
        if (answer)
            health.works();
        else
            (void)health.failed(answer.failure());
    }

    void GPUChanged() {
        HVKLogInfo("Statistics: Gpus changed");
        tell([](auto& told) { told.GPUChanged(); });
    }

    void SMARTChanged() {
        HVKLogInfo("Statistics: SMART changed");
        tell([](auto& told) { told.SMARTChanged(); });
    }

    void bluetoothChanged() {
        if (bluetoothStart > machine.clock().wallSeconds()) return;
        HVKLogInfo("Statistics: Bluetooth changed");
        tell([](auto& told) { told.bluetoothChanged(); });
    }

    void deviceConnected() {
        HVKLogInfo("Statistics: Bluetooth device state changed");
        bluetoothChanged();
    }

    void powerSourceChanged() {
        tell([](auto& told) { told.powerSourceChanged(); });
    }

    void diskEvent(DiskEvent event, const Value& description) {
        switch (event) {
            case DiskEvent::Appeared:
            case DiskEvent::DescriptionChanged:
                if (isNoise(description) || isUnmountedImage(description)) return;
                break;
            case DiskEvent::Disappeared:
                if (isNoise(description)) return;
                break;
            case DiskEvent::MountApproval:
            case DiskEvent::UnmountApproval: return;
        }
        disksChanged(description);
    }

    void disksChanged(const Value& description) {
        if (disksStart > machine.clock().wallSeconds()) return;
        if (isTrue(description, "DAVolumeNetwork")) {
            HVKLogInfo("Statistics: Network Disks changed");
            tell([](auto& told) { told.networkDisksChanged(); });
        } else if (textOf(description, "DADeviceModel") == DiskImageModel) {
            HVKLogInfo("Statistics: Removable Disks changed");
            tell([](auto& told) { told.removableDisksChanged(); });
        } else {
            HVKLogInfo("Statistics: Disks changed");
            tell([](auto& told) { told.disksChanged(); });
        }
    }

    void networkChanged(const std::vector<std::string>& keys) {
        tell([keys](auto& told) { told.networkChanged(keys); });
    }

    void networkTunnelChanged() {
        HVKLogInfo("Statistics: Network tunnel changed");
        if (delegate != nullptr) delegate->networkTunnelChanged();
    }

    void powerEvent(std::uint32_t message, std::int64_t argument) {
        if (message == PowerMessageCanSystemSleep || message == PowerMessageSystemWillSleep)
            machine.hardwareEvents().allowPowerChange(argument);
    }

    std::vector<NetworkTunnelLink> networkTunnelLinks() {
        const auto addresses = machine.hardwareEvents().interfaceAddresses();
        note("interface addresses", "tunnels", addresses);
        std::vector<NetworkTunnelLink> links;
        if (!addresses) return links;
        using Family = InterfaceAddress::Family;
        for (auto link = addresses->begin(); link != addresses->end(); ++link) {
            if (link->family != Family::Link || !link->up || link->name.empty()) continue;
            for (auto one = link + 1; one != addresses->end(); ++one) {
                const bool internet = one->family == Family::IPv4 || one->family == Family::IPv6;
                if (internet && one->name == link->name && one->pointToPoint && !one->destination.empty())
                    links.push_back({one->name, one->address, one->destination});
            }
        }
        return links;
    }

    void checkNetworkTunnels() {
        auto links = networkTunnelLinks();
        if (networkTunnels == links) return;
        networkTunnels = std::move(links);
        networkTunnelChanged();
    }

    Machine& machine;
    HVKStatisticsHardwareNotifierDelegate* delegate = nullptr;
    RegistryHandle gpuIterator = 0;
    double disksStart = 0;
    double bluetoothStart = 0;
    std::optional<std::vector<NetworkTunnelLink>> networkTunnels;
    std::unique_ptr<Timer> networkTunnelTimer;
};

HVKStatisticsHardwareNotifier::HVKStatisticsHardwareNotifier(Machine& machine)
    : core_(std::make_shared<Core>(machine)) {}

HVKStatisticsHardwareNotifier::~HVKStatisticsHardwareNotifier() { core_->networkTunnelTimer.reset(); }

HVKStatisticsHardwareNotifier& HVKStatisticsHardwareNotifier::HardwareNotifier() {
    static auto* const instance = new HVKStatisticsHardwareNotifier;
    return *instance;
}

HVKStatisticsHardwareNotifierDelegate* HVKStatisticsHardwareNotifier::delegate() const { return core_->delegate; }
void HVKStatisticsHardwareNotifier::setDelegate(HVKStatisticsHardwareNotifierDelegate* delegate) {
    core_->delegate = delegate;
}

void HVKStatisticsHardwareNotifier::startGPU() {
    Machine& machine = core_->machine;
    const RegistryMatch accelerators{RegistryMatch::Kind::Class, "IOAccelerator", {}};
    const auto changed = [](Core& core, RegistryHandle iterator) {
        drain(core.machine.registry(), iterator);
        core.GPUChanged();
    };
    // Both go to one field, so that only the second iterator is ever drained and armed.
    bool armed = false;
    for (const ServiceEvent event : {ServiceEvent::Publish, ServiceEvent::Terminate}) {
        const auto iterator =
            machine.hardwareEvents().watchServices(event, accelerators, core_->whileAlive<RegistryHandle>(changed));
        core_->note("accelerator events", "GPU changes", iterator);
        armed = static_cast<bool>(iterator);
        if (!armed) continue;
        machine.registry().release(core_->gpuIterator);
        core_->gpuIterator = *iterator;
    }
    if (armed) drain(machine.registry(), core_->gpuIterator);
}

void HVKStatisticsHardwareNotifier::startSMART() {
    Machine& machine = core_->machine;
    RegistryMatch capable{RegistryMatch::Kind::Dictionary, {}, {}};
    capable.dictionary = {{"IOProviderClass", "IOMedia"}, {"SMART Capable", true}, {"NVMe SMART Capable", true}};
    const RegistryMatch media{RegistryMatch::Kind::Class, "IOMedia", {}};
    const auto watch = [&](ServiceEvent event, const RegistryMatch& match) {
        const auto iterator = machine.hardwareEvents().watchServices(
            event, match, core_->whileAlive<RegistryHandle>([](Core& core, RegistryHandle) { core.SMARTChanged(); }));
        core_->note("SMART media events", "SMART changes", iterator);
        if (iterator) machine.registry().release(*iterator);
    };
    watch(ServiceEvent::Matched, capable);
    watch(ServiceEvent::Terminate, media);
}

void HVKStatisticsHardwareNotifier::startBluetooth() {
    if (core_->bluetoothStart != 0) return;
    core_->bluetoothStart = core_->machine.clock().wallSeconds() + GracePeriod;
    core_->note("Bluetooth events", "Bluetooth changes",
                core_->machine.hardwareEvents().watchBluetooth(
                    {"Bluetooth", "USB"}, core_->whileAlive<DeviceEvent>([](Core& core, DeviceEvent event) {
                        if (event == DeviceEvent::Connected)
                            core.deviceConnected();
                        else
                            core.bluetoothChanged();
                    })));
}

void HVKStatisticsHardwareNotifier::startSystemPowerEvents() {
    core_->note(
        "system power events", "sleep",
        core_->machine.hardwareEvents().watchSystemPower(core_->whileAlive<std::uint32_t, std::int64_t>(
            [](Core& core, std::uint32_t message, std::int64_t argument) { core.powerEvent(message, argument); })));
}

void HVKStatisticsHardwareNotifier::startDisks() {
    core_->disksStart = core_->machine.clock().wallSeconds() + GracePeriod;
    core_->note(
        "disk events", "disk changes",
        core_->machine.hardwareEvents().watchDisks(core_->whileAlive<DiskEvent, const Value&>(
            [](Core& core, DiskEvent event, const Value& description) { core.diskEvent(event, description); })));
}

void HVKStatisticsHardwareNotifier::startNetwork() {
    core_->note(
        "configuration events", "network changes",
        core_->machine.hardwareEvents().watchConfiguration(
            ConfigurationName, {"Setup:/Network/Global/IPv4", "State:/Network/Global/IPv4"},
            {"Setup:/Network/.*", "State:/Network/.*"},
            core_->whileAlive<const std::vector<std::string>&>([](Core& core, const std::vector<std::string>& keys) {
                const auto relevant = relevantConfigurationKeys(keys);
                if (!relevant.empty()) core.networkChanged(relevant);
            })));
}

void HVKStatisticsHardwareNotifier::startNetworkTunnel() {
    core_->networkTunnelTimer = core_->machine.queues().main().repeating(
        TunnelInterval, core_->whileAlive<>([](Core& core) { core.checkNetworkTunnels(); }));
    checkNetworkTunnels();
}

void HVKStatisticsHardwareNotifier::startPowerSources() {
    core_->note("power source events", "power source changes",
                core_->machine.hardwareEvents().watchPowerSources(
                    core_->whileAlive<>([](Core& core) { core.powerSourceChanged(); })));
}

void HVKStatisticsHardwareNotifier::GPUChanged() { core_->GPUChanged(); }
void HVKStatisticsHardwareNotifier::SMARTChanged() { core_->SMARTChanged(); }
void HVKStatisticsHardwareNotifier::bluetoothChanged() { core_->bluetoothChanged(); }
void HVKStatisticsHardwareNotifier::powerSourceChanged() { core_->powerSourceChanged(); }
void HVKStatisticsHardwareNotifier::disksChanged(const Value& description) { core_->disksChanged(description); }
void HVKStatisticsHardwareNotifier::networkChanged(const std::vector<std::string>& keys) {
    core_->networkChanged(keys);
}
void HVKStatisticsHardwareNotifier::networkTunnelChanged() { core_->networkTunnelChanged(); }
void HVKStatisticsHardwareNotifier::powerEvent(std::uint32_t message, std::int64_t argument) {
    core_->powerEvent(message, argument);
}
void HVKStatisticsHardwareNotifier::notification() { core_->deviceConnected(); }
void HVKStatisticsHardwareNotifier::checkNetworkTunnels() { core_->checkNetworkTunnels(); }

std::vector<std::string> HVKStatisticsHardwareNotifier::relevantConfigurationKeys(
    const std::vector<std::string>& keys) {
    constexpr std::array<std::string_view, 6> Noise = {"/AirPort", "SleepProxyServers", "awdl0",
                                                       "llw0",     "NetBIOS",           "LinkQuality"};
    constexpr std::array<std::string_view, 4> Chatter = {"DHCP", "DHCPv6", "IPv6RouterExpired", "IPConfigurationBusy"};
    std::vector<std::string> relevant;
    for (const std::string& key : keys) {
        if (std::any_of(Noise.begin(), Noise.end(), [&](auto part) { return key.find(part) != std::string::npos; }))
            continue;
        if (key.find("pktap") != std::string::npos ||
            std::any_of(Chatter.begin(), Chatter.end(), [&](auto end) { return key.ends_with(end); }))
            return {};
        if (keys.size() == 1 && key == "State:/Network/Interface") continue;
        relevant.push_back(key);
    }
    return relevant;
}

std::vector<NetworkTunnelLink> HVKStatisticsHardwareNotifier::networkTunnelLinks() {
    return core_->networkTunnelLinks();
}
const std::optional<std::vector<NetworkTunnelLink>>& HVKStatisticsHardwareNotifier::networkTunnels() const {
    return core_->networkTunnels;
}
double HVKStatisticsHardwareNotifier::disksStart() const { return core_->disksStart; }
double HVKStatisticsHardwareNotifier::bluetoothStart() const { return core_->bluetoothStart; }

}  // namespace hvk
