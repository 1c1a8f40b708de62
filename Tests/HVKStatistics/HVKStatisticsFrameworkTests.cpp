// The framework object: who is told of what, in which order. Stand-ins take the places of modules and write down what
// reaches them.

#include "HVKStatistics/HVKStatisticsFramework.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "HVKBase/Resources.h"
#include "HVKStatistics/sensors/RecipeFile.h"
#include "support/Hexadecimal.h"
#include "support/SavedTree.h"
#include "support/WrittenMachine.h"

namespace hvk {
namespace {

using test::writtenMachine;
using testing::ElementsAre;
using testing::IsEmpty;

using Log = std::vector<std::string>;

/// Every role of a module at once, under one name.
template <class Base>
class Noted : public Base {
public:
    Noted(std::string name, Log& log) : name_(std::move(name)), log_(log) {}
    void setDemo(bool demo) override { note(demo ? "demo" : "no demo"); }

protected:
    void note(const std::string& what) { log_.push_back(name_ + " " + what); }

private:
    std::string name_;
    Log& log_;
};

using NotedModule = Noted<StatisticsModuleRole>;

template <class Base>
class NotedChangeable : public Noted<Base> {
public:
    using Noted<Base>::Noted;
    void setChanged(bool changed) override { this->note(changed ? "changed" : "unchanged"); }
};

class NotedGPU : public HVKStatisticsGPU {
public:
    NotedGPU(Machine& machine, Log& log) : HVKStatisticsGPU(machine), log_(log) {}
    void setDemo(bool demo) override { log_.push_back(demo ? "GPU demo" : "GPU no demo"); }
    void setChanged(bool changed) override { log_.push_back(changed ? "GPU changed" : "GPU unchanged"); }
    void loadFromPlatform(const Value& recipe) override { log_.push_back("GPU load " + recipe.dump()); }

private:
    Log& log_;
};

class NotedSensors : public HVKStatisticsSensors {
public:
    NotedSensors(Machine& machine, Log& log) : HVKStatisticsSensors(machine), log_(log) {}
    void setDemo(bool demo) override { log_.push_back(demo ? "Sensors demo" : "Sensors no demo"); }
    void loadFromPlatform(const Value& recipe) override { log_.push_back("Sensors load " + recipe.dump()); }

private:
    Log& log_;
};

class NotedDisks : public NotedChangeable<StatisticsDisksRole> {
public:
    using NotedChangeable::NotedChangeable;
    void setChangedNetwork(bool) override { note("network changed"); }
    void setChangedRemovable(bool) override { note("removable changed"); }
};

class NotedNetwork : public Noted<StatisticsNetworkRole> {
public:
    using Noted::Noted;
    void updateConnections(const std::vector<std::string>& keys) override { note("update " + keys.at(0)); }
    bool changed() const override { return isChanged; }
    void updateTunnelStatus() override { note("tunnels"); }
    bool isChanged = true;
};

class NotedBluetooth : public StatisticsBluetoothRole {
public:
    explicit NotedBluetooth(Log& log) : log_(log) {}
    void setBluetoothChanged(bool) override { log_.push_back("Bluetooth changed"); }
    void loadFromGlobalPlatform(const Value& recipe) override { log_.push_back("Bluetooth load " + recipe.dump()); }
    void setOnBluetoothAuthorizationChanged(std::function<void()> block) override { authorized = std::move(block); }
    void setOnDeviceDisconnected(std::function<void()> block) override { disconnected = std::move(block); }
    std::function<void()> authorized;
    std::function<void()> disconnected;

private:
    Log& log_;
};

/// A module that is part of the library already; only demo mode comes to it.
class NotedPackets : public HVKStatisticsPackets {
public:
    NotedPackets(Machine& machine, Log& log) : HVKStatisticsPackets(machine), log_(log) {}
    void setDemo(bool demo) override { log_.push_back(demo ? "Packets demo" : "Packets no demo"); }

private:
    Log& log_;
};

class NotedProcesses : public HVKStatisticsProcesses {
public:
    NotedProcesses(Machine& machine, Log& log) : HVKStatisticsProcesses(machine), log_(log) {}
    void setDemo(bool demo) override { log_.push_back(demo ? "Processes demo" : "Processes no demo"); }

private:
    Log& log_;
};

class NotedNotifier : public StatisticsHardwareNotifierRole {
public:
    explicit NotedNotifier(Log& log) : log_(log) {}
    void setDelegate(HVKStatisticsHardwareNotifierDelegate* value) override { delegate = value; }
    void startNetworkTunnel() override { log_.push_back("NetworkTunnel"); }
    void startPowerSources() override { log_.push_back("PowerSources"); }
    void startDisks() override { log_.push_back("Disks"); }
    void startNetwork() override { log_.push_back("Network"); }
    void startSystemPowerEvents() override { log_.push_back("SystemPowerEvents"); }
    void startGPU() override { log_.push_back("GPU"); }
    void startSMART() override { log_.push_back("SMART"); }
    void startBluetooth() override { log_.push_back("Bluetooth"); }
    HVKStatisticsHardwareNotifierDelegate* delegate = nullptr;

private:
    Log& log_;
};

/// A framework in which every place is taken by a stand-in.
struct Stage {
    explicit Stage(const Value& answers = Value::object()) : machine(writtenMachine(answers)), framework(*machine) {
        framework.setGPU(std::make_shared<NotedGPU>(*machine, log));
        framework.setSMART(std::make_shared<NotedChangeable<StatisticsChangeableRole>>("SMART", log));
        framework.setDisks(std::make_shared<NotedDisks>("Disks", log));
        framework.setNetwork(network);
        framework.setBluetooth(bluetooth);
        framework.setHardwareNotifier(notifier);
        framework.setSensors(std::make_shared<NotedSensors>(*machine, log));
        framework.setBattery(std::make_shared<NotedModule>("Battery", log));
        framework.setPackets(std::make_shared<NotedPackets>(*machine, log));
        framework.setProcesses(std::make_shared<NotedProcesses>(*machine, log));
        framework.setPowerMetrics(std::make_shared<StatisticsPowerMetricsRole>());
    }

