// The families: who counts as part of whom, whatever a machine says of parents, and the sums over them.

#include "HVKStatistics/processes/ProcessHierarchy.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <map>

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
using testing::ElementsAre;

constexpr std::int32_t Top = 0;

/// Under which pid every process hangs; Top for a row of its own. Fails when a process is there twice.
std::map<std::int32_t, std::int32_t> heads(HVKStatisticsProcesses& processes) {
    std::map<std::int32_t, std::int32_t> all;
    std::vector<std::pair<const ProcessHierarchyNodes*, std::int32_t>> levels = {{&processes.hierarchy(), Top}};
    while (!levels.empty()) {
        const auto [nodes, head] = levels.back();
        levels.pop_back();
        for (const ProcessHierarchyNode& node : *nodes) {
            EXPECT_TRUE(all.emplace(node.process()->pid, head).second) << node.process()->pid << " is there twice";
            EXPECT_EQ(node.parent == nullptr ? Top : node.parent->process()->pid, head);
            levels.emplace_back(&node.children, node.process()->pid);
        }
    }
    return all;
}

/// The head of one process in a table of launchd (1), an application (10) and what is written besides.
std::int32_t headOf(std::int32_t pid, std::initializer_list<Value> others) {
    Value table = processTable(others);
    table["processes"]["table"].push_back(process(1, "launchd", 0));
    table["processes"]["table"].push_back(process(10, "Editor", 1, {{"applicationType", "Foreground"}}));
    const auto machine = writtenMachine(table);
    HVKStatisticsProcesses processes(*machine);
    processes.update(Start);
    EXPECT_EQ(heads(processes).size(), processes.processes().size());
    return heads(processes).at(pid);
}

TEST(ProcessFamilies, AProcessHangsUnderWhoStartedItOrIsResponsible) {
    EXPECT_EQ(headOf(10, {}), Top) << "started by launchd";
    EXPECT_EQ(headOf(20, {process(20, "helper", 10)}), 10);
    EXPECT_EQ(headOf(30, {process(20, "helper", 10), process(30, "worker", 20)}), 20);
    EXPECT_EQ(headOf(20, {process(20, "service", 1, {{"responsible", 10}})}), 10) << "launchd is nobody's head";
    EXPECT_EQ(headOf(20, {process(20, "service", 999, {{"responsible", 10}})}), 10) << "the parent ended";
    EXPECT_EQ(headOf(20, {process(20, "service", 999)}), Top);
    EXPECT_EQ(headOf(20, {process(20, "service", 1, {{"responsible", 20}})}), Top) << "responsible for itself";
    EXPECT_EQ(headOf(20, {process(20, "service", 20, {{"responsible", 10}})}), 10) << "its own parent";
    EXPECT_EQ(headOf(20, {process(20, "service", 5), process(5, "kernel_task", 0)}), Top);
    const Value unreadable = {{"pid", 30}, {"unreadable", {{"error", "denied"}}}};
    const auto machine = writtenMachine(processTable({process(20, "service", 30), unreadable}));
    HVKStatisticsProcesses processes(*machine);
    processes.update(Start);
    EXPECT_THAT(heads(processes), ElementsAre(std::pair(20, Top))) << "an unreadable parent is none";
}

TEST(ProcessFamilies, ShellsInterpretersAndLaunchersAbsorbNothing) {
    for (const char* name : {"debugserver", "sh", "sudo", "login", "bash", "csh", "zsh", "ksh", "tcsh", "fish", "node",
                             "ruby", "ruby3.1", "perl", "perl5.30", "xpcproxy", "my XPCProxy 2"}) {
        EXPECT_EQ(headOf(30, {process(20, name, 10), process(30, "tool", 20)}), Top) << name;
        EXPECT_EQ(headOf(30, {process(20, name, 10), process(30, "sh", 20)}), 20) << "sh joins " << name;
        EXPECT_EQ(headOf(20, {process(20, name, 10)}), 10) << name << " is itself part of who started it";
        EXPECT_EQ(headOf(30, {process(20, name, 10), process(30, "tool", 20, {{"responsible", 10}})}), Top)
            << "a parent that refuses is not passed over for the responsible process: " << name;
    }
    for (const char* name : {"Bash", "bash2", "nodejs", "my-ruby", "python3"})
        EXPECT_EQ(headOf(30, {process(20, name, 10), process(30, "tool", 20)}), 20) << name;
    EXPECT_EQ(headOf(20, {process(20, "sh", 1)}), Top);
    for (const char* name : {"powermetrics", "nginx", "nginx: worker"})
        EXPECT_EQ(headOf(20, {process(20, name, 10)}), Top) << name;
}

