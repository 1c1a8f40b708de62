// LiveProcessesBenchmarks.cpp - a whole pass of the processes module over this machine with 1,000 processes more.
//
// By /proc beside the bare readings of the same files through kept descriptors; by the task iterator beside that
// iterator's own reading.

#include <dirent.h>
#include <fcntl.h>
#include <signal.h>
#include <sys/prctl.h>
#include <unistd.h>

#include <cstdlib>
#include <memory>
#include <string>
#include <vector>

#include "Benchmarks/Groups.h"
#include "Benchmarks/Pair.h"
#include "HVKPlatform/linux/LinuxMachine.h"
#include "HVKStatistics/processes/HVKStatisticsProcesses.h"

namespace hvk::bench {

namespace {

constexpr int Sleepers = 1000;

/// Makes the processes, which end with this one.
void makeSleepers() {
    const pid_t parent = ::getpid();
    ::signal(SIGCHLD, SIG_IGN);
    for (int made = 0; made < Sleepers; ++made) {
        if (::fork() != 0) continue;
        ::prctl(PR_SET_PDEATHSIG, SIGKILL);
        if (::getppid() == parent)
            for (;;) ::pause();
        ::_exit(0);
    }
}

/// The module over one source.
struct LivePass {
    explicit LivePass(ProcessSourceChoice choice) : machine("/", choice), processes(machine) { pass(); }
    void pass() { processes.update(machine.clock().wallSeconds()); }

    LinuxMachine machine;
    HVKStatisticsProcesses processes;
};

/// The port's part of a pass: what one source reads.
struct LiveReading {
    explicit LiveReading(ProcessSourceChoice choice) : machine("/", choice) { pass(); }
    void pass() {
        (void)machine.processTable().pids(pids);
        usage.resize(pids.size());
        machine.processTable().usage(pids, usage);
    }

    LinuxMachine machine;
    std::vector<std::int32_t> pids;
    std::vector<ProcessUsage> usage;
};

/// Lists /proc and reads every process's counters through descriptors that stay open.
class BareReadings {
public:
    BareReadings() {
        directory_ = ::opendir("/proc");
        if (directory_ == nullptr) std::abort();
        while (const dirent* entry = ::readdir(directory_)) {
            if (entry->d_name[0] < '1' || entry->d_name[0] > '9') continue;
            for (const char* name : {"/stat", "/io"}) {
                const std::string path = "/proc/" + std::string(entry->d_name) + name;
                const int file = ::open(path.c_str(), O_RDONLY | O_CLOEXEC);
                if (file >= 0) files_.push_back(file);
            }
        }
    }
    ~BareReadings() {
        for (const int file : files_) ::close(file);
        ::closedir(directory_);
    }
    void operator()() {
        ::rewinddir(directory_);
        while (::readdir(directory_) != nullptr) {
        }
        for (const int file : files_) benchmark::DoNotOptimize(::pread(file, buffer_, sizeof buffer_, 0));
    }

private:
    DIR* directory_ = nullptr;
    std::vector<int> files_;
    char buffer_[4096];
};

}  // namespace

void registerLiveProcessesBenchmarks() {
    makeSleepers();
    auto proc = std::make_shared<LivePass>(ProcessSourceChoice::Proc);
    auto bare = std::make_shared<BareReadings>();
    const std::size_t count = proc->processes.processes().size();
    registerPair(
        {"this machine and 1,000 processes: a pass by /proc", 1.25,
         "list /proc, pread every stat and io through kept descriptors", count},
        [proc] { proc->pass(); }, [bare] { (*bare)(); });

    auto iterator = std::make_shared<LivePass>(ProcessSourceChoice::Iterator);
    if (iterator->processes.processes().empty()) return;
    auto reading = std::make_shared<LiveReading>(ProcessSourceChoice::Iterator);
    registerPair(
        {"this machine and 1,000 processes: a pass by the task iterator", 1.6,
         "the iterator's reading alone, without figures and families", count},
        [iterator] { iterator->pass(); }, [reading] { reading->pass(); });
}

}  // namespace hvk::bench