    Log taken() { return std::exchange(log, {}); }

    Log log;
    std::unique_ptr<RecordedMachine> machine;
    std::shared_ptr<NotedNetwork> network = std::make_shared<NotedNetwork>("Network", log);
    std::shared_ptr<NotedBluetooth> bluetooth = std::make_shared<NotedBluetooth>(log);
    std::shared_ptr<NotedNotifier> notifier = std::make_shared<NotedNotifier>(log);
    HVKStatisticsFramework framework;
};

TEST(Framework, DemoModeReachesTheModulesInOrder) {
    Stage stage;
    EXPECT_FALSE(stage.framework.demo());
    stage.framework.setDemo(true);
    EXPECT_THAT(stage.taken(), ElementsAre("GPU demo", "Network demo", "Disks demo", "Battery demo", "Sensors demo",
                                           "SMART demo", "Packets demo", "Processes demo"));
    EXPECT_TRUE(stage.framework.CPU()->demo() && stage.framework.Memory()->demo() && stage.framework.Load()->demo() &&
                stage.framework.Uptime()->demo() && stage.framework.demo());
    stage.framework.setDemo(false);
    EXPECT_FALSE(stage.framework.CPU()->demo());
    EXPECT_EQ(stage.taken().front(), "GPU no demo");
}

TEST(Framework, RecipesReachTheModulesThatUseThem) {
    test::SavedTree resources;
    setResourceDirectory(resources.root());
    const Value system = {{"system", {{"modelName", "Example13,1"}}}};
    Stage none(system);
    EXPECT_FALSE(none.framework.isPlatformSupported());
    none.framework.loadPlatform();
    none.framework.loadGlobalPlatform();
    EXPECT_THAT(none.taken(), ElementsAre("Sensors load null", "GPU load null", "Bluetooth load null"));

    const auto file = *encodeRecipe(R"({"version":1})");
    const std::string content(file.begin(), file.end());
    resources.write("/Example13,1.recipe", content).write("/global.recipe", content);
    const std::string address = "https://recipes.example/corvane7/platforms/";
    const auto newer = *encodeRecipe(R"({"version":2})");
    Value described = system;
    described["http"]["answers"][address] = {{"status", 200}, {"body", {{"$data", test::hexadecimal(newer)}}}};
    Stage stage(described);
    EXPECT_TRUE(stage.framework.isPlatformSupported());
    stage.framework.loadPlatform();
    stage.framework.loadGlobalPlatform();
    EXPECT_THAT(stage.taken(), ElementsAre("Sensors load {\"version\":1}", "GPU load {\"version\":1}",
                                           "Bluetooth load {\"version\":1}"));

    std::vector<bool> told;
    stage.framework.Platform().setServer("https://recipes.example");
    stage.framework.updatePlatform([&](bool updated) { told.push_back(updated); });
    stage.framework.updateGlobalPlatform([&](bool updated) { told.push_back(updated); });
    stage.framework.updateGlobalPlatform({});
    stage.machine->advance(1);
    EXPECT_THAT(told, ElementsAre(true, false));
    EXPECT_THAT(stage.taken(), IsEmpty()) << "it takes effect with the next load";
    stage.framework.loadPlatform();
    EXPECT_EQ(stage.taken().front(), "Sensors load {\"version\":2}");
    setResourceDirectory("");
}

TEST(Framework, NotificationsStartInOrderAndBluetoothWithPermission) {
    const struct {
        std::array<int, 3> level;
        Value authorization;
        bool started;
    } cases[] = {
        {{14, 0, 0}, 3, true},  {{14, 0, 0}, 0, false},
        {{14, 0, 0}, 2, false}, {{14, 0, 0}, {{"error", "absent"}}, false},
        {{13, 9, 9}, 0, true},  {{26, 0, 0}, 1, false},
    };
    for (const auto& one : cases) {
        Stage stage({{"system", {{"operatingSystemVersion", one.level}}},
                     {"bluetooth", {{"authorization", one.authorization}}}});
        stage.framework.startNotifications();
        Log expected = {"NetworkTunnel", "PowerSources", "Disks", "Network", "SystemPowerEvents", "GPU", "SMART"};
        if (one.started) expected.emplace_back("Bluetooth");
        EXPECT_EQ(stage.taken(), expected) << one.level[0];

        stage.framework.onBluetoothAuthorizationChanged = [&] { stage.log.push_back("host authorization"); };
        stage.bluetooth->authorized();
        EXPECT_THAT(stage.taken(), ElementsAre("host authorization", "Bluetooth")) << "the host hears of it first";
        stage.bluetooth->disconnected();
        stage.framework.onBluetoothChanged = [&] { stage.log.push_back("host Bluetooth"); };
        stage.bluetooth->disconnected();
        EXPECT_THAT(stage.taken(), ElementsAre("host Bluetooth"));
    }
}

TEST(Framework, EachEventMarksItsModuleThenCallsItsBlock) {
    Stage stage;
    HVKStatisticsFramework& framework = stage.framework;
    ASSERT_EQ(stage.notifier->delegate, &framework);
    using F = HVKStatisticsFramework;
    const struct {
        void (F::*event)();
        std::function<void()> F::*block;
        const char* mark;
    } cases[] = {
        {&F::bluetoothChanged, &F::onBluetoothChanged, "Bluetooth changed"},
        {&F::bluetoothAuthorizationChanged, &F::onBluetoothAuthorizationChanged, nullptr},
        {&F::powerSourceChanged, nullptr, nullptr},
        {&F::disksChanged, &F::onDisksChanged, "Disks changed"},
        {&F::networkDisksChanged, &F::onNetworkDisksChanged, "Disks network changed"},
        {&F::removableDisksChanged, nullptr, "Disks removable changed"},
        {&F::networkTunnelChanged, &F::onNetworkTunnelChanged, "Network tunnels"},
        {&F::GPUChanged, &F::onGPUChanged, "GPU changed"},
        {&F::SMARTChanged, &F::onSMARTChanged, "SMART changed"},
        {&F::networkIPv4Changed, &F::onNetworkIPv4Changed, nullptr},
        {&F::networkIPv6Changed, &F::onNetworkIPv6Changed, nullptr},
        {&F::networkDNSChanged, &F::onNetworkDNSChanged, nullptr},
        {&F::networkRouterChanged, &F::onNetworkRouterChanged, nullptr},
        {&F::networkPublicAddressChanged, nullptr, nullptr},
        {&F::networkWifiNetworkChanged, &F::onNetworkWifiChanged, nullptr},
        {&F::networkInternetStatusChanged, nullptr, nullptr},
        {&F::batterySourceChanged, &F::onBatterySourceChanged, nullptr},
        {&F::batteryStateChanged, &F::onBatteryStateChanged, nullptr},
    };
    int number = 0;
    for (const auto& one : cases) {
        Log expected;
        if (one.mark != nullptr) expected.emplace_back(one.mark);
        (framework.*one.event)();
        EXPECT_EQ(stage.taken(), expected) << number << ": no block is set";
        if (one.block != nullptr) {
            framework.*one.block = [&] { stage.log.push_back("host"); };
            expected.emplace_back("host");
        }
        (framework.*one.event)();
        EXPECT_EQ(stage.taken(), expected) << number;
        if (one.block != nullptr) framework.*one.block = nullptr;
        ++number;
    }

    Value seen;
    framework.networkLocationsChanged("none is set");
    framework.onNetworkLocationsChanged = [&](const Value& value) { seen["locations"] = value; };
    framework.onNetworkPrimaryServiceChanged = [&](const Value& value) { seen["primary"] = value; };
    framework.onNetworkStatusChanged = [&](std::int64_t value) { seen["status"] = value; };
    framework.networkLocationsChanged({"Home", "Work"});
    framework.networkPrimaryServiceChanged({{"bsd", "en0"}});
    framework.networkStatusChanged(3);
    EXPECT_EQ(seen, Value::parse(R"({"locations":["Home","Work"],"primary":{"bsd":"en0"},"status":3})"));
}

TEST(Framework, ANetworkChangeIsReadTwice) {
    Stage stage;
    stage.framework.onNetworkChanged = [&] { stage.log.push_back("host"); };
    stage.framework.networkChanged({"State:/Network/Global/IPv4"});
    EXPECT_THAT(stage.taken(), ElementsAre("Network update State:/Network/Global/IPv4", "host"));
    stage.machine->advance(0.999);
    EXPECT_THAT(stage.taken(), IsEmpty());
    stage.network->isChanged = false;
    stage.machine->advance(0.001);
    EXPECT_THAT(stage.taken(), ElementsAre("Network update State:/Network/Global/IPv4")) << "nothing changed any more";
    stage.machine->advance(10);
    EXPECT_THAT(stage.taken(), IsEmpty());
}

TEST(Framework, MayGoBeforeTheSecondReading) {
    Log log;
    const auto machine = writtenMachine();
    const auto network = std::make_shared<NotedNetwork>("Network", log);
    {
        HVKStatisticsFramework framework(*machine);
        framework.setNetwork(network);
        framework.networkChanged({"key"});
    }
    machine->advance(2);
    EXPECT_EQ(log.size(), 1U);
}

TEST(Framework, WithoutAModuleAnEventOnlyCallsItsBlock) {
    const auto machine = writtenMachine();
    HVKStatisticsFramework framework(*machine);
    int calls = 0;
    framework.onDisksChanged = framework.onGPUChanged = framework.onNetworkChanged = [&] { ++calls; };
    framework.startNotifications();
    framework.disksChanged();
    framework.GPUChanged();
    framework.networkChanged({"key"});
    machine->advance(2);
    framework.setDemo(true);
    EXPECT_EQ(calls, 2) << "no network module, no network change";
}

}  // namespace
}  // namespace hvk
