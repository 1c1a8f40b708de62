// The process table over several passes: figures from counters, who comes and goes, and readings that fail.

#include "HVKStatistics/processes/HVKStatisticsProcesses.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <atomic>
#include <thread>

#include "HVKStatistics/processes/ProcessUpdate.h"
#include "support/WrittenMachine.h"
#include "support/WrittenProcesses.h"

namespace hvk {
namespace {

using test::process;
using test::processChange;
using test::processTable;
using test::Start;
using test::turn;
using test::used;
using test::writtenMachine;
using testing::ElementsAre;

std::vector<std::int32_t> pids(const StatisticsProcessList& list) { return {list.pids().begin(), list.pids().end()}; }

/// A machine whose process table a test bends.
template <class Table>
class BentMachine : public ForwardingMachine {
public:
    explicit BentMachine(Machine& target) : ForwardingMachine(target), table(target.processTable()) {}
    ProcessTablePort& processTable() override { return table; }
    Table table;
};

TEST(Processes, FiguresFollowTheCountersFromTheSecondPassOn) {
    const auto machine = writtenMachine(processTable({process(50, "Editor", 1, used(5'000'000'000, 100, 1000, 0, 7))}));
    HVKStatisticsProcesses processes(*machine);
    EXPECT_EQ(processes.tbfrequency(), 1'000'000'000);
    EXPECT_TRUE(processes.processes().empty());
    processes.update(Start);
    const auto item = processes.processWithPid(50);
    ASSERT_TRUE(item && item->readable && item->exists);
    EXPECT_EQ(item->cpu, 0) << "nothing to compare with";
    EXPECT_EQ(item->diskRead + item->diskWrite + item->energy + item->power, 0);
    EXPECT_EQ(item->memory, 100U);
    EXPECT_EQ(item->powerHistory()[0].time, 0);
    EXPECT_FALSE(item->idle);

    // 1.5 s of two seconds, 4000 bytes read, 500 written, 1000 wakeups.
    turn(*machine, 2, processChange(50, used(6'500'000'000, 120, 5000, 500, 1007)));
    processes.update(Start + 2);
    EXPECT_EQ(processes.time(), Start + 2);
    EXPECT_DOUBLE_EQ(item->cpu, 75);
    EXPECT_EQ(item->memory, 120U);
    EXPECT_DOUBLE_EQ(item->diskRead, 2000);
    EXPECT_DOUBLE_EQ(item->diskWrite, 250);
    EXPECT_DOUBLE_EQ(item->energy, (1'500'000 + 1000 * 500) / 2'000'000.0 * 100);
    EXPECT_DOUBLE_EQ(item->power, item->energy);
    EXPECT_EQ(item->powerHistory()[0].time, Start + 2);
    EXPECT_EQ(item->lastUsageTime, Start + 2);

    turn(*machine, 1);
    processes.update(Start + 3);
    EXPECT_TRUE(item->idle);
    EXPECT_EQ(item->cpu, 0);
    EXPECT_EQ(item->energy, 0);
    EXPECT_DOUBLE_EQ(item->power, 50) << "the mean of 100 and 0";
    EXPECT_EQ(item->idleTime, 1);

    // A pass at the same time again divides by nothing.
    processes.update(Start + 3);
    EXPECT_EQ(item->cpu + item->diskRead + item->energy + item->power, 0);
}

TEST(Processes, TheFiguresOfOneItemFollowTheirOwnRules) {
    StatisticsProcessItem item(1);
    EXPECT_TRUE(ProcessUpdateCPU(item, 10, 0, 100)) << "it used nothing yet";
    EXPECT_FALSE(ProcessUpdateCPU(item, 12, 500, 100));
    EXPECT_DOUBLE_EQ(item.cpu, 250) << "two and a half processors";
    EXPECT_TRUE(ProcessUpdateCPU(item, 13, 400, 100)) << "a counter that ran backwards did not grow";
    EXPECT_DOUBLE_EQ(item.cpu, -100);
    EXPECT_FALSE(ProcessUpdateMemory(item, 5));
    EXPECT_TRUE(ProcessUpdateMemory(item, 5));

    ProcessUpdateIO(item, 10, 100, 100);
    ProcessUpdateIO(item, 12, 50, 300);
    EXPECT_DOUBLE_EQ(item.diskRead, -25) << "not guarded";
    EXPECT_DOUBLE_EQ(item.diskWrite, 100);
    ProcessUpdateIO(item, 11, 60, 300);
    EXPECT_EQ(item.diskRead, 0) << "time ran backwards";

    EXPECT_EQ(item.powerAverage(), 0);
    for (int sample = 1; sample <= 3; ++sample) item.addPowerUsage(sample * 10.0, sample);
    EXPECT_DOUBLE_EQ(item.powerAverage(), 20) << "of the three that are there";
    for (int sample = 4; sample <= 40; ++sample) item.addPowerUsage(sample * 10.0, sample);
    EXPECT_DOUBLE_EQ(item.powerAverage(), 255) << "11 to 40";
    EXPECT_EQ(item.powerHistory()[0].power, 400);
    EXPECT_EQ(item.powerHistory()[29].power, 110);
}

TEST(Processes, TheTimeBaseIsTheMachinesOrNanoseconds) {
    for (const std::int64_t frequency : {24'000'000, 0, -5}) {
        Value table = processTable({process(50, "Editor", 1)});
        table["processes"]["timebaseFrequency"] = frequency;
        const auto machine = writtenMachine(table);
        HVKStatisticsProcesses processes(*machine);
        EXPECT_EQ(processes.tbfrequency(), frequency > 0 ? frequency : 1'000'000'000);
        processes.update(Start);
        turn(*machine, 1, processChange(50, used(12'000'000)));
        processes.update(Start + 1);
        EXPECT_DOUBLE_EQ(processes.processWithPid(50)->cpu, frequency > 0 ? 50 : 1.2);
    }
    EXPECT_EQ(HVKStatisticsProcesses(*writtenMachine()).tbfrequency(), 1'000'000'000) << "absent";
}

TEST(Processes, ComeAndGo) {
    const auto machine = writtenMachine(processTable({process(50, "a", 1), process(9, "b", 1), process(70, "c", 1)}));
    HVKStatisticsProcesses processes(*machine);
    processes.updateProcesses(Start);
    EXPECT_THAT(pids(processes.processes()), ElementsAre(9, 50, 70));
    const auto gone = processes.processWithPid(50);
    const auto kept = processes.processWithPid(70);
    EXPECT_TRUE(kept->isNew);
    processes.updateHierarchy();
    EXPECT_FALSE(kept->isNew);

    const auto before = processes.immutableProcesses();
    processes.updateProcesses(Start + 1);
    EXPECT_EQ(processes.immutableProcesses(), before) << "the same processes are the same list";

    Value changes = processChange(50, nullptr);
    changes["processes"]["changes"]["60"] = process(60, "d", 1);
    changes["processes"]["changes"]["60"].erase("pid");
    turn(*machine, 1, changes);
    processes.update(Start + 1);
    EXPECT_THAT(pids(processes.processes()), ElementsAre(9, 60, 70));
    EXPECT_FALSE(gone->exists);
    EXPECT_EQ(processes.processWithPid(50), nullptr);
    EXPECT_EQ(processes.processWithPid(70), kept);
    EXPECT_EQ(before->size(), 3U) << "who holds a list keeps it";
    EXPECT_EQ(before->find(50), gone);

    turn(*machine, 1, {{"processes", {{"table", {{"error", "denied"}}}}}});
    processes.update(Start + 2);
    EXPECT_THAT(pids(processes.processes()), ElementsAre(9, 60, 70)) << "a list that cannot be read ends nobody";
    EXPECT_TRUE(kept->exists);
    EXPECT_FALSE(processes.pids());
    turn(*machine, 1, {{"processes", {{"table", Value::array()}}}});
    processes.update(Start + 3);
    EXPECT_EQ(processes.processes().size(), 3U) << "no machine is without a process";
}

TEST(Processes, AReusedPidIsAnotherProcess) {
    const auto machine = writtenMachine(processTable({process(50, "old", 1, used(9'000'000'000, 1, 7000))}));
    HVKStatisticsProcesses processes(*machine);
    processes.update(Start);
    const auto old = processes.processWithPid(50);
    Value next = used(10'000'000'000, 1, 9000);
    next["identity"] = 7;
    next["command"] = "new";
    turn(*machine, 1, processChange(50, next));
    processes.update(Start + 1);
    const auto current = processes.processWithPid(50);
    ASSERT_NE(current, old);
    EXPECT_FALSE(old->exists);
    EXPECT_EQ(current->name, "new");
    EXPECT_EQ(current->cpu + current->diskRead + current->energy, 0) << "no rate across the two";
    EXPECT_EQ(old->cpu, 0);
    turn(*machine, 1, processChange(50, used(10'500'000'000, 1, 9100)));
    processes.update(Start + 2);
    EXPECT_EQ(processes.processWithPid(50), current);
    EXPECT_DOUBLE_EQ(current->cpu, 50);
}

TEST(Processes, WhatCannotBeReadIsListedWithTheReason) {
    Value hidden = {{"pid", 60}, {"identity", 3}, {"unreadable", {{"error", "denied"}, {"detail", "of the system"}}}};
    const auto machine = writtenMachine(processTable({process(50, "Editor", 1), hidden}));
    HVKStatisticsProcesses processes(*machine);
    processes.update(Start);
    const auto item = processes.processWithPid(60);
    ASSERT_TRUE(item);
    EXPECT_FALSE(item->readable);
    EXPECT_EQ(item->parent, -1);
    EXPECT_EQ(static_cast<std::int32_t>(item->user), -1);
    ASSERT_TRUE(item->unreadableReason);
    EXPECT_EQ(item->unreadableReason->kind, FailureKind::Denied);
    EXPECT_EQ(item->unreadableReason->detail, "of the system");
    EXPECT_EQ(processes.hierarchy().size(), 1U) << "families are of readable processes";
    turn(*machine, 1);
    processes.update(Start + 1);
    EXPECT_EQ(processes.processWithPid(60), item) << "it is left as it is";

    // Somebody else under that pid, who can be read.
    Value readable = process(60, "Reader", 1);
    readable.erase("pid");
    turn(*machine, 1, processChange(60, nullptr));
    turn(*machine, 0, processChange(60, readable));
    processes.update(Start + 2);
    EXPECT_TRUE(processes.processWithPid(60)->readable);
}

TEST(Processes, CountersThatCannotBeReadLeaveTheFigures) {
    const auto machine = writtenMachine(processTable({process(50, "Editor", 1)}));
    HVKStatisticsProcesses processes(*machine);
    processes.update(Start);
    turn(*machine, 1, processChange(50, used(500'000'000, 100, 1000)));
    processes.update(Start + 1);
    turn(*machine, 1, processChange(50, {{"usage", {{"kind", "none"}}}}));
    processes.update(Start + 2);
    const auto item = processes.processWithPid(50);
    EXPECT_DOUBLE_EQ(item->cpu, 50);
    EXPECT_DOUBLE_EQ(item->diskRead, 1000);
    EXPECT_EQ(item->memory, 100U);
    EXPECT_EQ(item->cpuSampleTime, Start + 1);

    // Processor time alone: the footprint is asked for, disk and energy stay.
    const double energy = item->energy;
    turn(*machine, 1, processChange(50, {{"usage", {{"kind", "cpu"}, {"cputime", 700'000'000}}}, {"footprint", 333}}));
    processes.update(Start + 3);
    EXPECT_DOUBLE_EQ(item->cpu, 10) << "both seconds since the reading before";
    EXPECT_EQ(item->memory, 333U);
    EXPECT_DOUBLE_EQ(item->diskRead, 1000);
    EXPECT_EQ(item->energy, energy);
    turn(*machine, 1, processChange(50, {{"footprint", {{"error", "denied"}}}}));
    processes.update(Start + 4);
    EXPECT_EQ(item->memory, 0U);

    turn(*machine, 1, processChange(50, {{"usage", {{"kind", "complete"}, {"diskRead", 3000}}}}));
    processes.update(Start + 5);
    EXPECT_DOUBLE_EQ(item->diskRead, 500) << "2000 bytes in the four seconds since the last disk reading";
}

/// Lists in disorder and twice, and counts what it is asked.
class DisorderlyTable : public ForwardingProcessTablePort {
public:
    using ForwardingProcessTablePort::ForwardingProcessTablePort;
    Status pids(std::vector<std::int32_t>& pids) override {
        pids = {70, 9, -4, 70, 50, 9};
        return {};
    }
    void usage(std::span<const std::int32_t> pids, std::span<ProcessUsage> usage) override {
        ++readings;
        asked.assign(pids.begin(), pids.end());
        target_.usage(pids, usage);
    }
    int readings = 0;
    std::vector<std::int32_t> asked;
};

TEST(Processes, AsksForAllCountersAtOnce) {
    const auto machine = writtenMachine(
        processTable({process(50, "a", 1, used(1)), process(9, "b", 1, used(1)), process(70, "c", 1, used(1))}));
    BentMachine<DisorderlyTable> bent(*machine);
    HVKStatisticsProcesses processes(bent);
    processes.update(Start);
    EXPECT_THAT(pids(processes.processes()), ElementsAre(9, 50, 70)) << "in order, once each";
    EXPECT_THAT(bent.table.asked, ElementsAre(9, 50, 70));
    EXPECT_EQ(bent.table.readings, 1) << "once a pass";
    turn(*machine, 1, processChange(9, used(500'000'001)));
    processes.updateStats(Start + 1);
    EXPECT_EQ(bent.table.readings, 2) << "figures alone are made from new counters";
    EXPECT_DOUBLE_EQ(processes.processWithPid(9)->cpu, 50);
}

TEST(Processes, FrozenIsWhatTheWindowServerSays) {
    const auto machine =
        writtenMachine(processTable({process(50, "a", 1, {{"isUnresponsive", true}}),
                                     process(51, "b", 1, {{"isUnresponsive", false}}), process(52, "c", 1)}));
    HVKStatisticsProcesses processes(*machine);
    EXPECT_TRUE(processes.isProcessFrozen(50));
    for (const std::int32_t pid : {51, 52, 53}) EXPECT_FALSE(processes.isProcessFrozen(pid)) << pid;
}

/// Two sets of processes by turns.
class AlternatingTable : public UnsupportedProcessTablePort {
public:
    explicit AlternatingTable(ProcessTablePort&) {}
    Status pids(std::vector<std::int32_t>& pids) override {
        pids.clear();
        ++pass;
        for (std::int32_t pid = 1; pid < 200; ++pid)
            if (pid % 5 != pass % 5) pids.push_back(pid);
        return {};
    }
    Result<ProcessInformation> information(std::int32_t pid) override {
        return ProcessInformation{pid, pid / 2, 501, "a process with a long name", {}, 1};
    }
    void usage(std::span<const std::int32_t> pids, std::span<ProcessUsage> usage) override {
        for (std::size_t index = 0; index < pids.size(); ++index)
            usage[index] = {1, static_cast<std::uint64_t>(pass), 7, 0, 0, 0, ProcessUsageKind::Complete};
    }
    std::int32_t pass = 0;
};

TEST(Processes, AnotherThreadReadsFinishedLists) {
    const auto machine = writtenMachine();
    BentMachine<AlternatingTable> bent(*machine);
    HVKStatisticsProcesses processes(bent);
    processes.update(Start);
    std::atomic<bool> isDone = false;
    std::atomic<int> rounds = 0;
    std::thread reader([&] {
        while (!isDone || rounds == 0) {
            std::int32_t last = 0;
            const auto list = processes.immutableProcesses();
            std::uint64_t memory = 0;
            for (const auto& item : *list) {
                EXPECT_GT(item->pid, last);
                EXPECT_EQ(item->name, "a process with a long name");
                last = item->pid;
                memory += item->memory + static_cast<std::uint64_t>(item->cpu < 0);
            }
            EXPECT_LE(memory, 7 * list->size());
            EXPECT_GE(list->size(), 159U);
            EXPECT_EQ(processes.processWithPid(500), nullptr);
            ++rounds;
        }
    });
    for (int pass = 1; pass < 300 || rounds == 0; ++pass) processes.update(Start + pass);
    isDone = true;
    reader.join();
    EXPECT_GT(rounds, 0);
}

}  // namespace
}  // namespace hvk
