// Loading a recipe: which entries a machine has, what they are called and where they go.

#include "HVKStatistics/sensors/SensorLoader.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <fstream>

#include "HVKStatistics/sensors/HVKStatisticsSensors.h"
#include "support/WrittenMachine.h"

namespace hvk {
namespace {

using test::Start;
using test::writtenMachine;
using testing::ElementsAre;
using testing::IsEmpty;

/// A machine whose controller has these keys, each at 50 degrees, and these HID products.
std::unique_ptr<RecordedMachine> machineWith(const std::vector<std::string>& keys,
                                             const std::vector<std::string>& products = {}, int physical = 2,
                                             int logical = 4) {
    Value controller = Value::array();
    for (const std::string& key : keys) controller.push_back({{"key", key}, {"type", "sp78"}, {"bytes", "3200"}});
    Value readings = Value::array();
    for (const std::string& product : products) readings.push_back({{"product", product}, {"value", 40}});
    return writtenMachine({{"controller", {{"services", {{"AppleSMC", {{"keys", controller}}}}}}},
                           {"hid", {{"readings", readings}}},
                           {"system", {{"physicalProcessorCount", physical}, {"logicalProcessorCount", logical}}}});
}

Value recipe(const Value& supported) { return {{"version", 1}, {"sensors", {{"supported", supported}}}}; }

/// "TC0P CPU in temperature" for each sensor, in the groups' order.
std::vector<std::string> shown(const HVKStatisticsSensors& sensors) {
    std::vector<std::string> lines;
    for (const auto& group : sensors.groups())
        for (const auto& sensor : group->sensors)
            lines.push_back(sensor->key + " " + sensor->engish + " in " + group->identifier);
    return lines;
}

std::vector<std::string> hidden(const HVKStatisticsSensors& sensors) {
    std::vector<std::string> keys;
    for (const auto& sensor : sensors.hiddenItems()) keys.push_back(sensor->key);
    return keys;
}

TEST(SensorLoader, TakesWhatTheMachineHas) {
    const Value group = {{"group", 1}, {"key", "power"}, {"type", 2}};
    const struct {
        const char* story;
        std::vector<std::string> keys;
        Value entries;
        std::vector<std::string> shown;
        std::vector<std::string> products = {};
    } cases[] = {
        {"an answering key",
         {"TC0P"},
         {{{"key", "TC0P"}, {"name", "CPU"}, {"source", "smc"}}},
         {"TC0P CPU in temperature"}},
        {"a silent key", {"TC0P"}, {{{"key", "TM0P"}, {"name", "Memory"}, {"source", "smc"}}}, {}},
        {"a silent graphics processor",
         {"TC0P"},
         {{{"key", "TG0P"}, {"name", "GPU"}, {"source", "smc"}}},
         {"TG0P GPU in temperature"}},
        {"another number of cores",
         {"TC0P"},
         {{{"key", "TC0P"}, {"name", "CPU"}, {"source", "smc"}, {"cores", 4}}},
         {}},
        {"this number of cores",
         {"TC0P"},
         {{{"key", "TC0P"}, {"name", "CPU"}, {"source", "smc"}, {"cores", 2}}},
         {"TC0P CPU in temperature"}},
        {"a product",
         {},
         {{{"key", "P"}, {"name", "Power"}, {"source", "multiply"}, {"type", 5}}},
         {"P Power in power"}},
        {"a HID sensor",
         {},
         {{{"key", "PMU tdie1"}, {"name", "Die"}, {"source", "hid"}}},
         {"PMU tdie1 Die in temperature"},
         {"PMU tdie1"}},
        {"a HID sensor under its short name",
         {},
         {{{"key", "eACC MTR 0"}, {"name", "E"}, {"source", "hid"}}},
         {"eACC MTR 0 E in temperature"},
         {"eACC MTR Temp Sensor0", "eACC MTR Temp Sensor 0"}},
        {"no such HID sensor", {}, {{{"key", "PMU tdie2"}, {"name", "Die"}, {"source", "hid"}}}, {}, {"PMU tdie1"}},
        {"an average over HID sensors",
         {},
         {{{"key", "AS_CPU_AVG"}, {"name", "CPU"}, {"source", "hid"}}},
         {"AS_CPU_AVG CPU in temperature"}},
        {"an average of silent keys",
         {},
         {{{"key", "A"}, {"name", "A"}, {"source", "average"}, {"type", 1}, {"sensors", {"TC1C"}}}},
         {}},
        {"an average of nothing", {"TC1C"}, {{{"key", "A"}, {"name", "A"}, {"source", "average"}, {"type", 1}}}, {}},
        {"what makes no sense", {"TC0P"}, {7, {{"name", "x"}}, {{"group", 1}, {"sensors", 3}}, {{"key", 5}}}, {}},
    };
    for (const auto& one : cases) {
        const auto machine = machineWith(one.keys, one.products);
        HVKStatisticsSensors sensors(*machine);
        sensors.loadFromPlatform(recipe(one.entries));
        EXPECT_EQ(shown(sensors), one.shown) << one.story;
        EXPECT_TRUE(sensors.sensorsChanged());
    }
}

TEST(SensorLoader, AFamilyCountsItsMembers) {
    const auto family = [](const char* key, const char* kind, int limit, int keyOffset, int nameOffset) {
        return Value{{"key", key},     {"name", "CPU Core %@"},   {"source", "smc"},          {"dynamic-type", kind},
                     {"limit", limit}, {"key-offset", keyOffset}, {"name-offset", nameOffset}};
    };
    const struct {
        const char* story;
        std::vector<std::string> keys;
        Value entry;
        std::vector<std::string> shown;
    } cases[] = {
        {"hexadecimal",
         {"TCAc", "TCBc"},
         family("TC{0}c", "package", 0, 10, 1),
         {"TCAc CPU Core 1 in ", "TCBc CPU Core 2 in "}},
        {"lone member", {"TC2C"}, family("TC{0}C", "cores", 0, 1, 1), {"TC2C CPU Core in "}},
        {"numbers go on over gaps",
         {"TC1C", "TC3C"},
         family("TC{0}C", "cores", 0, 1, 5),
         {"TC1C CPU Core 5 in ", "TC3C CPU Core 7 in "}},
        {"as many as cores",
         {"TC1C", "TC2C", "TC3C"},
         family("TC{0}C", "package", 0, 1, 1),
         {"TC1C CPU Core 1 in ", "TC2C CPU Core 2 in "}},
        {"limit",
         {"TB0T", "TB1T", "TB2T"},
         family("TB{0}T", "battery", 2, 0, 1),
         {"TB0T CPU Core 1 in ", "TB1T CPU Core 2 in "}},
        {"negative limit", {"TB0T"}, family("TB{0}T", "battery", -2, 0, 1), {}},
        {"none answers", {}, family("TB{0}T", "battery", 3, 0, 1), {}},
    };
    for (const auto& one : cases) {
        const auto machine = machineWith(one.keys);
        HVKStatisticsSensors sensors(*machine);
        EXPECT_EQ(sensors.loadSensor(one.entry), nullptr);
        EXPECT_EQ(shown(sensors), one.shown) << one.story;
    }
    const auto machine = machineWith({"TC1C", "TC2C"});
    HVKStatisticsSensors sensors(*machine);
    sensors.loadSensor(family("TC{0}C", "cores", 0, 1, 1), {{"group", 1}, {"key", "temperature"}, {"type", 2}});
    EXPECT_EQ(sensors.sensors().at(1)->config["index"], 2);
    EXPECT_EQ(sensors.sensors().at(1)->config["name-format"], "CPU Core %@");
    EXPECT_EQ(sensors.groups().at(0)->identifier, "temperature-2");
    EXPECT_EQ(sensors.groups().at(0)->sensorType, 1);
    sensors.loadSensor(family("TC{0}C", "x", 2'000'000'000, 1, 1));  // ends, and says so
    Failure said;
    for (const auto& report : machine->diagnostics().reports())
        if (report.source == "recipe entries" && report.failure) said = *report.failure;
    EXPECT_THAT(said.detail, testing::HasSubstr("more than 1024"));
}

TEST(SensorLoader, AFamilyCanBeOneAverage) {
    Value entry = {{"key", "CORES"},  {"name", "Cores"},        {"source", "average"}, {"dynamic-type", "package"},
                   {"key-offset", 1}, {"dynamic-average", true}};
    entry["key"] = "TC{0}C";
    const auto machine = machineWith({"TC1C", "TC2C"});
    HVKStatisticsSensors sensors(*machine);
    sensors.loadSensor(entry);
    ASSERT_EQ(sensors.sensors().size(), 1u);
    const StatisticsSensorItem& average = *sensors.sensors().front();
    EXPECT_EQ(average.config["average"], Value::array({"TC1C", "TC2C"}));
    EXPECT_EQ(average.type, 0);
    EXPECT_EQ(average.value, 50);
    EXPECT_EQ(average.lastUpdate, Start);
    entry["key"] = "TX{0}C";
    entry["dynamic-type"] = "none";
    sensors.loadSensor(entry);
    EXPECT_EQ(sensors.sensors().at(1)->value, -1) << "nothing was read";
}

TEST(SensorLoader, AverageMembersStayHiddenUntilSomebodyShowsThem) {
    const auto machine = machineWith({"TC1C", "TC2C", "F0Ac"});
    HVKStatisticsSensors sensors(*machine);
    const Value average = {{"key", "AVG"},
                           {"name", "CPU"},
                           {"source", "average"},
                           {"type", 1},
                           {"sensors", {"TC1C", "TC2C", "TC3C", "F7Ac", "longer than a key"}}};
    sensors.loadFromPlatform(recipe({average, {{"key", "TC2C"}, {"name", "Core 2"}, {"source", "smc"}}}));
    EXPECT_THAT(hidden(sensors), ElementsAre("TC1C"));
    const auto first = sensors.hiddenSensorWithKey("TC1C");
    EXPECT_EQ(first->value, 50);
    EXPECT_EQ(first->source, 1);
    EXPECT_EQ(first->lastUpdate, Start);
    EXPECT_EQ(sensors.sensorWithKey("AVG")->config["sensors-valid"],
              Value::array({"TC1C", "TC2C", "F7Ac", "longer than a key"}))
        << "fans and other names count without an answer";
}

TEST(SensorLoader, OneKeyInTwoGroupsIsOneSensor) {
    const Value entry = {{"key", "TC0P"}, {"name", "CPU"}, {"source", "smc"}};
    const Value whole = {{"version", 1},
                         {"sensors",
                          {{"default", {"TC0P"}},
                           {"supported",
                            {{{"group", 1}, {"key", "temperature"}, {"type", 1}, {"sensors", {entry}}},
                             {{"group", 1}, {"key", "temperature"}, {"type", 2}, {"sensors", {entry}}}}}}},
                         {"cpu", {{"sensors", {"TC0P"}}}},
                         {"fans", {{"groups", {"fan"}}}}};
    const auto machine = machineWith({"TC0P"});
    HVKStatisticsSensors sensors(*machine);
    sensors.loadFromPlatform(whole);
    EXPECT_THAT(shown(sensors), ElementsAre("TC0P CPU in temperature-1", "TC0P CPU in temperature-2"));
    ASSERT_EQ(sensors.sensors().size(), 1u);
    EXPECT_EQ(sensors.defaultSensors(), Value::array({"TC0P"}));
    EXPECT_EQ(sensors.cpuSensors(), Value::array({"TC0P"}));
    EXPECT_EQ(sensors.fanGroups(), Value::array({"fan"}));

    const auto before = sensors.sensors().front();
    sensors.loadFromPlatform(nullptr);
    EXPECT_EQ(sensors.sensors().front(), before) << "without a recipe nothing happens";
    sensors.loadFromPlatform(whole);
    EXPECT_NE(sensors.sensors().front(), before) << "loading again makes new records";
    EXPECT_EQ(sensors.sensors().size(), 1u);
}

TEST(SensorLoader, HIDSensorsAndTheirAverages) {
    const auto machine = writtenMachine({{"hid",
                                          {{"readings",
                                            {{{"product", "pACC MTR Temp Sensor2"}, {"value", 40}},
                                             {{"product", "eACC MTR Temp Sensor0"}, {"value", 30}},
                                             {{"product", "NAND CH0 temp"}, {"value", 25}}}}}}});
    HVKStatisticsSensors sensors(*machine);
    const Value list = sensors.HIDSensors();
    ASSERT_EQ(list.size(), 3u + 8u);
    EXPECT_EQ(list[0], (Value{{"type", "temperature"}, {"key", "pACC MTR 2"}, {"value", 40.0}}));
    const std::vector<double> averages = {0, 35, 0, 30, 40, 0, 25, 0};
    for (std::size_t row = 0; row < averages.size(); ++row) EXPECT_EQ(list[3 + row]["value"], averages[row]) << row;
    EXPECT_EQ(list[4]["names"], Value::array({"eACC", "pACC"}));
    // A machine without them has the averages all the same, at 0.
    EXPECT_EQ(HVKStatisticsSensors(*writtenMachine()).HIDSensors().size(), 8u);
}

/// The recipes that are built in, on machines that have the keys they name.
TEST(SensorLoader, BuiltInRecipesFindTheirSensors) {
    const struct {
        const char* model;
        int cores;
        std::vector<std::string> keys;
        std::vector<std::string> first;  ///< of what is shown
    } cases[] = {
        {"MacBookAir6,2",
         2,
         {"TC1C", "TC2C", "TC0F", "TH0A", "TB1T", "F0Ac"},
         {"CUS_CPU_AVERAGE", "TC0F", "CUS_SSD_AVERAGE", "CUS_BATTERY_AVERAGE", "TC1C", "TC2C"}},
        {"MacBookPro16,1",
         6,
         {"TC1C", "TC6C", "TG0P", "F0Ac", "F1Ac"},
         {"CUS_CPU_AVERAGE", "TG0P", "TC1C", "TC6C", "TG1P", "TGDD", "TGVP", "F0Ac", "F1Ac"}},
        {"Macmini8,1", 6, {"TC5C", "TW0P", "TW1P", "F0Ac"}, {"CUS_CPU_AVERAGE", "TW0P", "TC5C", "TW1P", "F0Ac"}},
    };
    for (const auto& one : cases) {
        std::ifstream file(std::string(HVK_SOURCE_DIR "/Frameworks/HVKStatistics/resources/recipes/") + one.model +
                           ".json");
        const auto machine = machineWith(one.keys, {}, one.cores, one.cores * 2);
        HVKStatisticsSensors sensors(*machine);
        sensors.loadFromPlatform(Value::parse(file));
        std::vector<std::string> keys = sensors.keys();
        ASSERT_GE(keys.size(), one.first.size()) << one.model;
        keys.resize(one.first.size());
        EXPECT_EQ(keys, one.first) << one.model;
    }
}

}  // namespace
}  // namespace hvk
