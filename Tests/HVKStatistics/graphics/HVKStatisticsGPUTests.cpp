// The graphics module over recorded registries.

#include "HVKStatistics/graphics/HVKStatisticsGPU.h"

#include <gtest/gtest.h>

#include "HVKStatistics/categories/StatisticsHash.h"
#include "support/WrittenMachine.h"

namespace hvk {
namespace {

using test::Start;
using test::turn;

constexpr double Mebi = 1024 * 1024;

/// A device with an accelerator below it.
Value device(const std::string& name, const Value& model, const Value& accelerator,
             const Value& properties = Value::object()) {
    Value own = properties;
    if (!model.is_null()) own["model"] = model;
    return {
        {"name", name},
        {"classes", {"IOPCIDevice"}},
        {"properties", own},
        {"children",
         {{{"name", "accelerator"}, {"classes", {"AnyAccelerator", "IOAccelerator"}}, {"properties", accelerator}}}}};
}

Value data(const std::string& hexadecimal) { return {{"$data", hexadecimal}}; }

class Graphics : public testing::Test {
protected:
    void start(const Value& devices, const Value& graphics = Value::object()) {
        machine =
            test::writtenMachine({{"registry", {{"name", "Root"}, {"children", devices}}}, {"graphics", graphics}});
        module = std::make_unique<HVKStatisticsGPU>(*machine);
    }
    void stats(const std::string& name, const Value& properties) {
        turn(*machine, 1,
             {{"registry",
               {{{"set", "IOService:/" + name + "/accelerator"},
                 {"properties", {{"PerformanceStatistics", properties}}}}}}});
        module->update(machine->clock().wallSeconds());
    }
    const HVKStatisticsGPUItem& item(std::size_t index = 0) { return *module->devices().at(index); }
    void TearDown() override {
        if (!machine) return;
        module.reset();
        EXPECT_EQ(machine->treeRegistry().liveHandles(), 0U) << "a reference was kept";
        EXPECT_EQ(machine->treeRegistry().overReleases(), 0U) << "a reference was given back twice";
        EXPECT_EQ(machine->recordedGraphics().connectionCount(), 0U);
    }

