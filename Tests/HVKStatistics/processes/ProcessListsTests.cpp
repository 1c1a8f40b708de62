// Lists of the busiest: what decides, what is left out, how many rows, and what the cache keeps.

#include "HVKStatistics/processes/ProcessLists.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "HVKStatistics/processes/HVKStatisticsProcesses.h"
#include "support/WrittenMachine.h"
#include "support/WrittenProcesses.h"

namespace hvk {
namespace {

using test::process;
using test::processTable;
using test::Start;
using test::used;
using test::writtenMachine;
using testing::ElementsAre;
using testing::IsEmpty;

std::vector<std::int32_t> pids(const ProcessListRows& list) {
    std::vector<std::int32_t> all;
    for (const ProcessListRow& row : list.rows) all.push_back(row.process->pid);
    return all;
}

/// An application (10) with a helper (11), another one (20), and a service (30); all figures are written by the test.
struct Table {
    Table() {
        const Value foreground = {{"applicationType", "Foreground"}};
        machine = writtenMachine(
            processTable({process(1, "launchd", 0), process(10, "Editor", 1, foreground), process(11, "helper", 10),
                          process(20, "Player", 1, foreground), process(30, "service", 1)}));
        processes = std::make_unique<HVKStatisticsProcesses>(*machine);
        processes->update(Start);
    }
    StatisticsProcessItem& item(std::int32_t pid) { return *processes->processWithPid(pid); }