TEST(ProcessFamilies, HelpersOfServicesHangUnderThem) {
    const Value spotlight = process(40, "Spotlight", 1);
    for (const char* name : {"mdbulkimport", "mds", "mds_stores", "mdsync", "mdworker_shared", "mdworker",
                             "corespotlightd", "CoreSpotlightService", "spotlightknowledged", "SpotlightAggregator"}) {
        EXPECT_EQ(headOf(20, {process(20, name, 10), spotlight}), 40) << name;
        EXPECT_EQ(headOf(20, {process(20, name, 10)}), Top) << name << ", with no Spotlight";
    }
    EXPECT_EQ(headOf(20, {process(20, "MDS", 10), spotlight}), 10) << "letter case counts";

    const Value center = process(40, "Notification Center", 1);
    for (const char* name : {"usernoted", "usernotificationsd"}) {
        EXPECT_EQ(headOf(20, {process(20, name, 10), center}), 40) << name;
        EXPECT_EQ(headOf(20, {process(20, name, 10)}), Top) << name;
    }

    const Value safaris[] = {process(40, "Safari", 1, {{"user", 502}}), process(41, "Safari", 1),
                             process(42, "Safari", 1)};
    for (const char* name : {"com.apple.Safari.SafeBrowsing.Service", "com.apple.Safari.History"}) {
        EXPECT_EQ(headOf(20, {process(20, name, 10), safaris[0], safaris[1], safaris[2]}), 41) << "of the same user";
        EXPECT_EQ(headOf(20, {process(20, name, 10), safaris[0]}), Top);
    }
}

TEST(ProcessFamilies, TheHeadsOfServicesAreFoundByType) {
    const auto machine = writtenMachine(
        processTable({process(5, "spotlightknowledged", 1), process(40, "Spotlight", 1), process(41, "Spotlight", 1),
                      process(50, "Notification Center", 1), process(60, "Safari", 1, {{"user", 502}})}));
    HVKStatisticsProcesses processes(*machine);
    EXPECT_EQ(processes.spotlightProcess(), nullptr);
    processes.updateProcesses(Start);
    EXPECT_EQ(processes.spotlightProcess()->pid, 40) << "an indexer that carries the bit comes last";
    EXPECT_EQ(processes.notificationCenterProcess()->pid, 50);
    EXPECT_EQ(processes.safariProcess(502)->pid, 60);
    EXPECT_EQ(processes.safariProcess(501), nullptr);
    turn(*machine, 1, processChange(40, nullptr));
    turn(*machine, 1, processChange(41, nullptr));
    processes.updateProcesses(Start + 2);
    EXPECT_EQ(processes.spotlightProcess()->pid, 5);
    processes.updateHierarchy();
    EXPECT_EQ(heads(processes).at(5), Top) << "it cannot hang under itself";
}

/// The sum of a figure over all families, and over all processes.
std::pair<double, double> sums(HVKStatisticsProcesses& processes, ProcessMetric metric) {
    std::pair<double, double> both{};
    for (ProcessHierarchyNode& node : processes.hierarchy()) both.first += processes.hierarchySort(node, metric);
    for (const auto& item : processes.processes()) both.second += processMetricValue(*item, metric);
    return both;
}

TEST(ProcessFamilies, SumsAreThoseOfEverythingBelow) {
    const auto machine = writtenMachine(processTable(
        {process(10, "a", 1, used(0, 1)), process(11, "b", 10, used(0, 20)), process(12, "c", 11, used(0, 300)),
         process(13, "d", 10, used(0, 4000)), process(14, "e", 1, used(0, 50000))}));
    HVKStatisticsProcesses processes(*machine);
    processes.update(Start);
    auto& hierarchy = processes.hierarchy();
    ASSERT_EQ(hierarchy.size(), 2U);
    EXPECT_EQ(processes.hierarchySort(*hierarchy.first, ProcessMetric::Memory), 4321);
    EXPECT_EQ(hierarchy.first->sum(ProcessMetric::Memory), 4321);
    EXPECT_EQ(hierarchy.first->sum(ProcessMetric::CPU), 0);
    const ProcessHierarchyNode* inner = processes.hierarchy(hierarchy, 11);
    ASSERT_NE(inner, nullptr);
    EXPECT_EQ(inner->sum(ProcessMetric::Memory), 320);
    EXPECT_EQ(processes.hierarchy(hierarchy, 12)->sum(ProcessMetric::Memory), 300);
    EXPECT_EQ(processes.hierarchy(hierarchy, 14)->sum(ProcessMetric::Memory), 0) << "not asked for";
    EXPECT_EQ(processes.hierarchy(hierarchy, 99), nullptr);
    EXPECT_EQ(processes.hierarchy(inner->children, 12)->process()->name, "c");
    EXPECT_EQ(processes.hierarchy(inner->children, 13), nullptr);
    processes.hierarchySort(*hierarchy.first, ProcessMetric::Memory);
    EXPECT_EQ(hierarchy.first->sum(ProcessMetric::Memory), 4321) << "summed anew, not on top";
}

