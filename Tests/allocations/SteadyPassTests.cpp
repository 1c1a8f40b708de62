// SteadyPassTests.cpp - a pass in the steady state allocates nothing. This program's operator new counts its calls.

#include <gtest/gtest.h>

#include <memory>
#include <vector>

#include "Benchmarks/Allocations.h"
#include "HVKPlatform/LiveMachine.h"
#include "HVKPlatform/recorded/RecordedMachine.h"
#include "HVKStatistics/processes/HVKStatisticsProcesses.h"
#include "HVKStatistics/processor/HVKStatisticsCPU.h"
#include "HVKStatistics/processor/HVKStatisticsLoad.h"
#include "HVKStatistics/processor/HVKStatisticsMemory.h"
#include "HVKStatistics/sensors/HVKStatisticsSensors.h"
#include "HVKStatistics/sensors/SMC.h"
#include "HVKStatistics/sensors/SensorCatalogue.h"

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

/// 5,000 processes that go on working; every one belongs to one of 500 families.
class WorkingTable : public UnsupportedProcessTablePort {
public:
    explicit WorkingTable(ProcessTablePort&) {}
    Status pids(std::vector<std::int32_t>& pids) override {
        pids.resize(5000 + newcomers);
        for (std::size_t index = 0; index < pids.size(); ++index) pids[index] = static_cast<std::int32_t>(index + 1);
        ++pass;
        return {};
    }
    Result<ProcessInformation> information(std::int32_t pid) override {
        return ProcessInformation{pid, pid % 10 == 0 ? 0 : pid - 1, 501, "process of a long name", {}, 1};
    }
    void usage(std::span<const std::int32_t>, std::span<ProcessUsage> usage) override {
        for (ProcessUsage& one : usage) one = {1, pass * 1000, pass, pass, pass, pass, ProcessUsageKind::Complete};
    }
    std::size_t newcomers = 0;
    std::uint64_t pass = 0;
};

class WorkingMachine : public ForwardingMachine {
public:
    explicit WorkingMachine(Machine& target) : ForwardingMachine(target), table(target.processTable()) {}
    ProcessTablePort& processTable() override { return table; }
    WorkingTable table;
};

TEST(SteadyPass, AllocatesNothingFor5000ProcessesFamiliesAndLists) {
    const auto base = RecordedMachine::fromJSON({{"schema", 1}, {"frames", {{{"time", 1700000000.0}}}}});
    ASSERT_TRUE(base);
    WorkingMachine machine(**base);
    HVKStatisticsProcesses processes(machine);
    double time = 1;
    const auto pass = [&] {
        processes.update(++time);
        processes.processesWithConfig({ProcessListKey::CPU, 10});
        processes.combinedProcessesWithConfig({ProcessListKey::DiskActivity, 10, 0, true});
        EXPECT_EQ(processes.sortedProcesses({ProcessListKey::CPU, 10})->rows.size(), 10U);
        EXPECT_EQ(processes.immutableProcesses()->size(), 5000 + machine.table.newcomers);
        EXPECT_TRUE(processes.processWithPid(5000));
    };
    for (int count = 0; count < 3; ++count) pass();
    std::uint64_t before = bench::allocations();
    for (int count = 0; count < 20; ++count) pass();
    EXPECT_EQ(bench::allocations() - before, 0U);
    EXPECT_EQ(processes.hierarchy().size(), 501U);

    // One that begins costs itself and a few lists, nothing for each of the others.
    machine.table.newcomers = 1;
    before = bench::allocations();
    pass();
    EXPECT_LT(bench::allocations() - before, 50U);
}

