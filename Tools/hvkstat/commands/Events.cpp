#include "hvkstat/commands/Events.h"

#include <fmt/format.h>

#include <algorithm>
#include <cmath>
#include <limits>

#include "HVKPlatform/recorded/RecordedMachine.h"
#include "hvkstat/render/Units.h"

namespace hvk::hvkstat {

namespace {

/// The modules tell of what they find in their own updates.
constexpr double UpdateInterval = 1;

/// Prints events, one a line.
class EventPrinter {
public:
    EventPrinter(Session& session, bool json, const Host& host) : session_(session), json_(json), host_(host) {}

    /// `event` as a program knows it, `text` as a person reads it, `detail` for both.
    void print(const char* event, const char* text, const char* key = nullptr, const Value& detail = nullptr) {
        const double time = session_.machine().clock().wallSeconds();
        if (json_) {
            Value line = {{"time", time}, {"event", event}};
            if (key != nullptr) line[key] = detail;
            write(jsonLine(line));
            return;
        }
        std::string words;
        if (detail.is_array())
            for (const Value& one : detail) words += ' ' + printable(one.get<std::string>());
        else if (key != nullptr)
            words = ' ' + printable(detail.is_string() ? detail.get<std::string>() : detail.dump());
        const auto milliseconds = static_cast<int>((time - std::floor(time)) * 1000);
        write(fmt::format("{}  {}{}\n",
                          host_.palette().paint(Style::Faint, fmt::format("{}.{:03}", timeText(time), milliseconds)),
                          text, words));
    }

private:
    void write(const std::string& line) {
        if (!host_.output.write(line)) session_.machine().queues().stopMain();
    }

    Session& session_;
    bool json_;
    const Host& host_;
};

/// Stands between the notifier and the framework, and prints those events for which a host has no block of its own.
class EventWitness : public HVKStatisticsHardwareNotifierDelegate {
public:
    EventWitness(HVKStatisticsFramework& framework, EventPrinter& printer) : framework_(framework), printer_(printer) {
        if (framework_.HardwareNotifier()) framework_.HardwareNotifier()->setDelegate(this);
    }
    ~EventWitness() override {
        if (framework_.HardwareNotifier()) framework_.HardwareNotifier()->setDelegate(&framework_);
    }
    EventWitness(const EventWitness&) = delete;
    EventWitness& operator=(const EventWitness&) = delete;

    void removableDisksChanged() override {
        printer_.print("removable-disks", "disk images changed");
        framework_.removableDisksChanged();
    }
    void powerSourceChanged() override {
        printer_.print("power-source", "power source changed");
        framework_.powerSourceChanged();
    }
    void networkChanged(const std::vector<std::string>& keys) override {
        printer_.print("network-configuration", "network configuration changed:", "keys", keys);
        framework_.networkChanged(keys);
    }

