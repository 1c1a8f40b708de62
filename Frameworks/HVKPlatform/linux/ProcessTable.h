// ProcessTable.h - the processes of a Linux machine, live or of a saved tree.
//
// Owns what is asked of one process now and then (arguments, footprint); what is asked of all of them at each pass
// comes from its source: the kernel's task iterator, or /proc. Both count the same (ProcessSource.h): memory is
// anonymous pages, wakeups are the voluntary context switches of the main thread. The system has no long names, and no
// window server that could tell who does not answer.
#pragma once

#include <memory>

#include "HVKPlatform/linux/LinuxRoot.h"
#include "HVKPlatform/linux/ProcessSource.h"
#include "HVKPlatform/support/Diagnostics.h"

namespace hvk {

/// Processes from the task iterator or from /proc.
class LinuxProcessTablePort : public UnsupportedProcessTablePort {
public:
    LinuxProcessTablePort(const LinuxRoot& root, std::uint64_t ticksPerSecond, std::uint64_t pageSize,
                          Diagnostics& diagnostics, ProcessSourceChoice choice = ProcessSourceChoice::Best);
    /// Nanoseconds, however coarse the clock ticks of the source are.
    Result<std::int64_t> timebaseFrequency() override { return std::int64_t{1'000'000'000}; }
    Status pids(std::vector<std::int32_t>& pids) override { return source_->pids(pids); }
    Result<ProcessInformation> information(std::int32_t pid) override { return source_->information(pid); }
    void usage(std::span<const std::int32_t> pids, std::span<ProcessUsage> usage) override {
        source_->usage(pids, usage);
    }
    /// Anonymous memory from /proc/[pid]/statm, which every user may read.
    Result<std::uint64_t> footprint(std::int32_t pid) override;
    /// Absent for threads of the kernel, which have no program; Denied for the path of another user's.
    Result<std::vector<std::string>> arguments(std::int32_t pid) override;

private:
    const LinuxRoot& root_;
    std::uint64_t pageSize_;
    std::unique_ptr<ProcessSource> source_;
};

}  // namespace hvk
