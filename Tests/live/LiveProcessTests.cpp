// The processes of the machine that the tests run on, beside what the kernel says by other means.

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <signal.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <filesystem>
#include <thread>

#include "HVKPlatform/LiveMachine.h"

namespace hvk {
namespace {

/// A child that works as told and then waits to be ended.
class Child {
public:
    template <class Work>
    explicit Child(Work work) {
        int ready[2];
        if (::pipe(ready) != 0) return;
        pid_ = ::fork();
        if (pid_ == 0) {
            work();
            (void)!::write(ready[1], "x", 1);
            for (;;) ::pause();
        }
        char byte = 0;
        ::close(ready[1]);
        (void)!::read(ready[0], &byte, 1);
        ::close(ready[0]);
    }
    ~Child() { end(); }
    Child(const Child&) = delete;
    Child& operator=(const Child&) = delete;
    void end() {
        if (pid_ <= 0) return;
        ::kill(pid_, SIGKILL);
        ::waitpid(pid_, nullptr, 0);
        pid_ = -1;
    }
    std::int32_t pid() const { return pid_; }

private:
    pid_t pid_ = -1;
};

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
    const auto machine = makeLiveMachine();
    ProcessTablePort& table = machine->processTable();
    Child child([] {});
    const std::int32_t pid = child.pid();
    EXPECT_EQ(usageOf(table, pid).kind, ProcessUsageKind::Complete);
    std::vector<std::int32_t> pids;
    ASSERT_TRUE(table.pids(pids));
    child.end();
    std::vector<ProcessUsage> usage(pids.size());
    table.usage(pids, usage);
    const auto at = std::lower_bound(pids.begin(), pids.end(), pid);
    ASSERT_TRUE(at != pids.end() && *at == pid);
    EXPECT_EQ(usage[static_cast<std::size_t>(at - pids.begin())].kind, ProcessUsageKind::None);
    EXPECT_EQ(table.information(pid).failure().kind, FailureKind::Gone);
}

TEST(LiveProcesses, ASteadyPassReadsOnlyWhatChanged) {
    const auto machine = makeLiveMachine();
    ProcessTablePort& table = machine->processTable();
    const Child child([] {});
    std::vector<std::int32_t> pids;
    ASSERT_TRUE(table.pids(pids));
    const std::vector<std::int32_t> one{child.pid()};
    std::vector<ProcessUsage> usage(1);
    table.usage(one, usage);
    const std::uint64_t before = *machine->cost().systemCalls();
    table.usage(one, usage);
    EXPECT_EQ(*machine->cost().systemCalls() - before, 2U) << "stat and io, both kept";
}

}  // namespace
}  // namespace hvk