    void bluetoothChanged() override { framework_.bluetoothChanged(); }
    void bluetoothAuthorizationChanged() override { framework_.bluetoothAuthorizationChanged(); }
    void disksChanged() override { framework_.disksChanged(); }
    void networkDisksChanged() override { framework_.networkDisksChanged(); }
    void networkTunnelChanged() override { framework_.networkTunnelChanged(); }
    void GPUChanged() override { framework_.GPUChanged(); }
    void SMARTChanged() override { framework_.SMARTChanged(); }
    void networkLocationsChanged(const Value& locations) override { framework_.networkLocationsChanged(locations); }
    void networkPrimaryServiceChanged(const Value& service) override {
        framework_.networkPrimaryServiceChanged(service);
    }
    void networkIPv4Changed() override { framework_.networkIPv4Changed(); }
    void networkIPv6Changed() override { framework_.networkIPv6Changed(); }
    void networkDNSChanged() override { framework_.networkDNSChanged(); }
    void networkRouterChanged() override { framework_.networkRouterChanged(); }
    void networkPublicAddressChanged() override { framework_.networkPublicAddressChanged(); }
    void networkWifiNetworkChanged() override { framework_.networkWifiNetworkChanged(); }
    void networkInternetStatusChanged() override { framework_.networkInternetStatusChanged(); }
    void networkStatusChanged(std::int64_t status) override { framework_.networkStatusChanged(status); }
    void batterySourceChanged() override { framework_.batterySourceChanged(); }
    void batteryStateChanged() override { framework_.batteryStateChanged(); }

private:
    HVKStatisticsFramework& framework_;
    EventPrinter& printer_;
};

/// Every block of a host prints a line.
void setBlocks(HVKStatisticsFramework& framework, EventPrinter& printer) {
    const auto plain = [&printer](const char* event, const char* text) {
        return [&printer, event, text] { printer.print(event, text); };
    };
    framework.onGPUChanged = plain("gpu", "graphics processors changed");
    framework.onDisksChanged = plain("disks", "disks changed");
    framework.onNetworkDisksChanged = plain("network-disks", "network disks changed");
    framework.onNetworkChanged = plain("network", "network changed");
    framework.onBluetoothChanged = plain("bluetooth", "input or Bluetooth devices changed");
    framework.onBluetoothAuthorizationChanged = plain("bluetooth-authorization", "Bluetooth permission changed");
    framework.onNetworkTunnelChanged = plain("network-tunnel", "network tunnels changed");
    framework.onNetworkPrimaryServiceChanged = [&printer](const Value& service) {
        printer.print("network-primary-service", "primary network service changed:", "service", service);
    };
    framework.onNetworkStatusChanged = [&printer](std::int64_t status) {
        printer.print("network-status", "network status changed:", "status", status);
    };
    framework.onNetworkIPv4Changed = plain("network-ipv4", "IPv4 configuration changed");
    framework.onNetworkIPv6Changed = plain("network-ipv6", "IPv6 configuration changed");
    framework.onNetworkDNSChanged = plain("network-dns", "name servers changed");
    framework.onNetworkRouterChanged = plain("network-router", "router changed");
    framework.onNetworkWifiChanged = plain("network-wifi", "Wi-Fi network changed");
    framework.onNetworkLocationsChanged = [&printer](const Value& locations) {
        printer.print("network-locations", "network locations changed:", "locations", locations);
    };
    framework.onBatterySourceChanged = plain("battery-source", "battery source changed");
    framework.onBatteryStateChanged = plain("battery-state", "battery state changed");
    framework.onSMARTChanged = plain("smart", "SMART media changed");
}

void removeBlocks(HVKStatisticsFramework& framework) {
    framework.onGPUChanged = framework.onDisksChanged = framework.onNetworkDisksChanged = nullptr;
    framework.onNetworkChanged = framework.onBluetoothChanged = framework.onBluetoothAuthorizationChanged = nullptr;
    framework.onNetworkTunnelChanged = framework.onNetworkIPv4Changed = framework.onNetworkIPv6Changed = nullptr;
    framework.onNetworkDNSChanged = framework.onNetworkRouterChanged = framework.onNetworkWifiChanged = nullptr;
    framework.onNetworkPrimaryServiceChanged = framework.onNetworkLocationsChanged = nullptr;
    framework.onNetworkStatusChanged = nullptr;
    framework.onBatterySourceChanged = framework.onBatteryStateChanged = framework.onSMARTChanged = nullptr;
}

/// Why the machine can tell nothing at all; nothing when it can.
std::optional<Failure> whyNothing(Session& session) {
    std::optional<Failure> failure;
    for (const SourceReport& source : session.machine().diagnostics().reports()) {
        if (source.source != "disk events" && source.source != "configuration events" &&
            source.source != "power source events" && source.source != "system power events")
            continue;
        if (!source.failure) return std::nullopt;
        failure = source.failure;
    }
    return failure;
}

}  // namespace

int runEvents(Session& session, const Options& options, const Host& host) {
    HVKStatisticsFramework& framework = session.framework();
    EventPrinter printer(session, options.json, host);
    const EventWitness witness(framework, printer);
    setBlocks(framework, printer);
    framework.startNotifications();
    const auto nothing = whyNothing(session);
    if (!nothing) {
        ClockPort& clock = session.machine().clock();
        double end =
            options.seconds ? clock.monotonicSeconds() + *options.seconds : std::numeric_limits<double>::infinity();
        if (const RecordedMachine* recorded = session.recorded(); recorded != nullptr && !options.seconds)
            end = clock.monotonicSeconds() + std::max(0.0, recorded->endTime() - clock.wallSeconds());
        double left = end - clock.monotonicSeconds();
        // What comes at the very end is told by the last run, of no time.
        for (; left > 0 && host.output.works(); left = end - clock.monotonicSeconds()) {
            session.wait(std::min(left, UpdateInterval));
            session.sample();
        }
        session.wait(0);
    }
    removeBlocks(framework);
    if (!nothing) return ExitOk;
    host.say(fmt::format("nothing can be watched on this machine: {} ({})", printable(nothing->detail),
                         failureKindName(nothing->kind)));
    return ExitFailed;
}

}  // namespace hvk::hvkstat
