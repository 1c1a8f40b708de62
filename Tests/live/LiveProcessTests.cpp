// The processes of the machine that the tests run on, beside what the kernel says by other means.

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <signal.h>
#include <sys/prctl.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <atomic>
#include <filesystem>
#include <fstream>
#include <map>
#include <thread>

#include "HVKPlatform/LiveMachine.h"
#include "HVKPlatform/linux/LinuxMachine.h"
#include "live/Child.h"

namespace hvk {
namespace {

void burnProcessorTime(double seconds) {
    timespec used{};
    volatile unsigned work = 0;
    do {
        for (int round = 0; round < 10000; ++round) work = work + 1;
        ::clock_gettime(CLOCK_THREAD_CPUTIME_ID, &used);
    } while (static_cast<double>(used.tv_sec) + static_cast<double>(used.tv_nsec) / 1e9 < seconds);
}

ProcessUsage usageOf(ProcessTablePort& table, std::int32_t pid) {
    std::vector<std::int32_t> pids;
    EXPECT_TRUE(table.pids(pids));
    std::vector<ProcessUsage> usage(pids.size());
    table.usage(pids, usage);
    const auto at = std::lower_bound(pids.begin(), pids.end(), pid);
    return at != pids.end() && *at == pid ? usage[static_cast<std::size_t>(at - pids.begin())] : ProcessUsage{};
}

TEST(LiveProcesses, ThreadsThatEndedCountToTheirProcess) {
    const auto machine = makeLiveMachine();
    const Child child([] {
        std::vector<std::thread> threads;
        for (int index = 0; index < 8; ++index) threads.emplace_back([] { burnProcessorTime(0.1); });
        for (std::thread& thread : threads) thread.join();
    });
    const ProcessUsage usage = usageOf(machine->processTable(), child.pid());
    EXPECT_NEAR(static_cast<double>(usage.cputime) / 1e9, 0.8, 0.1);
    EXPECT_GT(usage.memory, 0U);
    const auto information = machine->processTable().information(child.pid());
    ASSERT_TRUE(information);
    EXPECT_EQ(information->parent, ::getpid());
    EXPECT_EQ(information->user, ::geteuid());
    EXPECT_EQ(information->identity, usage.identity);
    const auto arguments = machine->processTable().arguments(child.pid());
    ASSERT_TRUE(arguments);
    EXPECT_EQ(arguments->front(), std::filesystem::read_symlink("/proc/self/exe").string());
}

TEST(LiveProcesses, AnEndedProcessIsGoneAndNotMistakenForAnother) {
    for (const auto choice : {ProcessSourceChoice::Best, ProcessSourceChoice::Proc}) {
        LinuxMachine machine("/", choice);
        ProcessTablePort& table = machine.processTable();
        Child child([] {});
        const std::int32_t pid = child.pid();
        EXPECT_EQ(usageOf(table, pid).kind, ProcessUsageKind::Complete);
        std::vector<std::int32_t> pids;
        ASSERT_TRUE(table.pids(pids));
        EXPECT_TRUE(table.information(pid));
        child.end();
        EXPECT_EQ(table.information(pid).failure().kind, FailureKind::Gone);
        if (choice == ProcessSourceChoice::Proc) {
            std::vector<ProcessUsage> usage(pids.size());
            table.usage(pids, usage);
            const auto at = std::lower_bound(pids.begin(), pids.end(), pid);
            ASSERT_TRUE(at != pids.end() && *at == pid);
            EXPECT_EQ(usage[static_cast<std::size_t>(at - pids.begin())].kind, ProcessUsageKind::None);
        }
        EXPECT_EQ(usageOf(table, pid).kind, ProcessUsageKind::None);
    }
}

/// All that one reading tells, by process.
struct Reading {
    ProcessUsage usage;
    ProcessInformation who;
};

std::map<std::int32_t, Reading> readAll(ProcessTablePort& table) {
    std::vector<std::int32_t> pids;
    EXPECT_TRUE(table.pids(pids));
    EXPECT_TRUE(std::is_sorted(pids.begin(), pids.end()));
    std::vector<ProcessUsage> usage(pids.size());
    table.usage(pids, usage);
    std::map<std::int32_t, Reading> readings;
    for (std::size_t index = 0; index < pids.size(); ++index)
        if (const auto who = table.information(pids[index])) readings[pids[index]] = {usage[index], *who};
    return readings;
}

bool sameUsage(const ProcessUsage& one, const ProcessUsage& other) {
    return one.cputime == other.cputime && one.memory == other.memory && one.wakeups == other.wakeups &&
           one.diskRead == other.diskRead && one.diskWritten == other.diskWritten;
}

/// Compares a reading of the iterator with what /proc told before and after it. Counters lie between; of a process that
/// did not move, everything is the same.
void compare(const Reading& before, const Reading& iterator, const Reading& after) {
    // /proc tells user and system time in whole ticks of 10 ms, each cut.
    constexpr std::uint64_t twoTicks = 20'000'000;
    EXPECT_LE(before.usage.cputime, iterator.usage.cputime);
    EXPECT_LT(iterator.usage.cputime, after.usage.cputime + twoTicks);
    EXPECT_EQ(iterator.usage.identity, before.usage.identity);
    EXPECT_EQ(iterator.who.identity, before.usage.identity);
    EXPECT_EQ(iterator.who.pid, before.who.pid);
    if (before.who.parent == after.who.parent) {
        EXPECT_EQ(iterator.who.parent, before.who.parent);
    }
    if (before.who.user == after.who.user) {
        EXPECT_EQ(iterator.who.user, before.who.user);
    }
    if (before.who.command == after.who.command) {
        EXPECT_EQ(iterator.who.command, before.who.command);
    }
    if (before.usage.kind != ProcessUsageKind::Complete || after.usage.kind != ProcessUsageKind::Complete) return;
    for (const auto field : {&ProcessUsage::diskRead, &ProcessUsage::diskWritten, &ProcessUsage::wakeups}) {
        EXPECT_LE(before.usage.*field, iterator.usage.*field);
        EXPECT_LE(iterator.usage.*field, after.usage.*field);
    }
    if (sameUsage(before.usage, after.usage)) {
        EXPECT_EQ(iterator.usage.memory, before.usage.memory);
    }
}

TEST(LiveProcesses, TheIteratorAndProcTellTheSame) {
    LinuxMachine machine("/", ProcessSourceChoice::Iterator);
    std::vector<std::int32_t> pids;
    if (const auto listed = machine.processTable().pids(pids); !listed) {
        ASSERT_NE(listed.failure().kind, FailureKind::Malformed) << listed.failure().detail;
        GTEST_SKIP() << "no task iterator here: " << listed.failure().detail;
    }

    const Child threadsThatEnded([] {
        std::vector<std::thread> threads;
        for (int index = 0; index < 4; ++index) threads.emplace_back([] { burnProcessorTime(0.05); });
        for (std::thread& thread : threads) thread.join();
    });
    const Child threadsThatLive([] {
        static std::atomic<int> done{0};
        for (int index = 0; index < 40; ++index)
            std::thread([] {
                burnProcessorTime(0.005);
                ++done;
                for (;;) ::pause();
            }).detach();
        while (done < 40) std::this_thread::yield();
        ::prctl(PR_SET_NAME, "a) R 1 (b");
    });
    const Child writerOfFiles([] {
        std::ofstream("/var/tmp/hvk-live-process-test") << std::string(1 << 20, 'x');
        ::sync();
        ::unlink("/var/tmp/hvk-live-process-test");
        (void)!::seteuid(65534);
    });
    const Child memory([] {
        static std::vector<char> much(32 << 20, 'x');
        burnProcessorTime(0.001);
    });

    const auto before = readAll(LinuxMachine("/", ProcessSourceChoice::Proc).processTable());
    const auto iterator = readAll(machine.processTable());
    const auto after = readAll(LinuxMachine("/", ProcessSourceChoice::Proc).processTable());
    std::size_t compared = 0;
    for (const auto& [pid, first] : before) {
        const auto last = after.find(pid);
        if (first.usage.identity == 0 || last == after.end() || last->second.usage.identity != first.usage.identity)
            continue;
        SCOPED_TRACE(std::to_string(pid) + " " + first.who.command);
        const auto middle = iterator.find(pid);
        ASSERT_TRUE(middle != iterator.end());
        compare(first, middle->second, last->second);
        ++compared;
    }
    EXPECT_GE(compared, 6U);

    EXPECT_GT(iterator.at(threadsThatEnded.pid()).usage.cputime, 200'000'000U);
    EXPECT_GT(iterator.at(threadsThatLive.pid()).usage.cputime, 200'000'000U);
    EXPECT_EQ(iterator.at(threadsThatLive.pid()).who.command, "a) R 1 (b");
    EXPECT_GT(iterator.at(memory.pid()).usage.memory, 32U << 20);
    EXPECT_EQ(iterator.at(writerOfFiles.pid()).who.parent, ::getpid());
}

TEST(LiveProcesses, ThreadsThatEndDuringAReadingAreCountedOnce) {
    LinuxMachine machine("/", ProcessSourceChoice::Best);
    ProcessTablePort& table = machine.processTable();
    const Child child([] {
        std::thread([] {
            for (;;) {
                std::vector<std::thread> threads;
                for (int index = 0; index < 4; ++index) threads.emplace_back([] { burnProcessorTime(0.0002); });
                for (std::thread& thread : threads) thread.join();
            }
        }).detach();
    });
    // A thread that is missed makes the sum fall, one that is counted twice makes it rise faster than time passes.
    std::uint64_t last = 0;
    timespec now{};
    const auto nanoseconds = [&] {
        ::clock_gettime(CLOCK_MONOTONIC, &now);
        return static_cast<std::uint64_t>(now.tv_sec) * 1'000'000'000 + static_cast<std::uint64_t>(now.tv_nsec);
    };
    const std::uint64_t begin = nanoseconds();
    const std::uint64_t first = usageOf(table, child.pid()).cputime;
    for (int reading = 0; reading < 500; ++reading) {
        const std::uint64_t cputime = usageOf(table, child.pid()).cputime;
        ASSERT_GE(cputime, last);
        last = cputime;
    }
    EXPECT_GT(last, first);
    EXPECT_LE(last - first, (nanoseconds() - begin) * std::thread::hardware_concurrency() + 20'000'000);
}

TEST(LiveProcesses, WithTheIteratorAPassTakesAFewSystemCalls) {
    LinuxMachine machine("/", ProcessSourceChoice::Iterator);
    ProcessTablePort& table = machine.processTable();
    std::vector<std::int32_t> pids;
    for (int pass = 0; pass < 2; ++pass)
        if (const auto listed = table.pids(pids); !listed) GTEST_SKIP() << "no task iterator here";
    const std::uint64_t before = *machine.cost().systemCalls();
    ASSERT_TRUE(table.pids(pids));
    // One to begin, one to end, one for each 400 processes and one that finds nothing left.
    EXPECT_LE(*machine.cost().systemCalls() - before, 4 + pids.size() / 400);
    const std::vector<std::int32_t> one{::getpid()};
    std::vector<ProcessUsage> usage(1);
    table.usage(one, usage);
    EXPECT_EQ(usage[0].kind, ProcessUsageKind::Complete);
    EXPECT_LE(*machine.cost().systemCalls() - before, 4 + pids.size() / 400) << "usage comes from the list's reading";
}

TEST(LiveProcesses, ASteadyPassOverProcReadsOnlyWhatChanged) {
    LinuxMachine machine("/", ProcessSourceChoice::Proc);
    ProcessTablePort& table = machine.processTable();
    const Child child([] {});
    std::vector<std::int32_t> pids;
    ASSERT_TRUE(table.pids(pids));
    const std::vector<std::int32_t> one{child.pid()};
    std::vector<ProcessUsage> usage(1);
    table.usage(one, usage);
    const std::uint64_t before = *machine.cost().systemCalls();
    table.usage(one, usage);
    EXPECT_EQ(*machine.cost().systemCalls() - before, 2U) << "stat and io, both kept";
}

}  // namespace
}  // namespace hvk
