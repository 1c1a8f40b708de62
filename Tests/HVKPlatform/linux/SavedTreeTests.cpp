// A Linux machine made of saved files: its processors, their classes, and what it does when its files go bad.

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <sys/stat.h>

#include <numeric>

#include "HVKPlatform/LiveMachine.h"
#include "HVKPlatform/linux/LinuxMachine.h"
#include "HVKStatistics/core/HVKStatisticsUptime.h"
#include "HVKStatistics/processor/HVKStatisticsCPU.h"
#include "HVKStatistics/processor/HVKStatisticsLoad.h"
#include "HVKStatistics/processor/HVKStatisticsMemory.h"
#include "support/SavedTree.h"

namespace hvk {
namespace {

using test::SavedTree;
using testing::ElementsAre;
using testing::HasSubstr;

std::vector<int> coreTypes(Machine& machine) {
    std::vector<int> types;
    const HVKStatisticsCPU cpu(machine);
    for (const auto& core : cpu.cores()) types.push_back(core->type());
    return types;
}

std::vector<std::uint32_t> order(const SavedTree& tree) {
    std::vector<std::uint32_t> numbers;
    for (const auto& place : readTopology(LinuxRoot(tree.root())).places) numbers.push_back(place.processor);
    return numbers;
}

/// The report of a source of the machine.
SourceReport report(Machine& machine, const std::string& source) {
    for (const SourceReport& one : machine.diagnostics().reports())
        if (one.source == source) return one;
    ADD_FAILURE() << "no source " << source;
    return {};
}

TEST(SavedLinuxTree, PutsThreadSiblingsNextToEachOther) {
    SavedTree tree;
    tree.write("/sys/devices/system/cpu/present", "0-3\n");
    tree.write("/proc/stat", "cpu  1 1 1 1\ncpu0 1 0 0 1\ncpu1 2 0 0 1\ncpu2 3 0 0 1\ncpu3 4 0 0 1\nintr 1\n");
    tree.processor(0, "0,2").processor(1, "1,3").processor(2, "0,2").processor(3, "1,3");
    LinuxMachine machine(tree.root());

    EXPECT_THAT(order(tree), ElementsAre(0, 2, 1, 3));
    EXPECT_THAT(coreTypes(machine), ElementsAre(1, 4, 1, 4));
    EXPECT_EQ(machine.system().logicalProcessorCount().valueOr(0), 4U);
    EXPECT_EQ(machine.system().physicalProcessorCount().valueOr(0), 2U);
    std::vector<ProcessorTicks> ticks;
    ASSERT_TRUE(machine.processor().loadInfo(ticks));
    EXPECT_EQ(ticks[1][ProcessorStateUser], 3U) << "the counters follow their processor";
}

TEST(SavedLinuxTree, AnOfflineThreadStaysBesideItsSibling) {
    SavedTree tree;
    tree.write("/sys/devices/system/cpu/present", "0-3\n").write("/sys/devices/system/cpu/online", "0-1,3\n");
    tree.processor(0, "0").processor(1, "1,3").processor(3, "1,3");
    EXPECT_THAT(order(tree), ElementsAre(0, 2, 1, 3));
    EXPECT_EQ(readTopology(LinuxRoot(tree.root())).physicalCores, 2U);

    SavedTree threadsOff;
    threadsOff.write("/sys/devices/system/cpu/present", "0-3\n").write("/sys/devices/system/cpu/online", "0-1\n");
    threadsOff.write("/sys/devices/system/cpu/smt/control", "off\n").processor(0, "0").processor(1, "1");
    EXPECT_THAT(order(threadsOff), ElementsAre(0, 2, 1, 3));
}

TEST(SavedLinuxTree, AProcessorThatComesOnlineStartsCountingThen) {
    SavedTree tree;
    tree.write("/sys/devices/system/cpu/present", "0-1\n").write("/sys/devices/system/cpu/online", "0\n");
    tree.write("/proc/stat", "cpu  1 1 1 1\ncpu0 100 0 0 100\nintr 1\n");
    LinuxMachine machine(tree.root());
    HVKStatisticsCPU cpu(machine);
    tree.write("/proc/stat", "cpu  1 1 1 1\ncpu0 110 0 0 190\ncpu1 90000 0 0 5\nintr 1\n");
    cpu.update(1000);
    EXPECT_FLOAT_EQ(cpu.history()[0].user, 10) << "what it counted since boot is not of this span";
    tree.write("/proc/stat", "cpu  1 1 1 1\ncpu0 110 0 0 290\ncpu1 90100 0 0 5\nintr 1\n");
    cpu.update(1001);
    EXPECT_FLOAT_EQ(cpu.cores()[1]->history()[0].user, 100);
}

TEST(SavedLinuxTree, ClassesCoresByTheFirstSourceThatTellsThemApart) {
    const auto capacity = [](SavedTree& tree, unsigned number, const char* file, const char* figure) {
        tree.write("/sys/devices/system/cpu/cpu" + std::to_string(number) + "/" + file, std::string(figure) + "\n");
    };
    SavedTree hybrid;
    hybrid.write("/sys/devices/system/cpu/present", "0-3\n").write("/sys/devices/cpu_core/cpus", "0-1\n");
    hybrid.write("/sys/devices/cpu_atom/cpus", "2\n").write("/sys/devices/cpu_lowpower/cpus", "3\n");
    hybrid.processor(0, "0-1").processor(1, "0-1").processor(2, "2").processor(3, "3");
    LinuxMachine hybridMachine(hybrid.root());
    EXPECT_THAT(coreTypes(hybridMachine), ElementsAre(2, 2, 3, 3));

    SavedTree bigLittle;
    bigLittle.write("/sys/devices/system/cpu/present", "0-3\n");
    const char* capacities[] = {"280", "280", "855", "1024"};
    for (unsigned number = 0; number < 4; ++number) capacity(bigLittle, number, "cpu_capacity", capacities[number]);
    LinuxMachine bigLittleMachine(bigLittle.root());
    EXPECT_THAT(coreTypes(bigLittleMachine), ElementsAre(3, 3, 2, 2));

    SavedTree withoutPmu;
    withoutPmu.write("/sys/devices/system/cpu/present", "0-2\n");
    const char* nominal[] = {"24", "24", "19"};
    const char* turbo[] = {"62", "64", "39"};
    for (unsigned number = 0; number < 3; ++number) {
        capacity(withoutPmu, number, "acpi_cppc/nominal_perf", nominal[number]);
        capacity(withoutPmu, number, "acpi_cppc/highest_perf", turbo[number]);
    }
    withoutPmu.processor(0, "0-1").processor(1, "0-1").processor(2, "2");
    LinuxMachine withoutPmuMachine(withoutPmu.root());
    EXPECT_THAT(coreTypes(withoutPmuMachine), ElementsAre(2, 2, 3)) << "a favoured core is of the same class";

    SavedTree server;
    server.write("/sys/devices/system/cpu/present", "0-1\n");
    capacity(server, 0, "cpufreq/base_frequency", "2800000");
    capacity(server, 1, "cpufreq/base_frequency", "2100000");
    LinuxMachine serverMachine(server.root());
    EXPECT_THAT(coreTypes(serverMachine), ElementsAre(1, 4)) << "cores that only run at other speeds are of one class";

    SavedTree alike;
    alike.write("/sys/devices/system/cpu/present", "0-1\n");
    for (unsigned number = 0; number < 2; ++number) capacity(alike, number, "cpu_capacity", "1024");
    LinuxMachine alikeMachine(alike.root());
    EXPECT_THAT(coreTypes(alikeMachine), ElementsAre(1, 4)) << "equal capacities tell nothing apart";
}

TEST(SavedLinuxTree, TakesConstantsFromTheTreeAndNotFromThisMachine) {
    SavedTree tree;
    std::string vector;
    for (const std::uint64_t word : {6ULL, 65536ULL, 17ULL, 1024ULL, 0ULL, 0ULL})
        for (int shift = 0; shift < 64; shift += 8) vector += static_cast<char>(word >> shift);
    tree.write("/proc/self/auxv", vector);
    tree.write("/proc/stat", "cpu  1 1 1 1\ncpu0 1 1 1 1\nbtime 1600000000\n").write("/proc/uptime", "5000.50 1.00\n");
    tree.write("/sys/class/dmi/id/product_name", "To Be Filled By O.E.M.\n");
    tree.write("/sys/class/dmi/id/board_name", "B450 Board\n");
    tree.write("/etc/passwd", "root:x:0:0::/:/bin/sh\nalice:x:1000:1000::/home/alice:/bin/sh\n");
    LinuxMachine machine(tree.root());
    EXPECT_EQ(machine.system().pageSize().valueOr(0), 65536U);
    EXPECT_EQ(machine.system().ticksPerSecond().valueOr(0), 1024U);
    EXPECT_EQ(machine.system().bootTime().valueOr(0), 1600000000);
    EXPECT_NEAR(machine.clock().wallSeconds(), 1600005000.5, 5) << "the clock starts when the tree was saved";
    EXPECT_EQ(machine.system().modelName().valueOr(""), "B450 Board");
    EXPECT_EQ(machine.system().userName(1000).valueOr(""), "alice");

    SavedTree arm;
    arm.write("/proc/meminfo", "MemTotal: 1000 kB\nMemFree: 10 kB\nHugepagesize:      32768 kB\n");
    arm.write("/proc/cpuinfo", "processor\t: 0\n\nHardware\t: Example Board\n");
    LinuxMachine armMachine(arm.root());
    EXPECT_EQ(armMachine.system().pageSize().valueOr(0), 16384U);
    EXPECT_EQ(armMachine.system().ticksPerSecond().valueOr(0), 100U);
    EXPECT_EQ(armMachine.system().modelName().valueOr(""), "Example Board");
    EXPECT_EQ(HVKStatisticsUptime(armMachine).boot, 0) << "an unknown boot time is 0";
}

TEST(SavedLinuxTree, SplitsTheMemoryWithoutARest) {
    SavedTree tree;
    tree.write("/proc/meminfo",
               "MemTotal: 16000000 kB\nMemFree: 4000000 kB\nBuffers: 100000 kB\nCached: 5000000 kB\n"
               "SwapTotal: 2000000 kB\nSwapFree: 1500000 kB\nZswap: 64000 kB\nAnonPages: 3000000 kB\n"
               "Shmem: 400000 kB\nKReclaimable: 300000 kB\nSReclaimable: 200000 kB\n");
    tree.write("/proc/vmstat", "nr_free_pages 1000000\npgpgin 800\npgpgout 400\n");
    tree.write("/sys/block/zram0/mm_stat", "4096000 1000000 2048000 0 2048000 0 0 0 0\n");
    tree.write("/sys/block/sda/size", "1\n");
    LinuxMachine machine(tree.root());
    HVKStatisticsMemory memory(machine);
    memory.update(10);

    const HVKStatisticsMemorySample sample = memory.memory();
    EXPECT_EQ(sample.total, 16000000.0 * 1024);
    EXPECT_EQ(sample.app, 3400000.0 * 1024);
    EXPECT_EQ(sample.filecache, 5000000.0 * 1024);
    EXPECT_EQ(sample.compressed, 64000.0 * 1024 + 2048000);
    EXPECT_NEAR(sample.wired + sample.app + sample.compressed + sample.filecache + sample.free, sample.total, 5 * 4096);
    EXPECT_EQ(sample.swapused, 500000.0 * 1024);
    EXPECT_EQ(sample.pagein, 200);
    EXPECT_EQ(sample.pageout, 100);
}

TEST(SavedLinuxTree, CountersStayInPlaceAndOnlyMoveForward) {
    SavedTree tree;
    tree.write("/sys/devices/system/cpu/present", "0-2\n").write("/sys/devices/system/cpu/online", "0-2\n");
    tree.write("/proc/stat", "cpu  1 1 1 1\ncpu0 100 0 0 100\ncpu1 4294967290 0 0 100\ncpu2 100 0 0 100\nintr 1\n");
    LinuxMachine machine(tree.root());
    HVKStatisticsCPU cpu(machine);
    ASSERT_EQ(cpu.cores().size(), 3U);

    // cpu0 goes offline, cpu1's 32-bit counter wraps, cpu2's idle time slips back by two ticks.
    tree.write("/proc/stat", "cpu  1 1 1 1\ncpu1 10 0 0 116\ncpu2 110 0 0 98\nintr 1\n");
    cpu.update(1000);
    EXPECT_EQ(cpu.cores()[0]->history()[0].user, 0);
    EXPECT_FLOAT_EQ(cpu.cores()[1]->history()[0].user, 50);
    EXPECT_FLOAT_EQ(cpu.cores()[2]->history()[0].user, 100);

    // cpu0 comes back where it was; cpu2 goes on from the greater of its idle counts.
    tree.write("/proc/stat", "cpu  1 1 1 1\ncpu0 130 0 0 110\ncpu1 10 0 0 126\ncpu2 120 0 0 110\nintr 1\n");
    cpu.update(1001);
    EXPECT_FLOAT_EQ(cpu.cores()[0]->history()[0].user, 75);
    EXPECT_FLOAT_EQ(cpu.cores()[2]->history()[0].user, 50);
    EXPECT_FALSE(report(machine, "/proc/stat").failure);
}

TEST(SavedLinuxTree, ACounterThatJumpsBackCostsOneReading) {
    SavedTree tree;
    const auto stat = [&](int user, int idle) {
        tree.write("/proc/stat",
                   "cpu  1 1 1 1\ncpu0 " + std::to_string(user) + " 0 0 " + std::to_string(idle) + "\nintr 1\n");
    };
    stat(100, 1000);
    LinuxMachine machine(tree.root());
    HVKStatisticsCPU cpu(machine);
    stat(150, 1150);
    cpu.update(1000);
    ASSERT_FLOAT_EQ(cpu.history()[0].user, 25);

    stat(10, 1200);
    cpu.update(1001);
    EXPECT_FLOAT_EQ(cpu.history()[0].user, 25) << "the previous figures stay";
    EXPECT_EQ(cpu.history()[0].time, 1000) << "with their time";
    const SourceReport source = report(machine, "/proc/stat");
    ASSERT_TRUE(source.failure);
    EXPECT_THAT(source.failure->detail, HasSubstr("cpu0: user ran backwards from 150 to 10"));

    stat(60, 1250);
    cpu.update(1002);
    EXPECT_FLOAT_EQ(cpu.history()[0].user, 100.0F * 50 / 150) << "counted from the new base";
    EXPECT_FALSE(report(machine, "/proc/stat").failure);
}

TEST(SavedLinuxTree, BadFilesKeepTheFiguresAndNameTheReason) {
    SavedTree tree;
    const std::string goodStat = "cpu  1 1 1 1\ncpu0 10 0 0 10\ncpu1 10 0 0 10\nintr 1\n";
    const std::string goodMemInfo = "MemTotal: 1000 kB\nMemFree: 400 kB\nAnonPages: 200 kB\n";
    tree.write("/sys/devices/system/cpu/present", "0-1\n").write("/sys/devices/system/cpu/online", "0-1\n");
    tree.write("/proc/stat", goodStat)
        .write("/proc/meminfo", goodMemInfo)
        .write("/proc/loadavg", "1.50 1.00 0.50 1/2 3\n");
    LinuxMachine machine(tree.root());
    HVKStatisticsCPU cpu(machine);
    HVKStatisticsMemory memory(machine);
    HVKStatisticsLoad load(machine);
    tree.write("/proc/stat", "cpu  1 1 1 1\ncpu0 20 0 0 10\ncpu1 10 0 0 20\nintr 1\n");
    const auto update = [&](double time) {
        cpu.update(time);
        memory.update(time);
        load.update(time);
    };
    update(1000);
    const Value cpuStats = cpu.stats();
    const Value loadStats = load.stats();
    const double app = memory.memory().app;
    ASSERT_GT(app, 0);

    const struct {
        const char* file;
        const char* content;
        const char* reason;
    } cases[] = {
        {"/proc/stat", "", "empty"},
        {"/proc/stat", "cpu  1 1 1 1\ncpu0 30 0", "cut within"},
        {"/proc/stat", "cpu  1 1 1 1\ncpu0 30 0 0 30\n", "ends before the line of cpu1"},
        {"/proc/meminfo", "", "empty"},
        {"/proc/meminfo", "MemTotal: 1000 kB\nMemFr", "cut within"},
        {"/proc/meminfo", "\xff\xfe garbage\n", "missing"},
        {"/proc/loadavg", "", "no load average"},
        {"/proc/loadavg", "9.00 x\n", "no load average"},
    };
    double time = 1000;
    for (const auto& one : cases) {
        const std::string good = one.file == std::string("/proc/stat") ? goodStat : goodMemInfo;
        tree.write(one.file, one.content);
        update(++time);
        const SourceReport source = report(machine, one.file);
        ASSERT_TRUE(source.failure) << one.file << " " << one.content;
        EXPECT_EQ(source.failure->kind, FailureKind::Malformed);
        EXPECT_THAT(source.failure->detail, HasSubstr(one.reason));
        EXPECT_EQ(memory.memory().app, app);
        EXPECT_EQ(memory.memory().pagein, 0);
        EXPECT_EQ(load.stats(), loadStats);
        EXPECT_EQ(cpu.stats()["user"], cpuStats["user"]);
    }
    tree.remove("/proc/loadavg");
    update(++time);
    EXPECT_EQ(report(machine, "/proc/loadavg").failure->kind, FailureKind::Absent);
    EXPECT_EQ(load.stats(), loadStats);
}

TEST(SavedLinuxTree, WithoutTickCountersStillTellsItsProcessors) {
    SavedTree tree;
    tree.write("/sys/devices/system/cpu/possible", "0-1\n");
    LinuxMachine machine(tree.root());
    HVKStatisticsCPU cpu(machine);
    cpu.update(1);
    EXPECT_EQ(cpu.cores().size(), 2U);
    EXPECT_EQ(cpu.history()[0].user, 0);
    EXPECT_EQ(report(machine, "/proc/stat").failure->kind, FailureKind::Absent);
}

TEST(SavedLinuxTree, RefusesWhatIsNoTree) {
    SavedTree tree;
    tree.write("/file", "");
    EXPECT_EQ(makeSavedMachine(tree.path("/missing")).failure().kind, FailureKind::Absent);
    EXPECT_EQ(makeSavedMachine(tree.path("/file")).failure().kind, FailureKind::Malformed);
    EXPECT_EQ(makeSavedMachine(tree.root()).failure().kind, FailureKind::Malformed);
}

}  // namespace
}  // namespace hvk
