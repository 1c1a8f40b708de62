// Processor use on a machine that is written down: from ticks to percent, classes of cores, readings that fail.

#include "HVKStatistics/processor/HVKStatisticsCPU.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "support/WrittenMachine.h"

namespace hvk {
namespace {

using test::Start;
using test::ticks;
using test::turn;
using test::writtenMachine;
using testing::ElementsAre;
using testing::IsEmpty;

std::vector<int> types(const HVKStatisticsCPU& cpu) {
    std::vector<int> all;
    for (const auto& core : cpu.cores()) all.push_back(core->type());
    return all;
}

/// One registry entry of a processor; no cluster when `cluster` is null.
Value processorEntry(const char* name, const Value& cluster, bool isProcessor = true) {
    Value properties = Value::object();
    if (!cluster.is_null()) properties["cluster-type"] = cluster;
    if (isProcessor) properties["logical-cpu-id"] = 7;
    return {{"name", name}, {"classes", {"IOPlatformDevice"}}, {"properties", properties}};
}

TEST(CPU, SharesFollowTheTicksOfEachProcessorAndOfAll) {
    const auto machine =
        writtenMachine(ticks({{0, 0, 0, 0}, {100, 100, 100, 100}, {5, 5, 5, 5}, {4294967290U, 0, 0, 0}}));
    HVKStatisticsCPU cpu(*machine);
    EXPECT_EQ(cpu.cpuData().time, Start);
    EXPECT_EQ(cpu.cpuData().processors, 4);

    // Busy; half of it niced; nothing at all; a counter that wraps.
    turn(*machine, 1, ticks({{30, 10, 60, 0}, {110, 110, 130, 150}, {5, 5, 5, 5}, {44, 50, 0, 0}}));
    cpu.update(Start + 1);
    const auto core = [&](std::size_t index) { return cpu.cores()[index]->history()[0]; };
    EXPECT_FLOAT_EQ(core(0).user, 30);
    EXPECT_FLOAT_EQ(core(0).system, 10);
    EXPECT_FLOAT_EQ(core(1).user, 10) << "nice time counts in the total only";
    EXPECT_FLOAT_EQ(core(1).system, 10);
    EXPECT_FLOAT_EQ(core(2).user, 0) << "no tick is no division";
    EXPECT_FLOAT_EQ(core(3).user, 50);
    EXPECT_FLOAT_EQ(core(3).system, 50);
    EXPECT_FLOAT_EQ(cpu.history()[0].user, 30);  // 30 + 10 + 50 of 300
    EXPECT_FLOAT_EQ(cpu.history()[0].system, 100.0F * 70 / 300);
    EXPECT_EQ(cpu.history()[0].time, Start + 1);

    const Value stats = cpu.stats();
    EXPECT_FLOAT_EQ(stats["user"].get<float>(), 30);
    EXPECT_EQ(stats["cores"].size(), 4U);
    EXPECT_FLOAT_EQ(stats["cores"][3]["system"].get<float>(), 50);
}

TEST(CPU, AFailedReadingRepeatsTheLastFiguresWithTheirTime) {
    const auto machine = writtenMachine(ticks({{0, 0, 0, 0}}));
    HVKStatisticsCPU cpu(*machine);
    turn(*machine, 1, ticks({{25, 0, 75, 0}}));
    cpu.update(Start + 1);
    turn(*machine, 1, {{"processor", {{"ticks", {{"error", "denied"}}}}}});
    cpu.update(Start + 2);
    EXPECT_EQ(cpu.history()[0].time, Start + 1);
    EXPECT_FLOAT_EQ(cpu.history()[0].user, 25);
    EXPECT_EQ(cpu.history()[1].time, Start + 1) << "a sample is appended all the same";
    EXPECT_EQ(cpu.history()[2].time, 0);

    turn(*machine, 1, ticks({{75, 0, 125, 0}}));
    cpu.update(Start + 3);
    EXPECT_FLOAT_EQ(cpu.history()[0].user, 50) << "the next reading covers both spans";

    // A machine that suddenly answers for another number of processors is not believed.
    turn(*machine, 1, ticks({{80, 0, 130, 0}, {1, 1, 1, 1}}));
    cpu.update(Start + 4);
    EXPECT_EQ(cpu.history()[0].time, Start + 3);
    EXPECT_EQ(cpu.cores().size(), 1U);
}

TEST(CPU, WithoutProcessorsItReportsZeros) {
    const auto machine = writtenMachine();
    HVKStatisticsCPU cpu(*machine);
    cpu.update(Start);
    EXPECT_EQ(cpu.history()[0].time, 0);
    turn(*machine, 1, ticks({{10, 0, 90, 0}}));
    cpu.update(Start + 1);
    EXPECT_EQ(cpu.history()[0].time, Start + 1) << "a reading that succeeds has a time";
    EXPECT_THAT(cpu.cores(), IsEmpty());
    EXPECT_EQ(cpu.stats()["user"], 0);
    EXPECT_EQ(cpu.stats()["cores"], Value::array());
}

TEST(CPU, CleanedUpItKeepsItsPastAndCanBeSetUpAgain) {
    const auto machine = writtenMachine(ticks({{0, 0, 0, 0}}));
    HVKStatisticsCPU cpu(*machine);
    turn(*machine, 1, ticks({{25, 0, 75, 0}}));
    cpu.update(Start + 1);
    cpu.cleanup();
    cpu.update(Start + 2);
    EXPECT_EQ(cpu.history()[0].user, 0) << "without counters there is no use";
    EXPECT_FLOAT_EQ(cpu.history()[1].user, 25);
    cpu.setup();
    turn(*machine, 1, ticks({{75, 0, 125, 0}}));
    cpu.update(Start + 3);
    EXPECT_FLOAT_EQ(cpu.cores().at(0)->history()[0].user, 50);
    EXPECT_EQ(cpu.cores().size(), 1U);
}

TEST(CPU, PairsAreClassedByPlace) {
    const auto machine = writtenMachine(ticks({{}, {}, {}, {}, {}, {}, {}, {}}));
    EXPECT_THAT(types(HVKStatisticsCPU(*machine)), ElementsAre(1, 4, 1, 4, 1, 4, 1, 4));
}

TEST(CPU, ClustersAreClassedByTheRegistrysOrder) {
    Value description = ticks({{}, {}, {}, {}});
    description["processor"]["architecture"] = "clustered";
    description["registry"] = {
        {"name", "Root"},
        {"children",
         {processorEntry("cpu3", {{"$data", "4500"}}), processorEntry("pmu", {{"$data", "4500"}}, false),
          processorEntry("fan", nullptr), processorEntry("cpu0", "E"), processorEntry("cpu1", {{"$data", "5000"}})}}};
    const auto machine = writtenMachine(description);
    EXPECT_THAT(types(HVKStatisticsCPU(*machine)), ElementsAre(3, 3, 2, 0))
        << "only entries with both properties count, and the list may be shorter than the processors";
    EXPECT_EQ(machine->treeRegistry().liveHandles(), 0U) << "every handle was given back";
}

TEST(CPU, AlertsUseTheSumAndTheMachinesClock) {
    const auto machine = writtenMachine(ticks({{0, 0, 0, 0}}));
    HVKStatisticsCPU cpu(*machine);
    EXPECT_FALSE(cpu.isUsageAbove(0, 0));
    EXPECT_FALSE(cpu.isUsageBelow(100));
    std::uint32_t spent = 0;
    for (int second = 1; second <= 10; ++second) {
        spent += 10;
        turn(*machine, 1, ticks({{spent * 3, spent * 2, spent * 5, 0}}));  // 30 % user, 20 % system
        cpu.update(Start + second);
        EXPECT_EQ(cpu.isUsageAbove(49, 5), second > 6) << second << ": the window must be proved by an older sample";
    }
    EXPECT_FALSE(cpu.isUsageAbove(50, 5)) << "above is strictly above";
    EXPECT_TRUE(cpu.isUsageBelow(50));
    EXPECT_FALSE(cpu.isUsageBelow(49.9));
    machine->advance(6);
    EXPECT_FALSE(cpu.isUsageAbove(49, 5)) << "the newest sample is older than the window";
}

TEST(CPU, AveragesCarryTheBucket) {
    const auto machine = writtenMachine(ticks({{0, 0, 0, 0}}));
    HVKStatisticsCPU cpu(*machine);
    EXPECT_TRUE(cpu.historyAverage(Start + 10, Start, 10).is_null());
    turn(*machine, 1, ticks({{10, 0, 90, 0}}));
    cpu.update(Start + 1);
    turn(*machine, 1, ticks({{40, 20, 130, 0}}));
    cpu.update(Start + 2);
    const Value average = cpu.historyAverage(Start + 2, Start, 600);
    EXPECT_EQ(average["type"], "cpu");
    EXPECT_EQ(average["time"], Start + 2);
    EXPECT_EQ(average["interval"], 600);
    EXPECT_NEAR(average["user"].get<double>(), (10 + 100.0 * 30 / 90) / 2, 1e-4);
    EXPECT_NEAR(average["system"].get<double>(), 100.0 * 20 / 90 / 2, 1e-4);
    EXPECT_EQ(HVKStatisticsCPU::historyConfig(), Value::parse(R"({"type":"cpu","fields":["user","system"]})"));
}

TEST(CPU, DemonstrationFillsEverySlot) {
    const auto machine = writtenMachine(ticks({{0, 0, 0, 0}}));
    HVKStatisticsCPU cpu(*machine);
    cpu.loadDemoData();
    EXPECT_EQ(cpu.history()[0].user, 28);
    EXPECT_EQ(cpu.history()[0].system, 16);
    for (std::size_t index = 1; index < ModuleHistoryCapacity; ++index) {
        const auto& sample = cpu.history()[index];
        ASSERT_TRUE(sample.user >= 10 && sample.user < 30 && sample.system >= 10 && sample.system < 30) << index;
        ASSERT_EQ(sample.time, 0);
    }
    EXPECT_GE(cpu.cores()[0]->history()[0].user, 10);
    EXPECT_GE(cpu.cores()[0]->history()[ModuleHistoryCapacity - 1].user, 10);
}

}  // namespace
}  // namespace hvk