TEST(SteadyPass, SamplingSensorsAllocatesNothing) {
    constexpr int Sensors = 200;
    Value keys = Value::array();
    for (int index = 0; index < Sensors; ++index)
        keys.push_back({{"key", "T" + std::to_string(100 + index)}, {"type", "sp78"}, {"bytes", "2f80"}});
    const auto machine =
        RecordedMachine::fromJSON({{"schema", 1},
                                   {"controller", {{"services", {{"AppleSMC", {{"keys", keys}}}}}}},
                                   {"hid", {{"readings", {{{"product", "PMU tdie1 Temp Sensor"}, {"value", 40}}}}}},
                                   {"frames", {{{"time", 1700000000.0}}}}});
    ASSERT_TRUE(machine) << machine.failure().detail;
    HVKStatisticsSensors sensors(**machine);
    Value members = Value::array();
    for (const Value& key : keys) {
        sensors.addSensor(sensors.createSensor({{"key", key["key"]}, {"name", "CPU"}}));
        members.push_back(key["key"]);
    }
    sensors.addSensor(sensors.createSensor({{"key", "PMU tdie1 "}, {"name", "Die"}, {"source", "hid"}}));
    sensors.addSensor(
        sensors.createSensor({{"key", "MEAN"}, {"name", "CPU"}, {"source", "average"}, {"sensors-valid", members}}));
    double time = 1700000000;
    for (int pass = 0; pass < 3; ++pass) sensors.update(time += 5);
    const std::uint64_t before = bench::allocations();
    for (int pass = 0; pass < 20; ++pass) sensors.update(time += pass % 2 == 0 ? 5 : 1);
    EXPECT_EQ(bench::allocations() - before, 0U);
    EXPECT_EQ(sensors.sensorWithKey("MEAN")->value, 47.5);
}

TEST(SteadyPass, ReadingSensorsAllocatesNothing) {
    const Value description = Value::parse(R"({"schema": 1, "frames": [{"time": 1700000000.0,
        "controller": {"services": {"AppleSMC": {"keys": [{"key": "TC0P", "type": "sp78", "bytes": "2f80"},
            {"key": "F0Ac", "type": "fpe2", "bytes": "1f40"}]}}},
        "hid": {"readings": [{"product": "a product of a long name", "value": 41.5}]}}]})");
    const auto machine = RecordedMachine::fromJSON(description);
    ASSERT_TRUE(machine) << machine.failure().detail;
    SMC smc(**machine);
    ASSERT_TRUE(smc.open());
    std::vector<HIDReading> readings;
    const auto pass = [&] {
        float sum = smc.read("TC0P") + smc.read("F0Ac");
        for (const char* unknown : {"a key that is not of four characters", "TG0P"})
            EXPECT_EQ(smc.read(unknown), SMCNotAvailable);
        EXPECT_TRUE(
            (*machine)->hid().readings(HIDTemperatureUsagePage, HIDTemperatureUsage, HIDTemperatureEvent, readings));
        return sum;
    };
    EXPECT_EQ(pass(), 2047.5F);
    const std::uint64_t before = bench::allocations();
    for (int count = 0; count < 20; ++count) pass();
    EXPECT_EQ(bench::allocations() - before, 0);
}

TEST(SteadyPass, TheCounterCounts) {
    const std::uint64_t before = bench::allocations();
    const auto some = std::make_unique<std::vector<int>>(100);
    EXPECT_EQ(bench::allocations() - before, 2);
}

TEST(SteadyPass, AllocatesNothingForASensorsReadings) {
    const auto machine = RecordedMachine::fromJSON({{"schema", 1}, {"frames", {{{"time", 1700000000.0}}}}});
    ASSERT_TRUE(machine);
    SensorCatalogue catalogue(**machine);
    for (int number = 0; number < 100; ++number)
        catalogue.addGlobalSensor(catalogue.createSensor({{"key", "T" + std::to_string(number)}}), "temperature");
    const std::string last = catalogue.sensors().back()->keyHash;
    const std::uint64_t before = bench::allocations();
    for (int pass = 1; pass <= 250; ++pass) {
        const SensorCatalogue::Changes changes(catalogue);
        for (const auto& sensor : catalogue.sensors()) {
            sensor->addValue(pass, pass);
            sensor->fillSample(pass + 0.5);
        }
        EXPECT_TRUE(catalogue.updateSensorWithKey(last));
        EXPECT_FALSE(catalogue.updateSensorWithKey("F0Ac"));
    }
    EXPECT_EQ(bench::allocations() - before, 0U);
    EXPECT_EQ(catalogue.sensors().back()->value, 250);
}

}  // namespace hvk
