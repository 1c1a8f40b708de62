// What the sensors of a saved machine say of themselves, its thermal zones, and the recipe that is made of both.

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "HVKPlatform/linux/SensorNames.h"
#include "HVKStatistics/sensors/RecipeMaker.h"
#include "SensorTree.h"

namespace hvk {
namespace {

using test::SensorMachine;
using test::SensorTree;
using testing::ElementsAre;
using testing::IsEmpty;
using testing::Pair;

SensorTree& zone(SensorTree& tree, int number, const std::string& type, const std::string& temperature,
                 const std::string& mode = "enabled") {
    const std::string start = "/sys/class/thermal/thermal_zone" + std::to_string(number);
    tree.write(start + "/type", type + "\n").write(start + "/temp", temperature + "\n");
    tree.write(start + "/mode", mode + "\n");
    return tree;
}

std::vector<std::pair<std::string, double>> zones(Machine& machine) {
    std::vector<HIDReading> readings;
    EXPECT_TRUE(machine.hid().readings(HIDTemperatureUsagePage, HIDTemperatureUsage, HIDTemperatureEvent, readings));
    std::vector<std::pair<std::string, double>> found;
    for (const HIDReading& reading : readings) found.emplace_back(reading.product, reading.value);
    return found;
}

TEST(ThermalZones, AreServicesOfTheirTypeAndThoseWithoutAValueAreAbsent) {
    SensorTree tree;
    zone(zone(zone(tree, 10, "acpitz", "30000"), 2, "acpitz", "29500"), 0, "x86_pkg_temp", "61000");
    zone(zone(tree, 3, "INT3400", "20000", "disabled"), 4, "iwlwifi_1", "garbage");
    zone(zone(tree, 5, "cold", "-10000"), 6, "broken", "-274000");
    LinuxMachine machine(tree.root());
    EXPECT_THAT(zones(machine),
                ElementsAre(Pair("x86_pkg_temp", 61), Pair("acpitz", 29.5), Pair("cold", -10), Pair("acpitz 2", 30)));
    tree.remove("/sys/class/thermal/thermal_zone2");
    zone(tree, 12, "acpitz", "31000");
    EXPECT_THAT(zones(machine),
                ElementsAre(Pair("x86_pkg_temp", 61), Pair("cold", -10), Pair("acpitz 2", 30), Pair("acpitz", 31)))
        << "a zone that stayed keeps its name";

    std::vector<HIDReading> others = {{"left over", 1}};
    EXPECT_TRUE(machine.hid().readings(1, 6, HIDTemperatureEvent, others));
    EXPECT_THAT(others, IsEmpty());
    test::SavedTree bare;
    LinuxMachine without(bare.root());
    EXPECT_EQ(without.hid()
                  .readings(HIDTemperatureUsagePage, HIDTemperatureUsage, HIDTemperatureEvent, others)
                  .failure()
                  .kind,
              FailureKind::Absent);
}

TEST(SensorNames, AreThoseThatPeopleKnow) {
    const struct {
        SensorOrigin origin;
        const char* name;
        const char* group;
    } cases[] = {
        {{"coretemp", "Package id 0", 1, SensorKind::Temperature}, "CPU Package", "CPU"},
        {{"coretemp", "Core 12", 14, SensorKind::Temperature}, "CPU Core", "CPU Cores"},
        {{"k10temp", "Tctl", 1, SensorKind::Temperature}, "CPU", "CPU"},
        {{"k10temp", "Tccd2", 4, SensorKind::Temperature}, "CPU CCD", "CPU Dies"},
        {{"amdgpu", "edge", 1, SensorKind::Temperature}, "GPU", "GPU"},
        {{"amdgpu", "junction", 2, SensorKind::Temperature}, "GPU Hotspot", ""},
        {{"amdgpu", "", 1, SensorKind::Fan}, "GPU Fan", "Fans"},
        {{"nvme", "Composite", 1, SensorKind::Temperature}, "SSD", "SSD"},
        {{"nvme", "Sensor 2", 3, SensorKind::Temperature}, "SSD Sensor 2", ""},
        {{"spd5118", "", 1, SensorKind::Temperature}, "Memory", "Memory"},
        {{"iwlwifi_1", "", 1, SensorKind::Temperature}, "Wi-Fi", ""},
        {{"nct6798", "SYSTIN", 1, SensorKind::Temperature}, "System", ""},
        {{"nct6798", "", 2, SensorKind::Fan}, "Fan 2", "Fans"},
        {{"nct6798", "", 0, SensorKind::Voltage}, "Voltage 1", ""},
        {{"dell_smm", "Processor Fan", 1, SensorKind::Fan}, "CPU Fan", "Fans"},
        {{"BAT0", "", 0, SensorKind::Voltage}, "Battery", "Battery"},
    };
    for (const auto& each : cases) {
        const SensorName name = sensorName(each.origin);
        EXPECT_EQ(name.name, each.name);
        EXPECT_EQ(name.group, each.group) << each.name;
    }
}

/// A notebook: processor with two cores, graphics, two disks, a board with two fans, a thermal zone.
void fillNotebook(SensorTree& tree) {
    tree.chip(0, "platform/coretemp.0", "coretemp",
              {{"temp1_input", "50000"},
               {"temp1_label", "Package id 0"},
               {"temp1_crit", "100000"},
               {"temp1_max", "90000"},
               {"temp2_input", "48000"},
               {"temp2_label", "Core 0"},
               {"temp3_input", "52000"},
               {"temp3_label", "Core 4"}});
    tree.chip(1, "pci0000:00/0000:01:00.0", "amdgpu", {{"temp1_input", "40000"}, {"temp1_label", "edge"}});
    const test::Attributes disk = {{"temp1_input", "30000"},
                                   {"temp1_label", "Composite"},
                                   {"temp1_min", "-273150"},
                                   {"temp1_max", "81850"},
                                   {"temp1_crit", "84850"}};
    tree.chip(2, "pci0000:00/0000:03:00.0/nvme/nvme0", "nvme", disk);
    tree.chip(3, "pci0000:00/0000:04:00.0/nvme/nvme1", "nvme", disk);
    tree.chip(4, "platform/board.0", "nct6798",
              {{"fan1_input", "900"},
               {"fan1_min", "300"},
               {"fan1_max", "3000"},
               {"fan2_input", "0"},
               {"fan2_max", "5000"},
               {"fan3_input", "700"},
               {"in0_input", "1000"},
               {"in0_min", "2000"},
               {"in0_max", "1740"}});
    zone(zone(tree, 0, "x86_pkg_temp", "50000"), 1, "acpitz", "28000");
}

TEST(SensorDescriptions, TellNamesChipsAndLimits) {
    SensorTree tree;
    fillNotebook(tree);
    LinuxMachine machine(tree.root());
    const auto sensors = machine.sensorDescriptions().descriptions();
    ASSERT_TRUE(sensors);
    std::vector<std::string> lines;
    for (const SensorDescription& each : *sensors) lines.push_back(each.chip + ": " + each.name);
    EXPECT_THAT(lines, testing::UnorderedElementsAre("coretemp: CPU Package", "coretemp: CPU Core 1",
                                                     "coretemp: CPU Core 2", "amdgpu: GPU", "nvme: SSD 1",
                                                     "nvme 2: SSD 2", "nct6798: Fan 1", "nct6798: Fan 2",
                                                     "nct6798: Fan 3", "nct6798: Voltage 1", "thermal zones: System"))
        << "a zone that coretemp shows already is left out";
    const auto named = [&](const std::string& name) {
        for (const SensorDescription& each : *sensors)
            if (each.name == name) return each;
        return SensorDescription{};
    };
    EXPECT_EQ(named("CPU Package").high, 100) << "the critical limit comes first";
    EXPECT_EQ(named("SSD 1").low, std::nullopt) << "absolute zero is an unset register";
    EXPECT_EQ(named("SSD 1").high, 84.85);
    EXPECT_EQ(named("Fan 1").low, 300);
    EXPECT_EQ(named("Voltage 1").low, std::nullopt) << "limits the wrong way round";
    EXPECT_EQ(named("Voltage 1").high, 1.74);
    EXPECT_EQ(named("System").source, SensorSource::HID);

    const auto revision = machine.sensorDescriptions().revision();
    tree.unplug(3, "pci0000:00/0000:04:00.0/nvme/nvme1");
    EXPECT_NE(machine.sensorDescriptions().revision().valueOr(0), revision.valueOr(0));
    EXPECT_EQ(machine.sensorDescriptions().descriptions()->size(), 10U);
}

TEST(RecipeMaker, MakesTheRecipeOfTheMachine) {
    SensorTree tree;
    fillNotebook(tree);
    SensorMachine sensors(tree);
    const auto made = RecipeMaker(sensors.machine).make();
    ASSERT_TRUE(made);
    const Value& recipe = *made;
    EXPECT_EQ(recipe["version"], 1);
    std::map<std::string, std::string> groups;
    std::map<std::string, Value> entries;
    for (const Value& group : recipe["sensors"]["supported"]) {
        EXPECT_TRUE(group.contains("group"));
        std::string& names = groups[group["key"].get<std::string>() + "-" + std::to_string(group["type"].get<int>())];
        EXPECT_EQ(names, "") << "the identity of a group is its own";
        for (const Value& entry : group["sensors"]) {
            names += (names.empty() ? "" : ", ") + entry["name"].get<std::string>();
            entries[entry["key"]] = entry;
        }
    }
    EXPECT_EQ(groups["temperature-simple-1"], "CPU Package, CPU Cores, GPU, SSD");
    EXPECT_EQ(groups["temperature-coretemp-2"], "CPU Package, CPU Core 1, CPU Core 2");
    EXPECT_EQ(groups["temperature-thermal zones-2"], "System");
    EXPECT_EQ(groups["fan-simple-1"], "Fans, Fan 1, Fan 2, Fan 3");
    EXPECT_EQ(groups["voltage-simple-1"], "Voltage 1");
    EXPECT_EQ(entries["AS_CPU_AVG"]["sensors"].size(), 2U);
    EXPECT_EQ(entries["AS_GPU_AVG"]["source"], "average") << "compact displays look for it";
    EXPECT_EQ(entries["AVG_FAN_FANS"]["sensors"].size(), 2U) << "those whose range is known";
    EXPECT_EQ(entries["AVG_FAN_FANS"]["type"], 2);
    EXPECT_EQ(entries["acpitz"]["source"], "hid");
    // Every key that stands in a list is a sensor of the catalogue, and every key of the controller can be read.
    for (const Value& list :
         {recipe["sensors"]["default"], recipe["cpu"]["sensors"], recipe["fans"]["groups"][0]["sensors"]}) {
        EXPECT_FALSE(list.empty());
        for (const Value& key : list) EXPECT_TRUE(entries.contains(key)) << key;
    }
    for (const auto& [key, entry] : entries) {
        if (entry["source"] != "smc") continue;
        EXPECT_NE(sensors.smc.read(key), SMCNotAvailable) << key;
    }
    EXPECT_EQ(*RecipeMaker(sensors.machine).make(), recipe);

    SensorTree empty;
    LinuxMachine without(empty.root());
    EXPECT_EQ(RecipeMaker(without).make().failure().kind, FailureKind::Absent);
}

}  // namespace
}  // namespace hvk
