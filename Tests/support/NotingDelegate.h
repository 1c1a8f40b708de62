// NotingDelegate.h - a delegate of the hardware notifier that writes down what it is told.
#pragma once

#include <functional>
#include <string>
#include <utility>
#include <vector>

#include "HVKStatistics/core/StatisticsRoles.h"

namespace hvk::test {

/// Writes down what it is told.
class NotingDelegate : public HVKStatisticsHardwareNotifierDelegate {
public:
    void bluetoothChanged() override { note("bluetooth"); }
    void bluetoothAuthorizationChanged() override { note("authorization"); }
    void powerSourceChanged() override { note("power source"); }
    void disksChanged() override { note("disks"); }
    void networkDisksChanged() override { note("network disks"); }
    void removableDisksChanged() override { note("removable disks"); }
    void networkChanged(const std::vector<std::string>& keys) override {
        std::string text = "network";
        for (const std::string& key : keys) text += " " + key;
        note(text);
    }
    void networkTunnelChanged() override { note("tunnel"); }
    void GPUChanged() override { note("GPU"); }
    void SMARTChanged() override { note("SMART"); }
    void networkLocationsChanged(const Value&) override { note("locations"); }
    void networkPrimaryServiceChanged(const Value&) override { note("primary"); }
    void networkIPv4Changed() override { note("IPv4"); }
    void networkIPv6Changed() override { note("IPv6"); }
    void networkDNSChanged() override { note("DNS"); }
    void networkRouterChanged() override { note("router"); }
    void networkPublicAddressChanged() override { note("public"); }
    void networkWifiNetworkChanged() override { note("wifi"); }
    void networkInternetStatusChanged() override { note("internet"); }
    void networkStatusChanged(std::int64_t) override { note("status"); }
    void batterySourceChanged() override { note("battery source"); }
    void batteryStateChanged() override { note("battery state"); }

    /// Called after each note; may be empty.
    std::function<void()> told;

    /// What was noted since the last time.
    std::vector<std::string> take() { return std::exchange(notes_, {}); }

private:
    void note(std::string text) {
        notes_.push_back(std::move(text));
        if (told) told();
    }

    std::vector<std::string> notes_;
};

}  // namespace hvk::test
