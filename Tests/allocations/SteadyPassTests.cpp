// SteadyPassTests.cpp - a pass in the steady state allocates nothing. This program's operator new counts its calls.

#include <gtest/gtest.h>

#include <memory>
#include <vector>

#include "Benchmarks/Allocations.h"
#include "HVKPlatform/LiveMachine.h"
#include "HVKPlatform/recorded/RecordedMachine.h"
#include "HVKStatistics/processor/HVKStatisticsCPU.h"
#include "HVKStatistics/processor/HVKStatisticsLoad.h"
#include "HVKStatistics/processor/HVKStatisticsMemory.h"

namespace hvk {

namespace {

/// The allocations of 20 passes, after three that may fill buffers.
std::uint64_t allocationsOfSteadyPasses(Machine& machine) {
    HVKStatisticsCPU cpu(machine);
    HVKStatisticsMemory memory(machine);
    HVKStatisticsLoad load(machine);
    double time = machine.clock().wallSeconds();
    const auto passes = [&](int count) {
        for (int pass = 0; pass < count; ++pass) {
            ++time;
            cpu.update(time);
            memory.update(time);
            load.update(time);
            cpu.isUsageAbove(50, 10);
            memory.isPressureAbove(50, 10);
        }
    };
    passes(3);
    const std::uint64_t before = bench::allocations();
    passes(20);
    const std::uint64_t counted = bench::allocations() - before;
    // They were real passes.
    EXPECT_EQ(cpu.history()[22].time, time - 22);
    EXPECT_FALSE(cpu.cores().empty());
    EXPECT_GT(memory.memory().total, 0);
    return counted;
}

}  // namespace

TEST(SteadyPass, AllocatesNothingOnTheRunningMachine) {
    // A reading of the block devices may fall into the passes, every 10 seconds; then the next try has none.
    const auto machine = makeLiveMachine();
    std::uint64_t counted = 1;
    for (int attempt = 0; attempt < 3 && counted != 0; ++attempt) counted = allocationsOfSteadyPasses(*machine);
    EXPECT_EQ(counted, 0);
}

TEST(SteadyPass, AllocatesNothingOverTheProcessesOfTheRunningMachine) {
    // A process may begin meanwhile, or the list outgrow its room; then the next try has none.
    std::uint64_t counted = 1;
    for (int attempt = 0; attempt < 5 && counted != 0; ++attempt) {
        const auto machine = makeLiveMachine();
        std::vector<std::int32_t> pids;
        std::vector<ProcessUsage> usage;
        usage.reserve(100'000);
        std::uint64_t before = 0;
        for (int pass = 0; pass < 13; ++pass) {
            if (pass == 3) before = bench::allocations();
            ASSERT_TRUE(machine->processTable().pids(pids));
            usage.resize(pids.size());
            machine->processTable().usage(pids, usage);
        }
        counted = bench::allocations() - before;
        EXPECT_FALSE(usage.empty());
    }
    EXPECT_EQ(counted, 0);
}

TEST(SteadyPass, AllocatesNothingWith256Processors) {
    Value ticks = Value::array();
    for (int processor = 0; processor < 256; ++processor) ticks.push_back({1000 + processor, 500, 20000, 10});
    const Value description = {
        {"schema", 1},
        {"system", {{"operatingSystemVersion", {14, 0, 0}}, {"pageSize", 4096}}},
        {"processor", {{"architecture", "paired"}}},
        {"frames",
         {{{"time", 1700000000.0},
           {"processor", {{"ticks", ticks}}},
           {"memory",
            {{"virtualMemory", {{"wireCount", 1000}, {"freeCount", 2000}, {"internalPageCount", 3000}}},
             {"swapUsage", {{"total", 0}, {"available", 0}, {"used", 0}}},
             {"physicalMemory", 1 << 30}}},
           {"load", {{"values", {12, 34, 56}}, {"scale", 100}}}}}},
    };
    const auto machine = RecordedMachine::fromJSON(description);
    ASSERT_TRUE(machine) << machine.failure().detail;
    EXPECT_EQ(allocationsOfSteadyPasses(**machine), 0);
}

TEST(SteadyPass, TheCounterCounts) {
    const std::uint64_t before = bench::allocations();
    const auto some = std::make_unique<std::vector<int>>(100);
    EXPECT_EQ(bench::allocations() - before, 2);
}

}  // namespace hvk
