// The notifier on a written machine: what counts, when, and where it arrives.

#include "HVKStatistics/core/HVKStatisticsHardwareNotifier.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "support/NotingDelegate.h"
#include "support/WrittenMachine.h"

namespace hvk {
namespace {

using test::NotingDelegate;
using test::turn;
using test::writtenMachine;
using testing::ElementsAre;
using testing::IsEmpty;

Value disk(const char* event, const Value& description) {
    Value whole = {{"DAVolumeMountable", true}, {"DAVolumePath", "/Volumes/Data"}};
    whole.update(description);
    return {{"disk", event}, {"description", whole}};
}

class HardwareNotifier : public testing::Test {
protected:
    HardwareNotifier() { notifier_->setDelegate(&delegate_); }
    ~HardwareNotifier() override {
        notifier_.reset();
        EXPECT_EQ(machine_->treeRegistry().liveHandles(), 0U);
        EXPECT_EQ(machine_->treeRegistry().overReleases(), 0U);
    }

    /// What the delegate is told of an event that comes after `seconds`.
    std::vector<std::string> after(double seconds, const Value& event) {
        turn(*machine_, seconds, {{"events", Value::array({event})}});
        machine_->advance(0);
        return delegate_.take();
    }

    std::unique_ptr<RecordedMachine> machine_ = writtenMachine(
        {{"registry",
          {{"name", "Root"},
           {"children", Value::array({{{"name", "gpu"}, {"classes", {"AGXAccelerator", "IOAccelerator"}}},
                                      {{"name", "disk0"}, {"classes", {"IOMedia"}}}})}}}});
    NotingDelegate delegate_;
    std::unique_ptr<HVKStatisticsHardwareNotifier> notifier_ =
        std::make_unique<HVKStatisticsHardwareNotifier>(*machine_);
};

TEST_F(HardwareNotifier, DisksAreSilentAtFirstAndSortedByKind) {
    EXPECT_THAT(after(1, disk("appeared", Value::object())), IsEmpty()) << "not started";
    notifier_->startDisks();
    EXPECT_EQ(notifier_->disksStart(), machine_->clock().wallSeconds() + 5);
    EXPECT_THAT(after(4.9, disk("appeared", Value::object())), IsEmpty());
    EXPECT_THAT(after(0.1, disk("appeared", Value::object())), ElementsAre("disks"))
        << "the end itself is no longer silent";

    const struct {
        const char* event;
        Value description;
        const char* told;  ///< empty: nothing
    } cases[] = {
        {"changed", Value::object(), "disks"},
        {"disappeared", Value::object(), "disks"},
        {"mount", Value::object(), ""},
        {"unmount", Value::object(), ""},
        {"appeared", {{"DAVolumeNetwork", true}}, "network disks"},
        {"appeared", {{"DAVolumeNetwork", true}, {"DADeviceModel", "Disk Image"}}, "network disks"},
        {"appeared", {{"DADeviceModel", "Disk Image"}}, "removable disks"},
        {"appeared", {{"DADeviceModel", "Disk Image"}, {"DAVolumePath", nullptr}}, ""},
        {"changed", {{"DADeviceModel", "Disk Image"}, {"DAVolumePath", nullptr}}, ""},
        {"disappeared", {{"DADeviceModel", "Disk Image"}, {"DAVolumePath", nullptr}}, "removable disks"},
        {"appeared", {{"DAVolumePath", "/Volumes/.TimeMachine/2026"}}, ""},
        {"disappeared", {{"DAVolumePath", "/Volumes/.timemachine"}}, ""},
        {"appeared", {{"DAVolumeMountable", false}}, ""},
        {"appeared", {{"DAVolumeMountable", "yes"}}, ""},
        {"appeared", {{"DAVolumeName", "EFI"}}, ""},
        {"appeared", {{"DAVolumeName", "EFI Backup"}}, "disks"},
        {"disappeared", {{"DAVolumePath", nullptr}, {"DAVolumeMountable", nullptr}}, ""},
    };
    for (const auto& one : cases) {
        const auto told = after(1, disk(one.event, one.description));
        EXPECT_EQ(told, *one.told == '\0' ? std::vector<std::string>() : std::vector<std::string>{one.told})
            << one.event << ' ' << one.description;
    }
}

TEST_F(HardwareNotifier, ConfigurationChatterDoesNotCount) {
    const struct {
        std::vector<std::string> keys, relevant;
    } cases[] = {
        {{"State:/Network/Global/IPv4"}, {"State:/Network/Global/IPv4"}},
        {{"State:/Network/Global/IPv4", "State:/Network/Service/1/DHCP"}, {}},
        {{"State:/Network/Global/IPv4", "State:/Network/Service/1/DHCPv6"}, {}},
        {{"State:/Network/Interface/pktap0/Link", "State:/Network/Global/IPv4"}, {}},
        {{"State:/Network/Interface/en0/IPv6RouterExpired"}, {}},
        {{"State:/Network/Interface/en0/IPConfigurationBusy"}, {}},
        {{"State:/Network/Interface/en0/AirPort", "Setup:/Network/Global/IPv4"}, {"Setup:/Network/Global/IPv4"}},
        // What is passed over is not looked at for chatter.
        {{"State:/Network/Interface/awdl0/DHCP", "Setup:/x"}, {"Setup:/x"}},
        {{"State:/Network/Interface"}, {}},
        {{"State:/Network/Interface", "State:/Network/Interface/en0/Link"},
         {"State:/Network/Interface", "State:/Network/Interface/en0/Link"}},
        {{"State:/Network/Interface", "State:/Network/Interface/llw0/Link"}, {"State:/Network/Interface"}},
        {{}, {}},
    };
    for (const auto& one : cases)
        EXPECT_EQ(HVKStatisticsHardwareNotifier::relevantConfigurationKeys(one.keys), one.relevant) << Value(one.keys);

    notifier_->startNetwork();
    const Value keys = {"State:/Network/Global/IPv4", "com.example.other", "Setup:/Network/Service/1"};
    EXPECT_THAT(after(0, {{"configuration", keys}}),
                ElementsAre("network State:/Network/Global/IPv4 Setup:/Network/Service/1"));
    EXPECT_THAT(after(0, {{"configuration", {"State:/Network/Service/1/DHCP"}}}), IsEmpty());
}

TEST_F(HardwareNotifier, TunnelsAreComparedEveryTenSeconds) {
    const Value link = {{"name", "utun0"}, {"family", "link"}, {"up", true}};
    const Value four = {{"name", "utun0"},       {"family", "IPv4"},          {"up", true},
                        {"address", "10.0.0.2"}, {"destination", "10.0.0.1"}, {"pointToPoint", true}};
    const Value six = {{"name", "utun0"},      {"family", "IPv6"},         {"up", true},
                       {"address", "fe80::2"}, {"destination", "fe80::1"}, {"pointToPoint", true}};
    notifier_->startNetworkTunnel();
    EXPECT_THAT(delegate_.take(), ElementsAre("tunnel")) << "no addresses at all is a first set too, and told at once";
    EXPECT_TRUE(notifier_->networkTunnels()->empty());

    machine_->advance(30);
    EXPECT_THAT(delegate_.take(), IsEmpty());

    turn(*machine_, 1, {{"interfaceAddresses", {link, four, six}}});
    EXPECT_THAT(delegate_.take(), IsEmpty()) << "not asked yet";
    machine_->advance(9);
    EXPECT_THAT(delegate_.take(), ElementsAre("tunnel"));
    EXPECT_THAT(*notifier_->networkTunnels(), ElementsAre(NetworkTunnelLink{"utun0", "10.0.0.2", "10.0.0.1"},
                                                          NetworkTunnelLink{"utun0", "fe80::2", "fe80::1"}));
    turn(*machine_, 0, {{"interfaceAddresses", {link, six, four}}});
    machine_->advance(10);
    EXPECT_THAT(delegate_.take(), ElementsAre("tunnel")) << "order counts";

    Value down = link, alone = four, plain = four;
    down["up"] = false;
    alone["name"] = "utun1";
    plain["pointToPoint"] = false;
    turn(*machine_, 0, {{"interfaceAddresses", {four, down, six, link, alone, plain}}});
    EXPECT_THAT(notifier_->networkTunnelLinks(), IsEmpty())
        << "before its link, of a link that is down, of another one, not point to point";

    // A timer that outlives its notifier would ask a machine that nobody measures any more.
    notifier_ = std::make_unique<HVKStatisticsHardwareNotifier>(*machine_);
    machine_->advance(30);
    EXPECT_THAT(delegate_.take(), IsEmpty());
}

TEST_F(HardwareNotifier, BluetoothStartsOnceAndIsSilentAtFirst) {
    notifier_->startBluetooth();
    const double end = notifier_->bluetoothStart();
    machine_->advance(2);
    notifier_->startBluetooth();
    EXPECT_EQ(notifier_->bluetoothStart(), end);
    EXPECT_THAT(after(2, {{"device", "matched"}}), IsEmpty());
    for (const char* event : {"matched", "removed", "connected"})
        EXPECT_THAT(after(2, {{"device", event}}), ElementsAre("bluetooth")) << event;
}

TEST_F(HardwareNotifier, PowerEventsAreGrantedAndPowerSourcesTold) {
    notifier_->startPowerSources();
    notifier_->startSystemPowerEvents();
    EXPECT_THAT(after(0, {{"powerSources", true}}), ElementsAre("power source"));
    for (const std::uint32_t message : {0xE0000270U, 0xE0000280U, 0xE0000300U})
        EXPECT_THAT(after(0, {{"systemPower", message}, {"argument", message & 0xFF}}), IsEmpty());
    EXPECT_THAT(machine_->recordedHardwareEvents().allowedPowerChanges(), ElementsAre(0x70, 0x80));
}

TEST_F(HardwareNotifier, OnlyAnAcceleratorThatLeavesIsTold) {
    notifier_->startGPU();
    notifier_->startSMART();
    const Value another = {{"name", "gpu2"}, {"classes", {"IOAccelerator"}}};
    turn(*machine_, 1, {{"registry", {{{"add", "IOService:/"}, {"entry", another}}}}});
    machine_->advance(0);
    EXPECT_THAT(delegate_.take(), IsEmpty()) << "its coming is not armed";
    for (const char* leaving : {"IOService:/gpu", "IOService:/gpu2"}) {
        turn(*machine_, 1, {{"registry", {{{"remove", leaving}}}}});
        machine_->advance(0);
        EXPECT_THAT(delegate_.take(), ElementsAre("GPU")) << leaving;
    }
    turn(*machine_, 1, {{"registry", {{{"remove", "IOService:/disk0"}}}}});
    machine_->advance(0);
    EXPECT_THAT(delegate_.take(), IsEmpty()) << "SMART media are never armed";
}

TEST_F(HardwareNotifier, NobodyIsToldWhenNobodyListens) {
    notifier_->startDisks();
    machine_->advance(6);
    turn(*machine_, 0, {{"events", Value::array({disk("appeared", Value::object())})}});
    notifier_->setDelegate(nullptr);
    machine_->advance(1);
    turn(*machine_, 0, {{"events", Value::array({disk("appeared", Value::object())})}});
    notifier_.reset();
    machine_->advance(1);
    EXPECT_THAT(delegate_.take(), IsEmpty());
}

}  // namespace
}  // namespace hvk
