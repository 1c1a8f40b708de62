// A machine that is written down: its frames come in order and carry over, and every answer can be a failure.

#include "HVKPlatform/recorded/RecordedMachine.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

namespace hvk {
namespace {

using testing::ElementsAre;
using testing::HasSubstr;
using testing::IsEmpty;

constexpr double Start = 1700000000.0;

std::unique_ptr<RecordedMachine> machineOf(const Value& description) {
    auto machine = RecordedMachine::fromJSON(description);
    if (!machine) throw std::runtime_error(machine.failure().detail);
    return std::move(*machine);
}

/// A machine of two processors with `frames` after a first one at Start.
std::unique_ptr<RecordedMachine> machineWithFrames(Value frames) {
    Value description = Value::parse(R"({
        "schema": 1, "name": "bench",
        "processor": {"architecture": "clustered"},
        "registry": {"name": "Root", "children": [
            {"name": "arm-io", "children": [
                {"name": "cpu0", "classes": ["IOPlatformDevice"], "location": "0",
                 "properties": {"cluster-type": {"$data": "4500"}, "logical-cpu-id": 0,
                                "secret": {"error": "denied", "source": "nvram"}}},
                {"name": "locked", "properties": {"error": "timed out"}}]}]},
        "frames": [{"time": 1700000000.0,
                    "processor": {"ticks": [[1, 2, 3, 4], [5, 6, 7, 4294967295]]},
                    "memory": {"virtualMemory": {"freeCount": 10, "wireCount": 20}, "physicalMemory": 1024},
                    "load": {"values": [12, 34, 56], "scale": 100}}]})");
    for (Value& frame : frames) description["frames"].push_back(std::move(frame));
    return machineOf(description);
}

std::vector<ProcessorTicks> ticksOf(Machine& machine) {
    std::vector<ProcessorTicks> ticks;
    EXPECT_TRUE(machine.processor().loadInfo(ticks));
    return ticks;
}

SourceReport reportOf(Machine& machine, const std::string& source) {
    for (const SourceReport& report : machine.diagnostics().reports())
        if (report.source == source) return report;
    ADD_FAILURE() << "no source " << source;
    return {};
}

std::uint32_t loadOf(Machine& machine) {
    const auto load = machine.load().loadAverages();
    return load ? load->values[0] : 0;
}

Value loadFrame(double time, std::uint32_t load) {
    return {{"time", time}, {"load", {{"values", Value::array({load, 0, 0})}}}};
}

TEST(RecordedMachine, AppliesFramesInOrderAndCarriesTheRestOver) {
    const auto machine = machineWithFrames(Value::parse(R"([
        {"time": 1700000001.0, "memory": {"virtualMemory": {"freeCount": 5}}, "load": {"values": [1, 1, 1]}},
        {"time": 1700000002.5, "processor": {"ticks": [[9, 9, 9, 9]]}, "memory": {"swapUsage": {"total": 7}}}])"));
    EXPECT_EQ(machine->name(), "bench");
    EXPECT_EQ(machine->startTime(), Start);
    EXPECT_EQ(machine->endTime(), Start + 2.5);
    EXPECT_EQ(machine->processor().architecture(), ProcessorArchitecture::Clustered);
    EXPECT_THAT(ticksOf(*machine), ElementsAre(ProcessorTicks{1, 2, 3, 4}, ProcessorTicks{5, 6, 7, 4294967295U}));

    EXPECT_EQ(machine->nextFrameTime(), Start + 1);
    machine->advance(0.999);
    EXPECT_EQ(machine->memory().virtualMemory()->freeCount, 10U);
    machine->advance(0.001);
    EXPECT_EQ(machine->clock().wallSeconds(), Start + 1);
    EXPECT_EQ(machine->memory().virtualMemory()->freeCount, 5U);
    EXPECT_EQ(machine->memory().virtualMemory()->wireCount, 20U) << "a counter that is not named stays";
    EXPECT_EQ(*machine->load().loadAverages(), (LoadAverages{{1, 1, 1}, 100}));
    EXPECT_EQ(*machine->memory().physicalMemory(), 1024U);
    EXPECT_EQ(machine->memory().swapUsage().failure().source, "recording: memory.swapUsage");

    machine->advanceTo(*machine->nextFrameTime());
    EXPECT_EQ(machine->memory().swapUsage()->total, 7U);
    EXPECT_THAT(ticksOf(*machine), ElementsAre(ProcessorTicks{9, 9, 9, 9}));
    EXPECT_EQ(machine->nextFrameTime(), std::nullopt);
    machine->advance(60);
    EXPECT_EQ(machine->clock().monotonicSeconds(), 62.5) << "time goes on after the last frame";
    EXPECT_EQ(machine->memory().swapUsage()->total, 7U);
}

TEST(RecordedMachine, AQuestionThatIsNotDescribedIsAbsentAndSaysSo) {
    const auto machine = machineOf(Value::parse(R"({"schema": 1, "frames": [{"time": 5}]})"));
    const auto expectAbsent = [](const auto& answer, const std::string& source) {
        ASSERT_FALSE(answer);
        EXPECT_EQ(answer.failure().kind, FailureKind::Absent);
        EXPECT_EQ(answer.failure().source, source);
    };
    std::vector<ProcessorTicks> ticks{{1, 1, 1, 1}};
    expectAbsent(machine->processor().loadInfo(ticks), "recording: processor.ticks");
    EXPECT_EQ(ticks.size(), 1U) << "the caller's buffer stays as it was";
    expectAbsent(machine->load().loadAverages(), "recording: load.values");
    expectAbsent(machine->system().bootTime(), "recording: system.bootTime");
    expectAbsent(machine->system().userName(0), "recording: system.users");
    expectAbsent(machine->system().preferredLanguages(), "recording: system.preferredLanguages");
    expectAbsent(machine->bluetooth().authorization(), "recording: bluetooth.authorization");
    expectAbsent(machine->registry().entryAtPath("IOService:/"), "recording: registry");
    EXPECT_EQ(machine->cost().systemCalls().failure().kind, FailureKind::Unsupported);

    machine->treeRegistry().add(machine->treeRegistry().root(), {"disk", {"IOMedia"}, "", {}, {}});
    const auto entry = machine->registry().entryAtPath("IOService:/disk");
    ASSERT_TRUE(entry) << "a tree that was filled by hand needs no description";
    machine->registry().release(*entry);

    EXPECT_EQ(reportOf(*machine, "recording: load.values").failures, 1U);
    EXPECT_EQ(reportOf(*machine, "recording: memory.swapUsage").readings, 0U);
    const SourceReport registry = reportOf(*machine, "recording: registry");
    EXPECT_EQ(registry.readings, 2U);
    EXPECT_EQ(registry.lastFailure->kind, FailureKind::Absent);
    EXPECT_FALSE(registry.failure) << "it works by now";
}

TEST(RecordedMachine, AnyAnswerCanBeAFailureOfAnyKind) {
    for (const FailureKind kind : {FailureKind::Unsupported, FailureKind::Absent, FailureKind::Denied,
                                   FailureKind::Gone, FailureKind::Malformed, FailureKind::TimedOut}) {
        const auto machine = machineWithFrames(Value::array());
        const Value failure{{"error", failureKindName(kind)}, {"source", "test"}, {"detail", "on purpose"}};
        const Failure expected{kind, "test", "on purpose"};
        ASSERT_TRUE(machine->setFrame({{"processor", {{"ticks", failure}}},
                                       {"memory", {{"swapUsage", failure}}},
                                       {"load", {{"values", failure}}},
                                       {"system", failure},
                                       {"registry", failure}}));
        std::vector<ProcessorTicks> ticks;
        EXPECT_EQ(machine->processor().loadInfo(ticks).failure(), expected);
        EXPECT_EQ(machine->memory().swapUsage().failure(), expected);
        EXPECT_TRUE(machine->memory().virtualMemory()) << "the answers beside it stay";
        EXPECT_EQ(machine->load().loadAverages().failure(), expected);
        EXPECT_EQ(machine->system().modelName().failure(), expected);
        EXPECT_EQ(machine->system().userName(501).failure(), expected);
        EXPECT_EQ(machine->system().preferredLanguages().failure(), expected);
        EXPECT_EQ(machine->registry().matchingServices({}).failure(), expected);

        ASSERT_TRUE(machine->setFrame({{"load", {{"values", Value::array({7, 0, 0})}}}, {"registry", Value::array()}}));
        EXPECT_EQ(loadOf(*machine), 7U) << "and it can heal";
        const auto entry = machine->registry().entryAtPath("IOService:/arm-io");
        EXPECT_TRUE(entry) << "with the tree that it had";
        machine->registry().release(entry.valueOr(0));
    }
}

TEST(RecordedMachine, ChangesTheRegistryWithItsFrames) {
    const auto machine = machineWithFrames(Value::parse(R"([
        {"time": 1700000001.0, "registry": [
            {"add": "IOService:/arm-io", "entry": {"name": "nvme", "classes": ["IONVMeController"],
                "children": [{"name": "disk", "properties": {"BSD Name": "disk0"}}]}},
            {"set": "IOService:/arm-io/cpu0@0", "properties": {"logical-cpu-id": 4, "secret": null, "new": [1]}},
            {"set": "IOService:/arm-io/locked", "properties": {"open": true}}]},
        {"time": 1700000002.0, "registry": [{"remove": "IOService:/arm-io/nvme"}]}])"));
    RegistryPort& registry = machine->registry();
    const RegistryReference cpu(registry, *registry.entryAtPath("IOService:/arm-io/cpu0"));
    const RegistryReference locked(registry, *registry.entryAtPath("IOService:/arm-io/locked"));
    EXPECT_EQ(*registry.property(cpu.get(), "cluster-type"), Value::binary({0x45, 0}));
    EXPECT_EQ(registry.property(cpu.get(), "secret").failure(), (Failure{FailureKind::Denied, "nvram", ""}));
    EXPECT_EQ(registry.properties(cpu.get())->size(), 2U) << "what cannot be read is not in the dictionary";
    EXPECT_EQ(registry.properties(locked.get()).failure().kind, FailureKind::TimedOut);

    machine->advance(1);
    EXPECT_EQ(*registry.property(cpu.get(), "logical-cpu-id"), 4);
    EXPECT_EQ(registry.property(cpu.get(), "secret").failure().kind, FailureKind::Absent);
    EXPECT_EQ(registry.properties(cpu.get())->size(), 3U);
    EXPECT_EQ(*registry.property(locked.get(), "open"), true);
    const RegistryReference disks(registry, *registry.matchingServices({RegistryMatch::Kind::BSDName, "disk0", {}}));
    const RegistryReference disk(registry, registry.next(disks.get()));
    EXPECT_EQ(*registry.path(disk.get()), "IOService:/arm-io/nvme/disk");
    machine->advance(1);
    EXPECT_EQ(registry.property(disk.get(), "BSD Name").failure().kind, FailureKind::Gone);
}

TEST(RecordedMachine, AFrameThatDoesNotFitChangesNothing) {
    const auto machine = machineWithFrames(Value::array({{{"time", Start + 1},
                                                          {"load", {{"values", Value::array({9, 9, 9})}}},
                                                          {"registry", {{{"remove", "IOService:/arm-io/cpu0"}}}}}}));
    const std::size_t entries = machine->treeRegistry().entryCount();
    const Value remove{{"remove", "IOService:/arm-io/locked"}};
    const struct {
        Value frame;
        const char* pointer;
    } cases[] = {
        {{{"load", {{"values", Value::array({1, 1, 1})}}}, {"registry", Value::array({remove, remove})}},
         "/registry/1/remove"},
        {{{"registry", Value::array({remove})}, {"memory", {{"physicalMemory", -1}}}}, "/memory/physicalMemory"},
        {{{"time", "noon"}, {"load", {{"values", Value::array({1, 1, 1})}}}}, "/time"},
        {{{"monotonic", 7}}, "/monotonic"},
        {Value::array(), "\"\""},
    };
    for (const auto& one : cases) {
        const Status status = machine->setFrame(one.frame);
        ASSERT_FALSE(status) << one.frame;
        EXPECT_THAT(status.failure().detail, HasSubstr(one.pointer));
        EXPECT_EQ(machine->treeRegistry().entryCount(), entries) << one.frame;
        EXPECT_EQ(loadOf(*machine), 12U) << one.frame;
        EXPECT_EQ(machine->clock().wallSeconds(), Start);
    }

    // A frame of the recording that a hand-made change made impossible.
    machine->treeRegistry().remove(machine->treeRegistry().nodeAtPath("IOService:/arm-io/cpu0"));
    machine->advance(1);
    EXPECT_EQ(loadOf(*machine), 12U);
    EXPECT_THAT(reportOf(*machine, "recording: frames").failure->detail, HasSubstr("/frames/1/registry/0/remove"));
}

TEST(RecordedMachine, TestsScriptSingleAnswers) {
    const auto machine = machineWithFrames(Value::array());
    MemoryAnswers memory = machine->recordedMemory().answers();
    memory.physicalMemory = Failure{FailureKind::Gone, "test", ""};
    memory.swapUsage = SwapUsage{3, 2, 1};
    machine->recordedMemory().setAnswers(memory);
    ASSERT_TRUE(machine->setFrame({{"memory", {{"swapUsage", {{"used", 9}}}}}}));
    EXPECT_EQ(*machine->memory().swapUsage(), (SwapUsage{3, 2, 9}));
    EXPECT_EQ(machine->memory().physicalMemory().failure().kind, FailureKind::Gone);
}

TEST(RecordedMachine, WorkSeesTheFramesInOrder) {
    const auto machine = machineWithFrames(Value::array(
        {loadFrame(Start + 1, 1), loadFrame(Start + 2, 2), loadFrame(Start + 3, 3), loadFrame(Start + 3, 30)}));
    std::vector<std::uint32_t> seen;
    const auto timer = machine->queues().main().repeating(0.5, [&] { seen.push_back(loadOf(*machine)); });
    machine->queues().runMain(1.5);
    EXPECT_THAT(seen, ElementsAre(12, 1, 1)) << "running the main queue brings the frames on too";
    machine->advanceTo(Start + 3);
    EXPECT_THAT(seen, ElementsAre(12, 1, 1, 2, 2, 30));
    machine->advanceTo(Start);
    EXPECT_EQ(machine->clock().wallSeconds(), Start + 3) << "nothing goes back";
}

TEST(RecordedMachine, TheWallClockMayBeSetWhileTimePasses) {
    // Set back by an hour at 10 s, asleep for a day at 20 s (the monotonic clock does not count it).
    Value frames = Value::array({loadFrame(Start + 10 - 3600, 1), loadFrame(Start + 20 - 3600 + 86400, 2)});
    frames[0]["monotonic"] = 10;
    frames[1]["monotonic"] = 20;
    const auto machine = machineWithFrames(frames);
    EXPECT_EQ(machine->nextFrameTime(), Start + 10) << "what the clock shows when the frame comes";
    machine->advanceTo(*machine->nextFrameTime());
    EXPECT_EQ(loadOf(*machine), 1U);
    EXPECT_EQ(machine->clock().wallSeconds(), Start + 10 - 3600);
    machine->advanceTo(Start);
    EXPECT_EQ(loadOf(*machine), 2U) << "the clock was set past it on the way";
    EXPECT_EQ(machine->clock().wallSeconds(), machine->endTime());
    EXPECT_EQ(machine->clock().monotonicSeconds(), 20);

    ASSERT_TRUE(machine->setFrame({{"time", 5.0}}));
    machine->advance(1);
    EXPECT_EQ(machine->clock().wallSeconds(), 6);
    EXPECT_EQ(machine->clock().monotonicSeconds(), 21);
}

}  // namespace
}  // namespace hvk
