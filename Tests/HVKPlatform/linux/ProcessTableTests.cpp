// The processes of a Linux machine: their texts, a saved tree of them, and what happens when they end or go bad.

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "HVKPlatform/linux/LinuxMachine.h"
#include "HVKPlatform/linux/parse/ProcessStat.h"
#include "support/SavedTree.h"

namespace hvk {
namespace {

using test::SavedTree;
using testing::ElementsAre;
using testing::HasSubstr;

std::string statLine(const std::string& pid, const std::string& command, const std::string& flags = "4194304") {
    return pid + " (" + command + ") S 1 7 8 0 -1 " + flags +
           " 100 200 3 4 250 50 6 7 20 0 1 0 5000 1000000 30 18446744073709551615 1 1\n";
}

TEST(ProcessStatText, ReadsACommandThatHoldsAnything) {
    for (const std::string command : {"sh", "Web Content", "a) R 1 (b", "((", "))", "two\nlines", ""}) {
        const std::string line = statLine("42", command);
        const auto stat = parse::parseProcessStat(line);
        ASSERT_TRUE(stat) << command;
        EXPECT_EQ(stat->command, command);
        EXPECT_EQ(stat->pid, 42);
        EXPECT_EQ(stat->parent, 1);
        EXPECT_EQ(stat->session, 8);
        EXPECT_EQ(stat->faults, 103U);
        EXPECT_EQ(stat->cpuTicks, 300U);
        EXPECT_EQ(stat->startTicks, 5000U);
        EXPECT_EQ(stat->residentPages, 30U);
    }
}

TEST(ProcessStatText, RefusesWhatIsCutOrGarbled) {
    const std::string whole = statLine("42", "sh");
    const std::size_t afterResident = whole.find(" 18446744073709551615");
    for (std::size_t length = 0; length <= afterResident; ++length)
        EXPECT_FALSE(parse::parseProcessStat(whole.substr(0, length))) << whole.substr(0, length);
    for (const std::string text : {") 1 (", "x (sh) S 1", "0 (sh) S 1 2 3", "-4 (sh) S 1"})
        EXPECT_FALSE(parse::parseProcessStat(text)) << text;
    std::string garbled = whole;
    garbled.replace(garbled.find("250"), 3, "2x0");
    EXPECT_FALSE(parse::parseProcessStat(garbled));
}

TEST(ProcessStatText, NamesAKernelWorkerWithoutWhatItIsDoing) {
    const auto nameOf = [](const std::string& command, const char* flags) {
        const std::string line = statLine("9", command, flags);
        return std::string(parse::shortCommand(*parse::parseProcessStat(line)));
    };
    EXPECT_EQ(nameOf("kworker/0:1H-events_highpri", "2097152"), "kworker/0:1H");
    EXPECT_EQ(nameOf("kworker/u4:2+flush-8:0", "2097152"), "kworker/u4:2");
    EXPECT_EQ(nameOf("kworker/R-rcu_gp", "2097152"), "kworker/R-rcu_g");
    EXPECT_EQ(nameOf("kworker/0:1H-x", "4194304"), "kworker/0:1H-x") << "a program may call itself that";
}

/// A tree with one process: 3 seconds of CPU, 20 pages of its own.
void writeProcess(SavedTree& tree, const std::string& pid, const std::string& command) {
    const std::string directory = "/proc/" + pid + "/";
    tree.write(directory + "stat", statLine(pid, command));
    tree.write(directory + "statm", "300 30 10 1 0 40 0\n");
    tree.write(directory + "io", "rchar: 9\nwchar: 9\nread_bytes: 4096\nwrite_bytes: 8192\ncancelled_write_bytes: 1\n");
    tree.write(directory + "status",
               "Name:\tx\nUid:\t1\t1000\t1\t1\nvoluntary_ctxt_switches:\t7\nnonvoluntary_ctxt_switches:\t5\n");
    tree.write(directory + "cmdline", std::string("prog\0-a\0\0b", 10));
}

TEST(SavedProcesses, AreListedInOrderWithTheirFigures) {
    SavedTree tree;
    tree.write("/proc/meminfo", "MemTotal: 1 kB\n").write("/proc/12abc/stat", "");
    for (const char* pid : {"100", "9", "20"}) writeProcess(tree, pid, "Web Content");
    LinuxMachine machine(tree.root());
    ProcessTablePort& table = machine.processTable();

    std::vector<std::int32_t> pids{1};
    ASSERT_TRUE(table.pids(pids));
    EXPECT_THAT(pids, ElementsAre(9, 20, 100));
    std::vector<ProcessUsage> usage(pids.size());
    table.usage(pids, usage);
    for (const ProcessUsage& one : usage) {
        EXPECT_EQ(one.kind, ProcessUsageKind::Complete);
        EXPECT_EQ(one.identity, 5001U);
        EXPECT_EQ(one.cputime, 3'000'000'000U);
        EXPECT_EQ(one.memory, 20U * 4096);
        EXPECT_EQ(one.diskRead, 4096U);
        EXPECT_EQ(one.diskWritten, 8192U);
        EXPECT_EQ(one.wakeups, 7U) << "only those of its own will";
    }
    const auto information = table.information(20);
    ASSERT_TRUE(information);
    EXPECT_EQ(information->command, "Web Content");
    EXPECT_EQ(information->name, "");
    EXPECT_EQ(information->parent, 1);
    EXPECT_EQ(information->user, 1000U) << "the effective user, not the owner of the saved files";
    EXPECT_EQ(information->identity, 5001U);
    EXPECT_EQ(table.footprint(20).valueOr(0), 20U * 4096);
    EXPECT_FALSE(table.arguments(20)) << "no link to a program, as for threads of the kernel";
}

TEST(SavedProcesses, EndAndGoBadOneByOne) {
    SavedTree tree;
    for (const char* pid : {"1", "2", "3", "4"}) writeProcess(tree, pid, "p");
    LinuxMachine machine(tree.root());
    ProcessTablePort& table = machine.processTable();
    std::vector<std::int32_t> pids;
    ASSERT_TRUE(table.pids(pids));
    tree.remove("/proc/2");
    tree.write("/proc/3/stat", "3 (p) garbage\n");
    tree.remove("/proc/4/io");
    std::vector<ProcessUsage> usage(pids.size());
    table.usage(pids, usage);
    EXPECT_EQ(usage[0].kind, ProcessUsageKind::Complete);
    EXPECT_EQ(usage[1].kind, ProcessUsageKind::None);
    EXPECT_EQ(usage[1].identity, 0U);
    EXPECT_EQ(usage[2].kind, ProcessUsageKind::None);
    EXPECT_EQ(usage[3].kind, ProcessUsageKind::CPUOnly) << "a kernel without I/O accounting";
    EXPECT_EQ(usage[3].cputime, 3'000'000'000U);
    EXPECT_EQ(table.information(2).failure().kind, FailureKind::Gone);
    EXPECT_EQ(table.information(3).failure().kind, FailureKind::Malformed);

    tree.remove("/proc");
    const auto before = pids;
    EXPECT_FALSE(table.pids(pids));
    EXPECT_EQ(pids, before);
}

}  // namespace
}  // namespace hvk