    std::unique_ptr<RecordedMachine> machine;
    std::unique_ptr<HVKStatisticsGPU> module;
};

TEST_F(Graphics, AreFoundNamedAndTold) {
    start({device("a", "Radeon Pro 555X", {{"VRAM,totalMB", 4096}}),
           device("b", data("526164656f6e2050726f203535355800"), Value::object(),
                  {{"VRAM,totalsize", 8.0 * 1024 * Mebi}}),
           device("c", "INTEL UHD 630", {{"VRAM,totalMB", 0}, {"VRAM,memsize", data("00000060")}}),
           device("d", nullptr, {{"Removable", true}}),
           device("e", "Apple M1", Value::object(), {{"Removable", false}})});
    EXPECT_EQ(module->update(Start), 4);
    ASSERT_EQ(module->devices().size(), 5U);
    EXPECT_EQ(module->update(Start + 1), 0);

    const char* names[] = {"Radeon Pro 555X #1", "Radeon Pro 555X #2", "INTEL UHD 630", "GPU", "Apple M1"};
    const std::int64_t types[] = {1, 1, 0, 2, 2};
    const double sizes[] = {4096 * Mebi, 8192 * Mebi, 1536 * Mebi, 0, 0};
    for (std::size_t index = 0; index < 5; ++index) {
        EXPECT_EQ(item(index).name, names[index]);
        EXPECT_EQ(item(index).type, types[index]) << names[index];
        EXPECT_EQ(item(index).memorySize, sizes[index]) << names[index];
        EXPECT_EQ(item(index).index, static_cast<std::int64_t>(index));
        EXPECT_TRUE(item(index).active && item(index).exists && !item(index).hidden);
    }
    EXPECT_EQ(item().key, statisticsHash("IOService:/a/accelerator"));
    EXPECT_EQ(module->keys().back(), item(4).key);
    EXPECT_EQ(module->stats()[item(2).key]["name"], "INTEL UHD 630");
    EXPECT_EQ(module->fps(), 0) << "nobody tells the frame rate";
}

TEST_F(Graphics, AnExternalOneHangsOnAThunderboltPort) {
    Value inside = device("egpu", "Radeon RX 580", Value::object());
    for (const char* level : {"bridge", "port"})
        inside = {{"name", level}, {"classes", {"IOService"}}, {"children", Value::array({inside})}};
    inside["properties"] = {{"Thunderbolt Path", "/0/1"}};
    start(Value::array({inside}));
    module->update(Start);
    EXPECT_EQ(item().type, HVKStatisticsGPUTypeExternal);
}

TEST_F(Graphics, FiguresAreReadByTheirNames) {
    start(Value::array({device("a", "Radeon", {{"VRAM,totalMB", 1000}})}), {{"frameRate", 59.5}});
    module->update(Start);
    EXPECT_EQ(item().processor, 0);
    EXPECT_FALSE(item().features.contains("has-processor"));
    EXPECT_EQ(module->fps(), 59.5F);

    stats("a", {{"Device Utilization % at cur p-state", 7},
                {"GPU Core Utilization", 300000000},
                {"Device Utilization %", 99},
                {"inUseVidMemoryBytes", 250 * Mebi},
                {"Core Clock(MHz)", 1100},
                {"Fan Speed(%)", 0},
                {"Fan Speed(RPM)", 0},
                {"Memory Clock(MHz)", 0},
                {"Total Power(W)", 17},
                {"Temperature(C)", data("2a000000")}});
    EXPECT_EQ(item().processor, 7);
    EXPECT_EQ(item().memory, 25);
    EXPECT_EQ(item().features, (Value{{"has-processor", true},
                                      {"clock-core", 1100.0},
                                      {"has-clock-core", true},
                                      {"fan-percentage", 0.0},
                                      {"fan-speed", 0.0},
                                      {"power", 17.0},
                                      {"has-power", true},
                                      {"temperature", 42.0},
                                      {"has-temperature", true}}));
    stats("a", {{"GPU Core Utilization", 300000000}, {"Fan Speed(RPM)", 900}, {"Core Clock(MHz)", 0}});
    EXPECT_EQ(item().processor, 30);
    EXPECT_EQ(item().features["fan-speed"], 900.0);
    EXPECT_EQ(item().features["has-fan-rpm"], true);
    EXPECT_EQ(item().features["clock-core"], 1100.0) << "a zero is no reading";
    stats("a", {{"Device Utilization %", 55}});
    EXPECT_EQ(item().processor, 55);
    stats("a", Value::object());
    EXPECT_EQ(item().processor, 55) << "what is not told stays";

    const auto* history = item().history();
    EXPECT_EQ(history[0].processor, 55);
    EXPECT_EQ(history[3].processor, 7);
    EXPECT_EQ(history[3].memory, 25);
    const Value average = item().historyAverage(Start + 1, Start, 60);
    EXPECT_EQ(average, (Value{{"type", "gpu"},
                              {"time", Start + 1},
                              {"interval", 60},
                              {"processor", 7.0},
                              {"memory", 25.0},
                              {"key", item().key}}));
    EXPECT_TRUE(item().historyAverage(Start, Start - 1, 60).is_null()) << "all zero is no figure";
    EXPECT_EQ(module->historyAverage(Start + 1, Start, 60).size(), 1U);
}

TEST_F(Graphics, MemoryInUseByEachKindOfCounter) {
    start(Value::array());
    struct Case {
        const char* what;
        std::int64_t type;
        double size;
        Value stats;
        double share;
    };
    const Case cases[] = {
        {"no statistics", 1, 100, nullptr, 0},
        {"no memory", 1, 0, {{"vramUsedBytes", 5}}, 0},
        {"in use", 1, 100, {{"inUseVidMemoryBytes", 25}, {"vramUsedBytes", 60}}, 0.25},
        {"in use is more than there is", 1, 100, {{"inUseVidMemoryBytes", 500}, {"vramUsedBytes", 60}}, 0.6},
        {"both are more than there is", 1, 100, {{"inUseVidMemoryBytes", 500}, {"vramUsedBytes", 600}}, 0},
        {"the size is learnt", 1, 0, {{"VRAM,totalsize", 200}, {"inUseVidMemoryBytes", 50}}, 0.25},
        {"integrated: used", 0, 100, {{"vramUsedBytes", 30}, {"inUseVidMemoryBytes", 90}}, 0.3},
        {"integrated: free alone", 0, 100, {{"vramFreeBytes", 30}}, 0.7},
        {"integrated: the shared table is the memory",
         0,
         100,
         {{"vramUsedBytes", 9}, {"gartSizeBytes", 100}, {"gartUsedBytes", 40}, {"gartFreeBytes", 60}},
         0.4},
        {"integrated: the shared table adds up",
         0,
         100,
         {{"vramUsedBytes", 9}, {"gartUsedBytes", 20}, {"gartFreeBytes", 80}},
         0.2},
        {"integrated: the shared table is another",
         0,
         100,
         {{"vramUsedBytes", 9}, {"gartUsedBytes", 20}, {"gartFreeBytes", 90}},
         0.09},
        {"integrated: more free than there is", 0, 100, {{"vramFreeBytes", 300}, {"gartUsedBytes", 15}}, 0.15},
    };
    for (const Case& one : cases) {
        HVKStatisticsGPUItem item;
        item.type = one.type;
        item.memorySize = one.size;
        EXPECT_DOUBLE_EQ(module->processDeviceMemoryUsage(item, one.stats), one.share) << one.what;
    }
    turn(*machine, 1, {{"system", {{"operatingSystemVersion", {10, 13, 0}}}}});
    HVKStatisticsGPU old(*machine);
    HVKStatisticsGPUItem item;
    item.type = 1;
    item.memorySize = 100;
    EXPECT_DOUBLE_EQ(old.processDeviceMemoryUsage(item, {{"vramFreeBytes", 30}, {"inUseVidMemoryBytes", 5}}), 0.7);
}

TEST_F(Graphics, OneThatWentIsForgottenAndOneThatStaysKeepsItsPast) {
    start({device("a", "Radeon", Value::object()), device("b", "Radeon", Value::object())});
    module->update(Start);
    const auto kept = module->devices().at(1);
    turn(*machine, 1, {{"registry", {{{"remove", "IOService:/a"}}}}});
    EXPECT_EQ(module->update(Start + 1), 0) << "nobody marked the module";
    EXPECT_EQ(module->devices().size(), 2U);
    module->setChanged(true);
    EXPECT_EQ(module->update(Start + 2), 4);
    ASSERT_EQ(module->devices().size(), 1U);
    EXPECT_EQ(module->devices().front(), kept);
    EXPECT_EQ(kept->name, "Radeon #2");
    EXPECT_EQ(kept->history()[2].time, Start);
    EXPECT_EQ(module->immutableItems().size(), 1U);
}

TEST_F(Graphics, OfTwoThatAreSwitchedOneIsActive) {
    const Value pair = {device("a", "Intel Iris", Value::object()), device("b", "Radeon", Value::object())};
    start(pair, {{"control", {{"state", 1}}}});
    EXPECT_EQ(module->update(Start), 4);
    EXPECT_TRUE(module->hasGPUSwotching() && module->setupComplete());
    EXPECT_TRUE(item(0).active && !item(1).active);
    EXPECT_EQ(module->update(Start + 1), 0);
    turn(*machine, 1, {{"graphics", {{"control", {{"state", 0}}}}}});
    EXPECT_EQ(module->update(Start + 2), 4);
    EXPECT_TRUE(!item(0).active && item(1).active);
    turn(*machine, 1, {{"graphics", {{"control", {{"error", "denied"}}}}}});
    EXPECT_EQ(module->update(Start + 3), 0);
    EXPECT_TRUE(!item(0).active && item(1).active);
    TearDown();

    start(pair, {{"control", {{"starts", false}}}});
    module->update(Start);
    EXPECT_FALSE(module->hasGPUSwotching());
    TearDown();

    // A recipe that hides the integrated one leaves nothing to switch.
    start(pair, {{"control", {{"state", 1}}}});
    module->loadFromPlatform({{"gpu", {{"hide-intergrated", false}}}});
    module->update(Start);
    EXPECT_TRUE(!module->hasGPUSwotching() && module->setupComplete());
    EXPECT_TRUE(item(0).hidden && !item(1).hidden);
    EXPECT_EQ(item(0).history()[0].time, 0) << "what is hidden is not read";
}

TEST_F(Graphics, ValuesOfTheRegistry) {
    const auto bytes = [](std::vector<std::uint8_t> content) { return Value::binary(std::move(content)); };
    EXPECT_EQ(HVKStatisticsGPU::convertNumericValue(bytes({0, 1})), 256);
    EXPECT_EQ(HVKStatisticsGPU::convertNumericValue(bytes({1, 0, 0, 0, 9, 9, 9, 9})), 1);
    EXPECT_EQ(HVKStatisticsGPU::convertNumericValue(nullptr), 0);
    EXPECT_EQ(HVKStatisticsGPU::convertNumericValue("12"), 0);
    EXPECT_EQ(HVKStatisticsGPU::convertString(bytes({'G', 'P', 'U', 0, 'x'})), "GPU");
    EXPECT_EQ(HVKStatisticsGPU::convertString(5), "");
}

TEST_F(Graphics, DemonstrationData) {
    start(Value::array());
    EXPECT_FALSE(module->demoItem());
    module->loadDemoData();
    EXPECT_EQ(module->demoItem()->processor, 44);
    EXPECT_EQ(module->demoItem()->memory, 22);
    EXPECT_EQ(module->fps(), 60);
    EXPECT_NE(module->demoItem()->history()[999].time, 0);
}

}  // namespace
}  // namespace hvk
