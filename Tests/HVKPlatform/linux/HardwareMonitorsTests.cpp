// Hardware monitors behind the controller: what the client reads of each kind of channel, what it reads when a channel
// has no value, and which key a channel has whatever happens to the chips around it.

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <sys/stat.h>

#include <set>

#include "HVKPlatform/linux/SystemCalls.h"
#include "SensorTree.h"

namespace hvk {
namespace {

using test::SensorMachine;
using test::SensorTree;
using testing::Contains;
using testing::ElementsAre;
using testing::HasSubstr;
using testing::Not;

constexpr const char* Board = "platform/nct6775.656";
constexpr const char* Card = "pci0000:00/0000:00:01.0/0000:01:00.0";

SourceReport report(Machine& machine, const std::string& source) {
    for (const SourceReport& one : machine.diagnostics().reports())
        if (one.source == source) return one;
    ADD_FAILURE() << "no source " << source;
    return {};
}

TEST(HardwareMonitors, EveryQuantityInTheUnitOfItsKind) {
    SensorTree tree;
    tree.chip(0, Board, "nct6775",
              {{"temp1_input", "45250"},
               {"temp2_input", "-5500"},
               {"fan1_input", "1180"},
               {"in0_input", "1056"},
               {"curr1_input", "2500"},
               {"power1_input", "17250000"},
               {"power2_average", "9000000"},
               {"freq1_input", "2100000000"},
               {"pwm1", "128"},
               {"power3_cap", "1"},
               {"temp3_crit", "1"},
               {"fan1_alarm", "0"}});
    SensorMachine sensors(tree);
    ASSERT_TRUE(sensors.opened);
    EXPECT_FLOAT_EQ(sensors.read("nct6775 temp1"), 45.25F);
    EXPECT_FLOAT_EQ(sensors.read("nct6775 fan1"), 1180);
    EXPECT_FLOAT_EQ(sensors.read("nct6775 in0"), 1.056F);
    EXPECT_FLOAT_EQ(sensors.read("nct6775 curr1"), 2.5F);
    EXPECT_FLOAT_EQ(sensors.read("nct6775 power1"), 17.25F);
    EXPECT_FLOAT_EQ(sensors.read("nct6775 power2"), 9) << "the average, where there is nothing else";
    EXPECT_FLOAT_EQ(sensors.read("nct6775 freq1"), 2100);
    EXPECT_EQ(sensors.read("nct6775 temp2"), SMCNotAvailable) << "the client's own rule for temperatures below 0";
    EXPECT_EQ(sensors.smc.detailedRead(sensors.keys()["nct6775 temp2"])["value"], -5.5F) << "the controller tells it";

    std::string letters;
    for (const auto& [channel, key] : sensors.keys()) letters += key[0];
    EXPECT_EQ(letters, "IFCVPPTT") << "curr1 fan1 freq1 in0 power1 power2 temp1 temp2, and no other channel";
    EXPECT_EQ(sensors.smc.read("#KEY"), 8);
}

TEST(HardwareMonitors, AValueThatCannotBeHadIsAbsentAndNeverZero) {
    SensorTree tree;
    tree.chip(0, Board, "nct6775",
              {{"temp1_input", "40000"},
               {"temp2_input", "40000"},
               {"temp2_fault", "1"},
               {"temp3_input", "4x"},
               {"temp4_input", ""},
               {"temp5_input", "-273150"},
               {"in1_input", "99999999999999999999"},
               {"in2_input", "5000"},
               {"in2_enable", "0"},
               {"fan1_input", "-1"},
               {"fan2_input", "0"},
               {"curr1_input", "12 13"},
               {"fan3_input", std::string(5000, '1')}});
    const std::string directory = tree.path(SensorTree::directoryOf(0, Board));
    ::mkdir((directory + "/temp6_input").c_str(), 0700);
    ::mkfifo((directory + "/temp7_input").c_str(), 0600);
    SensorMachine sensors(tree);
    for (const char* channel :
         {"temp2", "temp3", "temp4", "temp5", "temp6", "temp7", "in1", "in2", "fan1", "fan3", "curr1"})
        EXPECT_EQ(sensors.read(std::string("nct6775 ") + channel), SMCNotAvailable) << channel;
    EXPECT_FLOAT_EQ(sensors.read("nct6775 temp1"), 40);
    EXPECT_FLOAT_EQ(sensors.read("nct6775 fan2"), 0) << "a fan that stands still is a reading";

    tree.write(SensorTree::directoryOf(0, Board) + "/temp2_fault", "0\n");
    EXPECT_FLOAT_EQ(sensors.read("nct6775 temp2"), 40) << "the fault went away";
    const SourceReport chip = report(sensors.machine, "nct6775@platform/nct6775.656");
    ASSERT_TRUE(chip.lastFailure);
    EXPECT_GE(chip.failures, 11U);
    const auto failures = chip.failures;
    (void)sensors.read("nct6775 temp3");
    EXPECT_EQ(report(sensors.machine, "nct6775@platform/nct6775.656").failures, failures)
        << "one that goes on failing is noted once";
}

TEST(HardwareMonitors, ASleepingDeviceIsNotReadAndItsKeysStayKnown) {
    SensorTree tree;
    tree.chip(0, Card, "amdgpu", {{"temp1_input", "50000"}, {"power1_average", "30000000"}, {"temp1_crit", "100000"}});
    const std::string status = "/sys/devices/" + std::string(Card) + "/power/runtime_status";
    tree.write(status, "suspended\n");
    // The bus above is no reason to leave anything alone.
    tree.write("/sys/devices/pci0000:00/0000:00:01.0/power/runtime_status", "active\n");
    tree.chip(1, "pci0000:00/0000:00:15.0/i2c_designware.0/i2c-3/3-0048", "lm75", {{"temp1_input", "31000"}});
    tree.write("/sys/devices/pci0000:00/0000:00:15.0/power/runtime_status", "suspended\n");
    SensorMachine sensors(tree);
    const auto keys = sensors.keys();
    EXPECT_EQ(keys.at("amdgpu temp1").substr(0, 2), "TG") << "kept by recipes although it does not answer";
    EXPECT_EQ(sensors.read("amdgpu temp1"), SMCNotAvailable);
    EXPECT_EQ(sensors.read("amdgpu power1"), SMCNotAvailable);
    EXPECT_FLOAT_EQ(sensors.read("lm75 temp1"), 31) << "a bus that rests between transfers";
    EXPECT_THAT(report(sensors.machine, "amdgpu@" + std::string(Card)).note, HasSubstr("suspended"));
    EXPECT_FALSE(sensors.monitors().descriptions()[0].high) << "limits are not asked of a sleeping device";

    const auto revision = sensors.monitors().revision();
    tree.write(status, "active\n");
    EXPECT_FLOAT_EQ(sensors.read("amdgpu temp1"), 50) << "what the client kept of the key was right";
    EXPECT_EQ(report(sensors.machine, "amdgpu@" + std::string(Card)).note, "");
    EXPECT_GT(sensors.monitors().revision(), revision) << "a first value is news";
    EXPECT_EQ(sensors.monitors().descriptions()[0].high, 100);
}

TEST(HardwareMonitors, EnergyAloneBecomesPower) {
    SensorTree tree;
    tree.chip(0, "platform/amd_energy.0", "amd_energy", {{"energy1_input", "5000000"}});
    tree.chip(1, Card, "xe", {{"energy1_input", "1"}, {"power1_input", "4000000"}});
    class SteppedClock : public ClockPort {
    public:
        double wallSeconds() override { return now; }
        double monotonicSeconds() override { return now; }
        double now = 100;
    } clock;
    Diagnostics diagnostics;
    const LinuxRoot root(tree.root());
    HardwareMonitors monitors(root, clock, diagnostics);
    const auto channels = monitors.descriptions();
    ASSERT_EQ(channels.size(), 2U) << "energy beside power is the same thing twice";
    const auto energy = channels[channels[0].chip == "amd_energy" ? 0 : 1];
    EXPECT_EQ(energy.kind, SensorKind::Power);
    const auto after = [&](double seconds, const char* microjoules) {
        clock.now += seconds;
        tree.write(SensorTree::directoryOf(0, "platform/amd_energy.0") + "/energy1_input", microjoules);
        return monitors.read(energy.key);
    };
    EXPECT_EQ(after(0, "5000000"), std::nullopt);
    EXPECT_EQ(after(2, "35000000"), 15) << "since the chip was found";
    EXPECT_EQ(after(0.001, "35900000"), 15) << "no time has passed";
    EXPECT_EQ(after(3.999, "75000000"), 10);
    EXPECT_EQ(after(1, "20"), std::nullopt) << "the counter was reset";
    EXPECT_EQ(after(1, "3000020"), 3);
}

TEST(HardwareMonitors, KeysFollowTheDeviceAndNotItsNumber) {
    const test::Attributes attributes = {{"temp1_input", "30000"}, {"temp2_input", "31000"}};
    const std::string disk = "pci0000:00/0000:00:1d.0/0000:03:00.0/nvme/nvme";
    const std::string cooler = "pci0000:00/0000:00:14.0/usb1/1-3/1-3:1.0/0003:1E71:2007.";
    SensorTree before;
    before.chip(0, "platform/coretemp.0", "coretemp", attributes);
    before.chip(1, disk + "0", "nvme", attributes).chip(2, cooler + "0004", "nzxt", attributes);
    before.chip(3, "pci0000:00/0000:00:1f.4/i2c-2/2-0018", "jc42", attributes);
    before.chip(4, "pci0000:00/0000:00:1f.4/i2c-10/10-0018", "jc42b", attributes);
    SensorTree after;
    after.chip(9, "platform/coretemp.0", "coretemp", attributes);
    after.chip(3, disk + "1", "nvme", attributes).chip(0, cooler + "00A1", "nzxt", attributes);
    after.chip(4, "pci0000:00/0000:00:1f.4/i2c-5/5-0018", "jc42", attributes);
    after.chip(5, "pci0000:00/0000:00:1f.4/i2c-6/6-0018", "jc42b", attributes);
    after.chip(6, "platform/other.0", "other", attributes);
    SensorMachine first(before);
    SensorMachine second(after);
    auto expected = first.keys();
    auto found = second.keys();
    for (const auto& [channel, key] : expected) EXPECT_EQ(found[channel], key) << channel;
    std::set<std::string> different;
    for (const auto& [channel, key] : found) different.insert(key);
    EXPECT_EQ(different.size(), 12U);
    // Keys stand in recipes that are kept: they never change from one version of this program to the next either.
    EXPECT_EQ(expected["coretemp temp1"], "T6CI");
}

TEST(HardwareMonitors, TwinsOnOneDeviceAreToldApartByTheirOrder) {
    SensorTree tree;
    const std::string bus = "pci0000:00/0000:00:14.0";
    tree.chip(1, bus + "/i2c-10/10-0018", "jc42", {{"temp1_input", "20000"}});
    tree.chip(2, bus + "/i2c-9/9-0018", "jc42", {{"temp1_input", "10000"}});
    SensorMachine sensors(tree);
    const auto channels = sensors.monitors().descriptions();
    ASSERT_EQ(channels.size(), 2U);
    EXPECT_EQ(channels[0].device + " #2", channels[1].device);
    EXPECT_EQ(sensors.monitors().read(channels[0].key), 10);
    EXPECT_EQ(sensors.monitors().read(channels[1].key), 20);
}

TEST(HardwareMonitors, OneOfTwelveChipsComesAndGoesAndNothingElseMoves) {
    SensorTree tree;
    const auto device = [](int number) { return "platform/chip." + std::to_string(number); };
    const auto attributes = [](int number) {
        test::Attributes all;
        for (int index = 1; index <= 17; ++index)
            all.emplace_back("temp" + std::to_string(index) + "_input", std::to_string(20000 + number * 1000 + index));
        return all;
    };
    for (int number = 0; number < 12; ++number)
        tree.chip(number, device(number), "chip" + std::to_string(number), attributes(number));
    SensorMachine sensors(tree);
    const std::size_t count = 12 * 17;
    ASSERT_EQ(sensors.smc.read("#KEY"), count);
    std::vector<std::string> keys;
    for (std::uint32_t index = 0; index < count; ++index) keys.push_back(sensors.smc.keyForIndex(index).value_or(""));
    const auto values = [&] {
        std::vector<float> all;
        for (const std::string& key : keys) all.push_back(sensors.smc.read(key));
        return all;
    };
    const auto before = values();
    EXPECT_THAT(before, Not(Contains(SMCNotAvailable)));

    tree.unplug(5, device(5));
    const auto without = values();
    for (std::size_t index = 0; index < count; ++index) {
        const bool isAway = index / 17 == 5;
        EXPECT_EQ(without[index], isAway ? SMCNotAvailable : before[index]) << index;
        EXPECT_EQ(sensors.smc.keyForIndex(static_cast<std::uint32_t>(index)).value_or(""), isAway ? "" : keys[index]);
    }
    EXPECT_EQ(report(sensors.machine, "chip5@platform/chip.5").failure.value().kind, FailureKind::Gone);

    tree.chip(40, device(5), "chip5", attributes(5));
    EXPECT_EQ(values(), before) << "at once, under another number";
    EXPECT_FALSE(report(sensors.machine, "chip5@platform/chip.5").failure);
    EXPECT_EQ(sensors.smc.read("#KEY"), count);
}

TEST(HardwareMonitors, AKeyAskedForBeforeItsChipCameAnswersAfterwards) {
    SensorTree tree;
    SensorTree elsewhere;
    elsewhere.chip(0, Board, "nct6775", {{"temp1_input", "33000"}});
    const std::string key = SensorMachine(elsewhere).keys()["nct6775 temp1"];
    SensorMachine sensors(tree);
    ASSERT_TRUE(sensors.opened) << "there is hardware monitoring, only no chip yet";
    EXPECT_EQ(sensors.smc.read(key), SMCNotAvailable);
    // A driver makes the attributes after the directory.
    tree.chip(0, Board, "nct6775", {});
    EXPECT_EQ(sensors.smc.read(key), SMCNotAvailable);
    tree.write(SensorTree::directoryOf(0, Board) + "/temp1_input", "33000\n");
    EXPECT_EQ(sensors.smc.read(key), 33);
}

TEST(HardwareMonitors, OnlyThisServiceOpensAndNothingIsWritten) {
    SensorTree tree;
    tree.chip(0, Board, "nct6775", {{"fan1_input", "900"}});
    SensorMachine sensors(tree);
    auto& clients = sensors.machine.userClients();
    EXPECT_EQ(clients.open("IOFramebuffer", 1).failure().kind, FailureKind::Absent);
    EXPECT_EQ(clients.open(ControllerServiceClass, 7).failure().kind, FailureKind::Unsupported);
    const std::string key = sensors.keys()["nct6775 fan1"];
    (void)sensors.smc.write(1200, key);
    EXPECT_EQ(sensors.smc.read(key), 900);
    std::vector<std::uint8_t> call(ControllerCallSize);
    const std::uint32_t code = *controllerCode(key);
    std::memcpy(call.data(), &code, 4);
    call[28] = 4;
    call[42] = 6;
    std::vector<std::uint8_t> reply(ControllerCallSize);
    const auto connection = clients.open(ControllerServiceClass, ControllerClientType);
    ASSERT_TRUE(connection);
    EXPECT_EQ(clients.callStructure(*connection, ControllerCallSelector, call, reply).failure().kind,
              FailureKind::Denied);
    clients.close(*connection);
    EXPECT_EQ(clients.callStructure(*connection, ControllerCallSelector, call, reply).failure().kind,
              FailureKind::Gone);

    test::SavedTree bare;
    bare.write("/proc/stat", "");
    LinuxMachine without(bare.root());
    EXPECT_EQ(without.userClients().open(ControllerServiceClass, 1).failure().kind, FailureKind::Absent);
    EXPECT_TRUE(report(without, "/sys/class/hwmon").failure);
}

TEST(HardwareMonitors, ChipsThatAreNoLinksAndOldDriversCount) {
    SensorTree tree;
    tree.write("/sys/class/hwmon/hwmon0/name", "nvme\n").write("/sys/class/hwmon/hwmon0/temp1_input", "35000\n");
    tree.link("/sys/class/hwmon/hwmon0/device", "../../../nvme0");
    tree.write("/sys/class/hwmon/hwmon1/device/name", "it87\n");
    tree.write("/sys/class/hwmon/hwmon1/device/fan1_input", "700\n");
    tree.write("/sys/class/hwmon/README", "not a chip\n");
    SensorMachine sensors(tree);
    EXPECT_EQ(sensors.keys().size(), 2U);
    EXPECT_FLOAT_EQ(sensors.read("nvme temp1"), 35);
    EXPECT_FLOAT_EQ(sensors.read("it87 fan1"), 700);
}

TEST(SensorKeys, OfTwoThatCollideTheLaterOneMovesOn) {
    // Two identities with one first key, found by trying.
    std::map<std::uint32_t, std::string> seen;
    std::string one;
    std::string two;
    for (int number = 0; two.empty(); ++number) {
        const std::string identity = "chip@device/temp" + std::to_string(number);
        const auto [known, isNew] =
            seen.try_emplace(sensorKeyAttempt(SensorKind::Temperature, false, identity, 0), identity);
        if (isNew) continue;
        one = known->second;
        two = identity;
    }
    SensorKeys keys;
    const std::uint32_t first = keys.give(SensorKind::Temperature, false, one, 0);
    const std::uint32_t second = keys.give(SensorKind::Temperature, false, two, 1);
    EXPECT_EQ(second, sensorKeyAttempt(SensorKind::Temperature, false, two, 1));
    EXPECT_EQ(keys.find(first), 0U);
    EXPECT_EQ(keys.find(second), 1U);
    SensorKeys alone;
    EXPECT_EQ(alone.give(SensorKind::Temperature, false, two, 0), first) << "nothing to give way to";
}

TEST(SensorKeys, AreShapedByKindAndNeverRunOut) {
    SensorKeys keys;
    for (std::size_t place = 0; place < 3800; ++place) {
        const std::uint32_t key = keys.give(SensorKind::Temperature, true, std::to_string(place), place);
        ASSERT_TRUE(isSensorKey(key));
        ASSERT_EQ(controllerText(key).substr(0, 2), "TG");
    }
    for (int number = 0; number < 500; ++number)
        EXPECT_NE(controllerText(sensorKeyAttempt(SensorKind::Temperature, false, std::to_string(number), 0))[1], 'G');
    for (const char* other : {"#KEY", "Z000", "T-00", "t000"}) EXPECT_FALSE(isSensorKey(*controllerCode(other)));
}

TEST(HardwareMonitors, APassCostsOneReadingPerChannelWithinTheBudget) {
    SensorTree tree;
    test::Attributes attributes;
    for (int index = 1; index <= 50; ++index)
        attributes.emplace_back("temp" + std::to_string(index) + "_input", "30000");
    tree.chip(0, Board, "nct6775", attributes);
    Diagnostics diagnostics;
    const LinuxRoot root(tree.root());
    LinuxClockPort clock(root);
    HardwareMonitors monitors(root, clock, diagnostics, DescriptorBudget::Keep::Everything);
    const auto channels = monitors.descriptions();
    const auto pass = [&] {
        const auto before = systemCallsOfThisThread();
        for (const auto& channel : channels) EXPECT_EQ(monitors.read(channel.key), 30);
        return systemCallsOfThisThread() - before;
    };
    pass();
    EXPECT_LE(pass(), 50U + 4U) << "and the list of chips once";

    DescriptorBudget few(DescriptorBudget::Keep::Everything, 2);
    std::vector<AttributeFile> files;
    for (int index = 1; index <= 3; ++index)
        files.emplace_back(tree.path(SensorTree::directoryOf(0, Board)) + "/temp" + std::to_string(index) + "_input",
                           few);
    for (AttributeFile& file : files) EXPECT_EQ(file.read().number, 30000);
    EXPECT_EQ(few.left(), 0);
    files.clear();
    EXPECT_EQ(few.left(), 2);
}

}  // namespace
}  // namespace hvk