    std::unique_ptr<RecordedMachine> machine;
    std::unique_ptr<HVKStatisticsProcesses> processes;
};

TEST(ProcessLists, TheLargestComeFirstAndTheCountCuts) {
    Table table;
    table.item(10).cpu = 5;
    table.item(11).cpu = 40;
    table.item(20).cpu = 30;
    table.item(30).cpu = std::numeric_limits<double>::quiet_NaN();
    EXPECT_THAT(pids(table.processes->processesWithConfig({ProcessListKey::CPU, 100})), ElementsAre(11, 20, 10, 1, 30));
    EXPECT_THAT(pids(table.processes->processesWithConfig({ProcessListKey::CPU, 2})), ElementsAre(11, 20));
    EXPECT_THAT(pids(table.processes->processesWithConfig({ProcessListKey::CPU, 0})), IsEmpty());
    EXPECT_THAT(pids(table.processes->processesWithConfig({ProcessListKey::CPU, -3})), IsEmpty());
    const auto& families = table.processes->combinedProcessesWithConfig({ProcessListKey::CPU, 2, 0, true});
    EXPECT_THAT(pids(families), ElementsAre(10, 20)) << "the helper counts with its application";
    EXPECT_EQ(families.rows[0].values[0], 45);
}

TEST(ProcessLists, TheLargerDirectionDecides) {
    Table table;
    table.item(10).networkUpload = 10;
    table.item(10).networkDownload = 50;
    table.item(11).networkUpload = 30;
    table.item(20).networkUpload = 60;
    table.item(30).diskRead = 7;
    table.item(11).diskWrite = 9;
    EXPECT_THAT(pids(table.processes->processesWithConfig({ProcessListKey::Network, 3})), ElementsAre(20, 10, 11));
    EXPECT_THAT(pids(table.processes->processesWithConfig({ProcessListKey::NetworkDownload, 1})), ElementsAre(10));
    EXPECT_THAT(pids(table.processes->processesWithConfig({ProcessListKey::DiskRead, 1})), ElementsAre(30));
    EXPECT_THAT(pids(table.processes->processesWithConfig({ProcessListKey::DiskActivity, 2})), ElementsAre(11, 30));
    const Value rows =
        table.processes->combinedProcessesWithConfig(Value{{"key", "network"}, {"count", 2}, {"combine", true}});
    EXPECT_EQ(rows, Value::parse(R"([{"pid": 20, "name": "Player", "path": "", "network-upload": 60.0,
                                      "network-download": 0.0},
                                     {"pid": 10, "name": "Editor", "path": "", "network-upload": 40.0,
                                      "network-download": 50.0}])"));
}

TEST(ProcessLists, EnergyListsApplicationsFromTheThresholdOn) {
    Table table;
    table.item(10).power = 0.9;
    table.item(11).power = 50;
    table.item(20).power = 1;
    table.item(30).power = 80;
    EXPECT_THAT(pids(table.processes->processesWithConfig({ProcessListKey::Power, 5, 1.0})), ElementsAre(20));
    EXPECT_THAT(pids(table.processes->processesWithConfig({ProcessListKey::Power, 1, 0.5})), ElementsAre(20))
        << "what is left out takes nobody's place";
    const auto& families = table.processes->combinedProcessesWithConfig({ProcessListKey::Power, 5, 1.0, true});
    EXPECT_THAT(pids(families), ElementsAre(10, 20)) << "with its helper it is above";
    table.item(30).energy = 3;
    EXPECT_THAT(pids(table.processes->processesWithConfig({ProcessListKey::Energy, 1, 99})), ElementsAre(30))
        << "the threshold is for power alone";
}

TEST(ProcessLists, TheCacheKeepsTheLastListOfEachKind) {
    Table table;
    HVKStatisticsProcesses& processes = *table.processes;
    const ProcessListConfig single{ProcessListKey::Memory, 1};
    const ProcessListConfig combined{ProcessListKey::Memory, 1, 0, true};
    EXPECT_EQ(processes.sortedProcesses(single), nullptr);
    EXPECT_THAT(processes.processesMemory(), IsEmpty());
    table.item(30).memory = 9;
    table.item(10).memory = 5;
    table.item(11).memory = 5;
    processes.updateHierarchy();
    ASSERT_NE(processes.sortedProcesses(single), nullptr) << "whoever asked gets it from the next update on";
    EXPECT_THAT(pids(*processes.sortedProcesses(single)), ElementsAre(30));
    EXPECT_EQ(processes.sortedProcesses(combined), nullptr);
    EXPECT_THAT(pids(processes.combinedProcessesWithConfig(combined)), ElementsAre(10));
    EXPECT_THAT(pids(*processes.sortedProcesses(single)), ElementsAre(30));
    EXPECT_EQ(processes.processesMemory()[0].process->pid, 10) << "the one that was made last";
    EXPECT_EQ(processes.sortedCache().size(), 2U);
    EXPECT_EQ(processes.sortedCache()["memory-combined"][0]["memory"], 10.0);

    table.item(20).memory = 100;
    EXPECT_THAT(pids(*processes.sortedProcesses(single)), ElementsAre(30)) << "until it is made again";
    processes.clearSortedCache();
    EXPECT_EQ(processes.sortedProcesses(single), nullptr);
    EXPECT_EQ(processes.sortedCache(), Value::object());
    processes.updateHierarchy();
    EXPECT_THAT(pids(*processes.sortedProcesses(single)), ElementsAre(20));
}

TEST(ProcessLists, AConfigurationThatMakesNoSenseIsRefusedWithTheReason) {
    Table table;
    HVKStatisticsProcesses& processes = *table.processes;
    const auto reason = [&] {
        for (const SourceReport& report : table.machine->diagnostics().reports())
            if (report.source == "process list configuration" && report.failure) return report.failure->detail;
        return std::string();
    };
    const struct {
        const char* configuration;
        const char* complaint;
    } cases[] = {
        {"[]", "dictionary"},
        {"{}", "\"key\""},
        {R"({"key": 3, "count": 1})", "\"key\""},
        {R"({"key": "colour", "count": 1})", "colour"},
        {R"({"key": "cpu"})", "\"count\""},
        {R"({"key": "cpu", "count": 1.5})", "\"count\""},
        {R"({"key": "cpu", "count": 1, "threshold": "high"})", "\"threshold\""},
        {R"({"key": "cpu", "count": 1, "combine": 2})", "\"combine\""},
    };
    for (const auto& one : cases) {
        const Value configuration = Value::parse(one.configuration);
        EXPECT_TRUE(processes.processesWithConfig(configuration).is_null());
        EXPECT_TRUE(processes.sortedProcesses(configuration).is_null());
        EXPECT_THAT(reason(), testing::HasSubstr(one.complaint));
    }
    EXPECT_EQ(processes.sortedCache(), Value::object());
    const Value most = Value::parse(R"({"key": "diskactivity-write", "count": 18446744073709551615, "more": 1})");
    EXPECT_EQ(processes.processesWithConfig(most).size(), 5U);
    EXPECT_EQ(processes.sortedProcesses(most).size(), 5U);
    EXPECT_EQ(reason(), "");
}

}  // namespace
}  // namespace hvk
