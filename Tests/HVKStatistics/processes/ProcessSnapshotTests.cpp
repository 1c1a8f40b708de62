// The table as another program sends it: what goes out, what comes in, and what is refused.

#include "HVKStatistics/processes/ProcessSnapshot.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "HVKStatistics/processes/HVKStatisticsProcesses.h"
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

TEST(ProcessSnapshot, CarriesEveryKeyOrTheFirstSevenOnly) {
    const Value hidden = {{"pid", 60}, {"unreadable", {{"error", "denied"}}}};
    const auto machine = writtenMachine(processTable(
        {process(
             50, "Edit\xC3\xB6r", 1,
             {{"arguments", {"/usr/bin/editor"}}, {"responsible", 7}, {"usage", used(41, 42, 43, 44, 45)["usage"]}}),
         hidden}));
    HVKStatisticsProcesses processes(*machine);
    processes.updateProcesses(Start + 3);
    const Value basic = Value::parse(R"({"frequency": 1000000000, "time": 1700000003.0, "processes": [
        {"pid": 50, "user": 501, "parent": 1, "controlling": 7, "name": "Editör", "path": "/usr/bin/editor", "type": 16},
        {"pid": 60, "user": -1, "parent": -1, "controlling": -1, "name": "", "path": "", "type": 16}]})");
    EXPECT_EQ(processes.basicProcesses(), basic);
    Value all = basic;
    all["processes"][0].update(Value::parse(R"({"stats": true, "cputime": 41, "wakeups": 45, "memory": 42,
                                                "disksread": 43, "diskswrite": 44})"));
    all["processes"][1]["stats"] = false;
    EXPECT_EQ(processes.allProcesses(), all);

    turn(*machine, 1, processChange(50, {{"responsible", 8}}));
    EXPECT_EQ(processes.basicProcesses()["processes"][0]["controlling"], 8) << "asked afresh";
    EXPECT_EQ(processes.processWithPid(50)->controlling, 7);
}

/// What a host sees of every process.
Value figures(const HVKStatisticsProcesses& processes) {
    Value all = Value::array();
    for (const auto& item : processes.processes())
        all.push_back({item->pid, item->name, item->path, item->type, item->user, item->readable, item->parent.load(),
                       item->cpu.load(), item->memory.load(), item->diskRead.load(), item->diskWrite.load(),
                       item->energy.load(), item->power.load(), item->idle.load()});
    return all;
}

TEST(ProcessSnapshot, AnotherModuleMakesTheSameFiguresOfIt) {
    const Value hidden = {{"pid", 60}, {"unreadable", {{"error", "denied"}}}};
    Value table = processTable({process(50, "Editor", 1, {{"applicationType", "Foreground"}}), hidden,
                                process(70, "helper", 50), process(80, "partly", 1), process(90, "briefly", 1)});
    table["processes"]["timebaseFrequency"] = 24'000'000;
    const auto machine = writtenMachine(table);
    const auto elsewhere = writtenMachine();
    HVKStatisticsProcesses sender(*machine);
    HVKStatisticsProcesses receiver(*elsewhere);
    const Value frames[] = {
        Value::object(),
        processChange(50, used(12'000'000, 1000, 500, 600, 70)),
        processChange(70, used(48'000'000, 10, 5, 6, 7)),
        processChange(80, {{"usage", {{"kind", "cpu"}, {"cputime", 6'000'000}}}, {"footprint", 777}}),
        processChange(70, {{"usage", {{"kind", "none"}}}}),
        processChange(90, nullptr),
        processChange(70,
                      {{"identity", 4}, {"command", "newcomer"}, {"usage", {{"kind", "complete"}, {"cputime", 3}}}}),
        processChange(70, used(24'000'003, 20)),
    };
    for (const Value& frame : frames) {
        turn(*machine, 2, frame);
        sender.update(machine->clock().wallSeconds());
        // The way from program to program.
        receiver.updateWithProcesses(Value::parse(sender.allProcesses().dump()));
        receiver.updateHierarchy();
        ASSERT_EQ(figures(receiver), figures(sender)) << frame;
        EXPECT_EQ(receiver.time(), sender.time());
        EXPECT_EQ(receiver.processesWithConfig({ProcessListKey::CPU, 9}).toValue(),
                  sender.processesWithConfig({ProcessListKey::CPU, 9}).toValue());
        EXPECT_EQ(receiver.hierarchy().size(), sender.hierarchy().size());
        Value again = receiver.allProcesses();
        EXPECT_EQ(again, sender.allProcesses()) << "it can be sent on";
    }
    EXPECT_EQ(receiver.processWithPid(50)->type, 32);
    EXPECT_TRUE(receiver.processWithPid(60)->unreadableReason);
    EXPECT_DOUBLE_EQ(receiver.processWithPid(70)->cpu, 50);
    EXPECT_EQ(receiver.tbfrequency(), 1'000'000'000) << "that of its own machine";

    const auto item = receiver.processWithPid(50);
    const double cpu = item->cpu;
    receiver.updateWithProcesses(sender.basicProcesses());
    EXPECT_EQ(receiver.processWithPid(50), item);
    EXPECT_EQ(item->cpu, cpu) << "no counters, no new figures";
}

TEST(ProcessSnapshot, AnotherProcessUnderThePidIsANewOne) {
    const Value first = Value::parse(R"({"time": 100.0, "processes": [{"pid": 5, "user": 1, "name": "a", "path": "/a",
        "type": 16, "stats": true, "cputime": 1000, "memory": 1, "wakeups": 0, "disksread": 0, "diskswrite": 0}]})");
    for (const char* change :
         {R"({"name": "b"})", R"({"path": "/b"})", R"({"user": 2})", R"({"type": 32})", R"({"cputime": 999})"}) {
        const auto machine = writtenMachine();
        HVKStatisticsProcesses processes(*machine);
        processes.updateWithProcesses(first);
        const auto item = processes.processWithPid(5);
        Value next = first;
        next["time"] = 101.0;
        next["processes"][0].update(Value::parse(change));
        processes.updateWithProcesses(next);
        EXPECT_NE(processes.processWithPid(5), item) << change;
        EXPECT_FALSE(item->exists);
        EXPECT_EQ(processes.processWithPid(5)->cpu, 0);
    }
}

