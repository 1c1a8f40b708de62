// What the processes module shows of processes whose work is known. The figures need real time and real disks.

#include <fcntl.h>
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <linux/magic.h>
#include <sys/mman.h>
#include <sys/vfs.h>
#include <time.h>

#include <array>
#include <cmath>
#include <cstdlib>
#include <filesystem>
#include <string>
#include <vector>

#include "HVKPlatform/LiveMachine.h"
#include "HVKStatistics/processes/HVKStatisticsProcesses.h"
#include "live/Child.h"

namespace hvk {
namespace {

constexpr double Mebi = 1024 * 1024;

double secondsOf(clockid_t clock) {
    timespec now{};
    ::clock_gettime(clock, &now);
    return static_cast<double>(now.tv_sec) + static_cast<double>(now.tv_nsec) / 1e9;
}

void sleepUntil(double moment) {
    const double whole = std::floor(moment);
    const timespec until{static_cast<time_t>(whole), static_cast<long>((moment - whole) * 1e9)};
    ::clock_nanosleep(CLOCK_MONOTONIC, TIMER_ABSTIME, &until, nullptr);
}

/// Burns half of the time for ever: by the end of every hundredth of a second it has used half of all time so far.
[[noreturn]] void burnHalf() {
    const double begin = secondsOf(CLOCK_MONOTONIC);
    const double used = secondsOf(CLOCK_PROCESS_CPUTIME_ID);
    volatile unsigned work = 0;
    for (int slice = 1;; ++slice) {
        while (secondsOf(CLOCK_PROCESS_CPUTIME_ID) - used < slice * 0.005)
            for (int round = 0; round < 1000; ++round) work = work + 1;
        sleepUntil(begin + slice * 0.01);
    }
}

/// What the program may have grown by at the end of a storm. The sanitizers hold freed memory back, and find leaks by
/// themselves.
#if defined(__SANITIZE_ADDRESS__) || defined(__SANITIZE_THREAD__)
constexpr double MemoryAllowance = 512 * Mebi;
#else
constexpr double MemoryAllowance = 2 * Mebi;
#endif

/// The module over the live machine, one pass at a time.
class LiveFigures : public testing::Test {
protected:
    double pass() {
        const double now = machine_->clock().wallSeconds();
        processes_.updateProcesses(now);
        processes_.updateStats(now);
        processes_.updateHierarchy();
        return now;
    }
    void wait(double seconds) { sleepUntil(secondsOf(CLOCK_MONOTONIC) + seconds); }
    const StatisticsProcessItem& item(const Child& child) {
        const auto found = processes_.processWithPid(child.pid());
        EXPECT_TRUE(found);
        return found ? *found : none_;
    }

    double memoryOf(const Child& child) { return static_cast<double>(item(child).memory.load()); }