TEST(ProcessFamilies, WhoEndedIsTakenOutAtEveryLevel) {
    const auto machine = writtenMachine(
        processTable({process(10, "a", 1), process(11, "b", 10), process(12, "c", 11), process(13, "d", 11),
                      process(14, "e", 10), process(15, "f", 14), process(16, "g", 1), process(17, "h", 1)}));
    HVKStatisticsProcesses processes(*machine);
    processes.update(Start);
    Value ended = processChange(11, nullptr);
    for (const char* pid : {"10", "15", "16"}) ended["processes"]["changes"][pid] = nullptr;
    turn(*machine, 1, ended);
    processes.updateProcesses(Start + 1);
    EXPECT_EQ(heads(processes).size(), 8U) << "until it is pruned or built anew";
    processes.hierarchyRemoveOldProcesses(processes.hierarchy());
    EXPECT_THAT(heads(processes),
                ElementsAre(std::pair(12, Top), std::pair(13, Top), std::pair(14, Top), std::pair(17, Top)));
    processes.updateHierarchy();
    EXPECT_EQ(heads(processes).size(), 4U);
}

/// A chain, rings and a forest, as a snapshot may tell them.
Value snapshot(const std::map<std::int32_t, std::int32_t>& parents) {
    Value records = Value::array();
    for (const auto& [pid, parent] : parents)
        records.push_back({{"pid", pid},
                           {"user", 501},
                           {"parent", parent},
                           {"name", "process"},
                           {"type", 16},
                           {"stats", true},
                           {"cputime", 1},
                           {"memory", pid}});
    return {{"processes", records}, {"frequency", 1'000'000'000}, {"time", Start}};
}

TEST(ProcessFamilies, NoDepthAndNoRingLosesOrDoublesAProcess) {
    const auto machine = writtenMachine();
    HVKStatisticsProcesses processes(*machine);
    const auto apply = [&](const std::map<std::int32_t, std::int32_t>& parents) {
        processes.updateWithProcesses(snapshot(parents));
        processes.updateHierarchy();
        const auto [families, all] = sums(processes, ProcessMetric::Memory);
        EXPECT_EQ(families, all);
        const auto found = heads(processes);
        EXPECT_EQ(found.size(), parents.size());
        return found;
    };

    std::map<std::int32_t, std::int32_t> chain;
    for (std::int32_t pid = 1; pid <= 20'000; ++pid) chain[pid] = pid + 1;
    const auto deep = apply(chain);
    EXPECT_EQ(deep.at(20'000), Top);
    EXPECT_EQ(deep.at(1), 2);
    ASSERT_EQ(processes.hierarchy().size(), 1U);
    EXPECT_NE(processes.hierarchy(processes.hierarchy(), 1), nullptr);
    chain[20'000] = 1;  // now a ring of them all
    EXPECT_EQ(apply(chain).at(1), Top);

    EXPECT_THAT(apply({{5, 5}}), ElementsAre(std::pair(5, Top)));
    EXPECT_THAT(apply({{5, 6}, {6, 5}}), ElementsAre(std::pair(5, Top), std::pair(6, 5)));
    EXPECT_THAT(apply({{5, 7}, {6, 5}, {7, 6}, {8, 7}, {9, 8}, {10, 10}, {11, 10}}),
                ElementsAre(std::pair(5, Top), std::pair(6, 5), std::pair(7, 6), std::pair(8, 7), std::pair(9, 8),
                            std::pair(10, Top), std::pair(11, 10)))
        << "the member with the lowest pid becomes a row; what hung below the ring goes on hanging";

    // Indexers that all carry the type of Spotlight itself.
    Value strange = snapshot({{5, 6}, {6, 7}, {7, 5}});
    for (Value& record : strange["processes"]) record["name"] = "mds", record["type"] = 36;
    processes.updateWithProcesses(strange);
    processes.updateHierarchy();
    EXPECT_THAT(heads(processes), ElementsAre(std::pair(5, Top), std::pair(6, 5), std::pair(7, 5)));
}

}  // namespace
}  // namespace hvk