TEST(ProcessSnapshot, WhatMakesNoSenseChangesNothingAndSaysWhy) {
    const auto machine = writtenMachine(processTable({process(50, "Editor", 1)}));
    HVKStatisticsProcesses processes(*machine);
    processes.update(Start);
    const auto list = processes.immutableProcesses();
    const struct {
        const char* snapshot;
        const char* place;
    } cases[] = {
        {"3", "/: "},
        {R"({"processes": []})", "/time"},
        {R"({"processes": [], "time": "noon"})", "/time"},
        {R"({"processes": [], "time": -1})", "/time"},
        {R"({"processes": {}, "time": 1})", "/processes: "},
        {R"({"processes": [], "time": 1, "frequency": 0})", "/frequency"},
        {R"({"processes": [7], "time": 1})", "/processes/0: "},
        {R"({"processes": [{"pid": 1}, {"name": "x"}], "time": 1})", "/processes/1/pid"},
        {R"({"processes": [{"pid": -1}], "time": 1})", "/processes/0/pid"},
        {R"({"processes": [{"pid": 4294967296}], "time": 1})", "/processes/0/pid"},
        {R"({"processes": [{"pid": 1, "parent": "one"}], "time": 1})", "/processes/0/parent"},
        {R"({"processes": [{"pid": 1, "user": -2}], "time": 1})", "/processes/0/user"},
        {R"({"processes": [{"pid": 1, "name": 5}], "time": 1})", "/processes/0/name"},
        {R"({"processes": [{"pid": 1, "stats": 1}], "time": 1})", "/processes/0/stats"},
        {R"({"processes": [{"pid": 1, "stats": true}], "time": 1})", "/processes/0/cputime"},
        {R"({"processes": [{"pid": 1, "stats": true, "cputime": -1}], "time": 1})", "/processes/0/cputime"},
        {R"({"processes": [{"pid": 1, "stats": true, "cputime": 1e30}], "time": 1})", "/processes/0/cputime"},
        {R"({"processes": [{"pid": 1, "stats": true, "cputime": 1, "memory": 0.5}], "time": 1})",
         "/processes/0/memory"},
    };
    for (const auto& one : cases) {
        processes.updateWithProcesses(Value::parse(one.snapshot));
        EXPECT_EQ(processes.immutableProcesses(), list) << one.snapshot;
        EXPECT_EQ(processes.time(), Start);
        std::string reason;
        for (const SourceReport& report : machine->diagnostics().reports())
            if (report.source == "process snapshot" && report.failure) reason = report.failure->detail;
        EXPECT_THAT(reason, testing::StartsWith(one.place)) << one.snapshot;
    }
}

TEST(ProcessSnapshot, TakesDisorderAndOfTwoRecordsTheFirst) {
    const auto snapshot = ProcessSnapshot::fromValue(Value::parse(
        R"({"time": 5, "processes": [{"pid": 9, "name": "c"}, {"pid": 2.0, "name": "a", "stats": true, "cputime": 4e3},
            {"pid": 9, "name": "d"}, {"pid": 2, "name": "b"}]})"));
    ASSERT_TRUE(snapshot);
    ASSERT_EQ(snapshot->processes.size(), 2U);
    EXPECT_EQ(snapshot->processes[0].name, "a");
    EXPECT_EQ(snapshot->processes[0].usage.cputime, 4000U);
    EXPECT_EQ(snapshot->processes[0].usage.kind, ProcessUsageKind::CPUOnly);
    EXPECT_EQ(snapshot->processes[1].name, "c");
    EXPECT_EQ(snapshot->frequency, 1'000'000'000);

    ProcessSnapshot broken;
    broken.processes.push_back({1, 0, 0, 0, "\xFF", "/\xFF", 16, {}});
    EXPECT_NO_THROW(broken.toValue().dump());
}

}  // namespace
}  // namespace hvk