    std::unique_ptr<Machine> machine_ = makeLiveMachine();
    HVKStatisticsProcesses processes_{*machine_};
    StatisticsProcessItem none_;
};

TEST_F(LiveFigures, HalfAProcessorIsFiftyPercent) {
    const Child child([] { burnHalf(); }, Child::Return::AtOnce);
    clockid_t clock = CLOCK_PROCESS_CPUTIME_ID;
    ASSERT_EQ(::clock_getcpuclockid(child.pid(), &clock), 0);
    const double begin = pass();
    const double used = secondsOf(clock);
    EXPECT_EQ(item(child).cpu.load(), 0) << "nothing is known of a process at first";
    wait(2);
    const double end = pass();
    // What it got by its own clock: a half, unless the machine had too much else to do.
    const double share = 100 * (secondsOf(clock) - used) / (end - begin);
    EXPECT_NEAR(item(child).cpu.load(), share, 2);
    EXPECT_LT(share, 52);
}

TEST_F(LiveFigures, AllocatedMemoryIsSeen) {
    int order[2];
    ASSERT_EQ(::pipe(order), 0);
    const Child child(
        [&] {
            char byte = 0;
            (void)!::read(order[0], &byte, 1);
            constexpr std::size_t Size = 500 * 1024 * 1024;
            void* memory =
                ::mmap(nullptr, Size, PROT_READ | PROT_WRITE, MAP_PRIVATE | MAP_ANONYMOUS | MAP_POPULATE, -1, 0);
            if (memory == MAP_FAILED) ::_exit(1);
        },
        Child::Return::AtOnce);
    pass();
    const double before = memoryOf(child);
    ASSERT_EQ(::write(order[1], "x", 1), 1);
    for (int waited = 0; waited < 50 && memoryOf(child) - before < 490 * Mebi; ++waited) {
        wait(0.1);
        pass();
    }
    EXPECT_NEAR(memoryOf(child) - before, 500 * Mebi, 10 * Mebi);
    ::close(order[0]);
    ::close(order[1]);
}

TEST_F(LiveFigures, DiskRatesAddUpToTheBytes) {
    const std::filesystem::path directory = std::filesystem::read_symlink("/proc/self/exe").parent_path();
    struct statfs system {};
    ASSERT_EQ(::statfs(directory.c_str(), &system), 0);
    ASSERT_NE(static_cast<unsigned long>(system.f_type), static_cast<unsigned long>(TMPFS_MAGIC))
        << "the tests' own directory lies on no disk";
    std::string path = (directory / "disk-rates-XXXXXX").string();
    const int file = ::mkstemp(path.data());
    ASSERT_GE(file, 0);
    ::unlink(path.c_str());

    const Child child(
        [&] {
            static std::array<char, 1024 * 1024> block;
            block.fill('x');
            sleepUntil(secondsOf(CLOCK_MONOTONIC) + 0.5);  // the first pass comes before the first byte
            for (int index = 0; index < 300; ++index) (void)!::write(file, block.data(), block.size());
            ::fsync(file);
            ::posix_fadvise(file, 0, 0, POSIX_FADV_DONTNEED);
            ::posix_fadvise(file, 0, 0, POSIX_FADV_RANDOM);
            for (int index = 0; index < 100; ++index)
                (void)!::pread(file, block.data(), block.size(), static_cast<off_t>(index) * 1024 * 1024);
        },
        Child::Return::AtOnce);
    double last = pass(), written = 0, read = 0;
    for (int waited = 0; waited < 100 && (written < 300 * Mebi || read < 100 * Mebi); ++waited) {
        wait(0.2);
        const double now = pass();
        written += item(child).diskWrite * (now - last);
        read += item(child).diskRead * (now - last);
        last = now;
    }
    ::close(file);
    EXPECT_NEAR(written, 300 * Mebi, 6 * Mebi);
    EXPECT_NEAR(read, 100 * Mebi, 2 * Mebi);
}

TEST_F(LiveFigures, WakingUpCostsEnergy) {
    const Child child(
        [] {
            const double begin = secondsOf(CLOCK_MONOTONIC);
            for (int tick = 1;; ++tick) sleepUntil(begin + tick * 0.001);
        },
        Child::Return::AtOnce);
    pass();
    wait(2);
    pass();
    // A thousand wake-ups a second at 500 us each are half of the time.
    EXPECT_NEAR(item(child).energy.load() - item(child).cpu.load(), 50, 2.5);
    EXPECT_EQ(item(child).power.load(), item(child).energy.load()) << "the mean of one";
}

std::size_t openDescriptors() {
    return static_cast<std::size_t>(std::distance(std::filesystem::directory_iterator("/proc/self/fd"), {}));
}

double residentBytes() {
    std::FILE* file = std::fopen("/proc/self/statm", "r");
    long pages = 0;
    if (file != nullptr) {
        if (std::fscanf(file, "%*d %ld", &pages) != 1) pages = 0;
        std::fclose(file);
    }
    return static_cast<double>(pages) * static_cast<double>(::sysconf(_SC_PAGESIZE));
}

TEST_F(LiveFigures, AStormOfShortProcessesLeavesNothingBehind) {
    constexpr int PerSecond = 2000;
    constexpr int Seconds = 10;
    pass();
    const std::size_t before = processes_.immutableProcesses()->size();
    const std::size_t descriptors = openDescriptors();
    double resident = 0;
    {
        const Child storm(
            [] {
                ::signal(SIGCHLD, SIG_IGN);
                const double begin = secondsOf(CLOCK_MONOTONIC);
                for (int made = 1;; ++made) {
                    if (::fork() == 0) {
                        if (made % 4 == 0) sleepUntil(secondsOf(CLOCK_MONOTONIC) + 0.02);
                        ::_exit(0);
                    }
                    sleepUntil(begin + static_cast<double>(made) / PerSecond);
                }
            },
            Child::Return::AtOnce);
        for (int passes = 0; passes < Seconds * 20; ++passes) {
            wait(0.05);
            pass();
            if (passes == Seconds * 5) resident = residentBytes();
            for (const auto& one : *processes_.immutableProcesses()) {
                for (const auto* figure : {&one->cpu, &one->diskRead, &one->diskWrite, &one->energy, &one->power})
                    ASSERT_TRUE(std::isfinite(figure->load()) && *figure >= 0) << one->description();
            }
        }
    }
    wait(0.2);
    pass();
    EXPECT_LE(processes_.immutableProcesses()->size(), before + 20);
    EXPECT_LE(openDescriptors(), descriptors + 2);
    EXPECT_LE(residentBytes() - resident, MemoryAllowance);
}

}  // namespace
}  // namespace hvk
