// ProcessTable.h - the processes of a Linux machine, live or of a saved tree.
//
// Owns what is asked of one process now and then (arguments, footprint); what is asked of all of them at each pass
// comes from its source: the kernel's task iterator, or /proc. Both count the same (ProcessSource.h): memory is
// anonymous pages, wakeups are the voluntary context switches of the main thread. Who a process is for a person comes
// from its identity. The system has no long names, and no window server that could tell who does not answer.
#pragma once

#include <memory>

#include "HVKPlatform/linux/LinuxRoot.h"
#include "HVKPlatform/linux/ProcessIdentity.h"
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
    Status pids(std::vector<std::int32_t>& pids) override {
        identity_.beginPass();
        return source_->pids(pids);
    }
    Result<ProcessInformation> information(std::int32_t pid) override;
    void usage(std::span<const std::int32_t> pids, std::span<ProcessUsage> usage) override {
        source_->usage(pids, usage);
    }
    /// Anonymous memory from /proc/[pid]/statm, which every user may read.
    Result<std::uint64_t> footprint(std::int32_t pid) override;
    /// Absent for threads of the kernel, which have no program; Denied for the path of another user's. The path of a
    /// program that was replaced while it runs is the one it had.
    Result<std::vector<std::string>> arguments(std::int32_t pid) override;
    /// As in `arguments`, from the link alone.
    Result<std::string> executable(std::int32_t pid) override;
    Result<std::int32_t> responsible(std::int32_t pid) override { return identity_.responsible(pid); }
    Result<std::string> displayName(std::int32_t pid, const std::string& path) override {
        return identity_.displayName(pid, path);
    }
    Result<std::string> applicationType(std::int32_t pid) override { return identity_.applicationType(pid); }

private:
    const LinuxRoot& root_;
    std::uint64_t pageSize_;
    std::unique_ptr<ProcessSource> source_;
    ProcessIdentity identity_;
};

}  // namespace hvk
