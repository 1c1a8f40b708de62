// Invariants of the machine that the tests run on: what the framework says equals what the kernel says over the same
// span. The figures need real time; a test spends it working, and runs alone.

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <sched.h>
#include <sys/mman.h>
#include <sys/resource.h>

#include <cmath>
#include <fstream>
#include <map>
#include <sstream>

#include "HVKPlatform/LiveMachine.h"
#include "HVKStatistics/core/HVKStatisticsUptime.h"
#include "HVKStatistics/processor/HVKStatisticsCPU.h"
#include "HVKStatistics/processor/HVKStatisticsLoad.h"
#include "HVKStatistics/processor/HVKStatisticsMemory.h"

namespace hvk {
namespace {

std::string firstLineOf(const char* path) {
    std::ifstream file(path);
    std::string line;
    std::getline(file, line);
    return line;
}

/// Ticks of one line of /proc/stat, read by the test's own means.
struct Times {
    double busy = 0;  ///< user + system + irq + softirq + steal
    double all = 0;
};

std::map<std::string, Times> readTimes() {
    std::map<std::string, Times> times;
    std::ifstream file("/proc/stat");
    for (std::string line; std::getline(file, line) && line.starts_with("cpu");) {
        std::istringstream fields(line);
        std::string name;
        double user = 0, nice = 0, system = 0, idle = 0, iowait = 0, irq = 0, softirq = 0, steal = 0;
        fields >> name >> user >> nice >> system >> idle >> iowait >> irq >> softirq >> steal;
        const double busy = user + system + irq + softirq + steal;
        times[name] = {busy, busy + nice + idle + iowait};
    }
    return times;
}

double percentBetween(const Times& before, const Times& after) {
    return after.all > before.all ? (after.busy - before.busy) / (after.all - before.all) * 100 : 0;
}

/// Keeps the calling thread on one processor while it lives.
class Pinned {
public:
    explicit Pinned(int processor) {
        ::sched_getaffinity(0, sizeof before_, &before_);
        cpu_set_t one;
        CPU_ZERO(&one);
        CPU_SET(processor, &one);
        succeeded_ = ::sched_setaffinity(0, sizeof one, &one) == 0;
    }
    ~Pinned() { ::sched_setaffinity(0, sizeof before_, &before_); }
    bool succeeded() const { return succeeded_; }

private:
    cpu_set_t before_{};
    bool succeeded_ = false;
};

void burn(Machine& machine, double seconds) {
    const double end = machine.clock().monotonicSeconds() + seconds;
    volatile unsigned work = 0;
    while (machine.clock().monotonicSeconds() < end)
        for (int round = 0; round < 10000; ++round) work = work + 1;
}

TEST(LiveProcessor, ABurnedProcessorShowsWhereItIs) {
    // Time of a niced process is in nobody's user share.
    ::setpriority(PRIO_PROCESS, 0, 0);
    if (::getpriority(PRIO_PROCESS, 0) > 0) GTEST_SKIP() << "the tests run niced and may not change it";
    const auto machine = makeLiveMachine();
    HVKStatisticsCPU cpu(*machine);
    ASSERT_GT(cpu.cores().size(), 0U);
    const Pinned pinned(0);
    ASSERT_TRUE(pinned.succeeded());

    cpu.update(machine->clock().wallSeconds());
    const auto before = readTimes();
    burn(*machine, 2);
    const auto after = readTimes();
    cpu.update(machine->clock().wallSeconds());

    const auto shown = [](const HVKStatisticsCPUSample& sample) { return sample.user + sample.system; };
    EXPECT_GT(shown(cpu.cores()[0]->history()[0]), 90);
    EXPECT_NEAR(shown(cpu.history()[0]), percentBetween(before.at("cpu"), after.at("cpu")), 2);
    double sum = 0;
    for (std::size_t index = 0; index < cpu.cores().size(); ++index) {
        const float figure = shown(cpu.cores()[index]->history()[0]);
        sum += figure;
        // The order of places equals the kernel's wherever no hyper-threads are split up.
        const std::string name = "cpu" + std::to_string(index);
        if (cpu.cores().size() <= 2) {
            EXPECT_NEAR(figure, percentBetween(before.at(name), after.at(name)), 2) << name;
        }
    }
    EXPECT_NEAR(shown(cpu.history()[0]), sum / static_cast<double>(cpu.cores().size()), 2);
}

TEST(LiveMemory, TheCategoriesAddUpAndFollowAnAllocation) {
    constexpr double Gibibyte = 1 << 30;
    const auto machine = makeLiveMachine();
    HVKStatisticsMemory memory(*machine);
    const auto sampleNow = [&] {
        memory.update(machine->clock().wallSeconds());
        const HVKStatisticsMemorySample sample = memory.memory();
        EXPECT_NEAR(sample.wired + sample.app + sample.compressed + sample.filecache + sample.free, sample.total,
                    sample.total / 100);
        EXPECT_DOUBLE_EQ(sample.pressure, (sample.wired + sample.compressed) / sample.total * 100);
        return sample;
    };

    // Other programs allocate too: one undisturbed round is wanted.
    double rise = 0;
    double fall = 0;
    const auto isGibibyte = [](double bytes) { return std::abs(bytes - Gibibyte) <= Gibibyte * 0.02; };
    for (int attempt = 0; attempt < 100 && !(isGibibyte(rise) && isGibibyte(fall)); ++attempt) {
        const double before = sampleNow().app;
        void* block = ::mmap(nullptr, static_cast<std::size_t>(Gibibyte), PROT_READ | PROT_WRITE,
                             MAP_PRIVATE | MAP_ANONYMOUS | MAP_POPULATE, -1, 0);
        ASSERT_NE(block, MAP_FAILED);
        const double during = sampleNow().app;
        ::munmap(block, static_cast<std::size_t>(Gibibyte));
        rise = during - before;
        fall = during - sampleNow().app;
    }
    EXPECT_NEAR(rise, Gibibyte, Gibibyte * 0.02);
    EXPECT_NEAR(fall, Gibibyte, Gibibyte * 0.02);
}

TEST(LiveLoad, EqualsWhatTheKernelPrints) {
    const auto machine = makeLiveMachine();
    HVKStatisticsLoad load(*machine);
    // The kernel renews the averages every 5 seconds: compare when it did not in between.
    for (int attempt = 0; attempt < 5; ++attempt) {
        const std::string before = firstLineOf("/proc/loadavg");
        load.update(machine->clock().wallSeconds());
        if (firstLineOf("/proc/loadavg").substr(0, before.rfind(' ')) != before.substr(0, before.rfind(' '))) continue;
        char text[64];
        std::snprintf(text, sizeof text, "%.2f %.2f %.2f", load.load().one, load.load().five, load.load().fifteen);
        EXPECT_TRUE(before.starts_with(text)) << before << " | " << text;
        EXPECT_EQ(load.stats().dump().find("99999"), std::string::npos) << load.stats().dump();
        return;
    }
    FAIL() << "/proc/loadavg changed at every attempt";
}

TEST(LiveUptime, AgreesWithTheKernelWithinASecond) {
    const auto machine = makeLiveMachine();
    const double uptime = machine->clock().wallSeconds() - HVKStatisticsUptime(*machine).boot;
    EXPECT_NEAR(uptime, std::stod(firstLineOf("/proc/uptime")), 1.0);
}

TEST(LiveSources, AllWork) {
    const auto machine = makeLiveMachine();
    HVKStatisticsCPU cpu(*machine);
    HVKStatisticsMemory memory(*machine);
    HVKStatisticsLoad load(*machine);
    cpu.update(1);
    memory.update(1);
    load.update(1);
    for (const SourceReport& report : machine->diagnostics().reports()) {
        if (!report.source.starts_with("/proc/")) continue;  // firmware tables and RAM disks may be missing
        EXPECT_FALSE(report.failure) << report.source << ": " << report.failure->detail;
    }
}

TEST(LiveCost, CountsTheCallsOfAPass) {
    const auto machine = makeLiveMachine();
    HVKStatisticsLoad load(*machine);
    load.update(1);
    const auto before = machine->cost().systemCalls();
    const auto timeBefore = machine->cost().threadProcessorSeconds();
    load.update(2);
    EXPECT_EQ(*machine->cost().systemCalls() - *before, 1U) << "one read of a descriptor that is kept";
    EXPECT_GT(*machine->cost().threadProcessorSeconds(), *timeBefore);
}

}  // namespace
}  // namespace hvk
