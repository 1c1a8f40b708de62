// ProcessTable.h - the processes of a machine: who they are, and what they have used.
//
// Shaped after the process calls of macOS (list, BSD information, resource usage, arguments). Usage is asked for many
// processes at once, so that an adapter may answer from one reading of the whole table. Counters are cumulative; time
// is in time-base ticks. Thread: the one that updates the processes module.
#pragma once

#include <cstdint>
#include <span>
#include <string>
#include <vector>

#include "HVKBase/Export.h"
#include "HVKPlatform/Result.h"

namespace hvk {

/// Who a process is; fixed but for `parent`, which changes when the parent ends.
struct ProcessInformation {
    std::int32_t pid = 0;
    std::int32_t parent = -1;
    std::uint32_t user = 0;
    std::string command;  ///< the short command name, at most 15 bytes: "Web Content"
    std::string name;     ///< the long name; empty when the system has none
    /// Tells a process from a later one with the same pid: when it started, in units of the adapter; never 0.
    std::uint64_t identity = 0;
    /// It starts the services of the system or of a user: all others descend from it, and none counts with it. Linux:
    /// the first process, and a user's service manager. macOS does not say it here; the name does.
    bool startsServices = false;
};

/// How much the kernel told of a process's usage.
enum class ProcessUsageKind : std::uint8_t {
    None,      ///< nothing: it ended, or may not be read
    CPUOnly,   ///< processor time alone
    Complete,  ///< all counters
};

/// What a process has used since it started; threads that ended are included.
struct ProcessUsage {
    std::uint64_t identity = 0;  ///< as in ProcessInformation; 0 with kind None
    std::uint64_t cputime = 0;   ///< user + system, time-base ticks
    std::uint64_t memory = 0;    ///< physical footprint, bytes
    std::uint64_t diskRead = 0;  ///< bytes that came from a device
    std::uint64_t diskWritten = 0;
    /// Times that it brought an idle processor back to work. Linux does not count these: there it is how often the main
    /// thread went to sleep, to be woken again (voluntary context switches).
    std::uint64_t wakeups = 0;
    ProcessUsageKind kind = ProcessUsageKind::None;
};

/// The process table.
class HVK_EXPORT ProcessTablePort {
public:
    virtual ~ProcessTablePort() = default;

    /// Time-base ticks in one second, e.g. 1000000000. hw.tbfrequency; Linux counts nanoseconds. Absent when unknown.
    virtual Result<std::int64_t> timebaseFrequency() = 0;

    /// Lists every process, in ascending order, into the caller's buffer. On failure the buffer is left as it was.
    /// proc_listallpids; the task iterator or /proc.
    virtual Status pids(std::vector<std::int32_t>& pids) = 0;

    /// Who a process is; Gone when it ended, Denied when the kernel does not tell. proc_pidinfo(PROC_PIDTBSDINFO).
    virtual Result<ProcessInformation> information(std::int32_t pid) = 0;

    /// What each of `pids` (ascending, as `pids` listed them) has used, in the same order, into a span of the same
    /// length. Called after `pids` in the same pass; an adapter may answer from that reading. proc_pid_rusage, else
    /// proc_pidinfo(PROC_PIDTASKINFO).
    virtual void usage(std::span<const std::int32_t> pids, std::span<ProcessUsage> usage) = 0;

    /// The footprint of a process whose usage is CPUOnly, by another way. task_name_for_pid and task_info.
    virtual Result<std::uint64_t> footprint(std::int32_t pid) = 0;

    /// The process responsible for this one (the application that started a helper).
    virtual Result<std::int32_t> responsible(std::int32_t pid) = 0;

    /// The path of the executable alone, for systems where the arguments cost more: those of Linux lie in the memory of
    /// the process, and reading them waits for it.
    virtual Result<std::string> executable(std::int32_t pid) {
        auto all = arguments(pid);
        if (!all) return all.failure();
        if (all->empty()) return Failure{FailureKind::Absent, "process arguments", "it has no executable"};
        return std::move(all->front());
    }

    /// The path of the executable, then the arguments. KERN_PROCARGS2; /proc/[pid]/exe and cmdline.
    virtual Result<std::vector<std::string>> arguments(std::int32_t pid) = 0;

    /// The name that the system shows for what runs at `path` (an executable or a bundle): CFBundleDisplayName, else
    /// CFBundleName of a bundle's Info.plist; the desktop entry's name on Linux. Absent when it has none.
    virtual Result<std::string> displayName(std::int32_t pid, const std::string& path) = 0;

    /// The kind of application: "Foreground", "BackgroundOnly", "UIElement". Unsupported where the system has no
    /// notion.
    virtual Result<std::string> applicationType(std::int32_t pid) = 0;

    /// Whether the application does not answer its window server.
    virtual Result<bool> isUnresponsive(std::int32_t pid) = 0;
};

/// Answers Unsupported to everything: the base of a new adapter.
class HVK_EXPORT UnsupportedProcessTablePort : public ProcessTablePort {
public:
    Result<std::int64_t> timebaseFrequency() override { return unsupported("time base"); }
    Status pids(std::vector<std::int32_t>&) override { return unsupported("process list"); }
    Result<ProcessInformation> information(std::int32_t) override { return unsupported("process information"); }
    void usage(std::span<const std::int32_t>, std::span<ProcessUsage> usage) override {
        for (ProcessUsage& one : usage) one = {};
    }
    Result<std::uint64_t> footprint(std::int32_t) override { return unsupported("process footprint"); }
    Result<std::int32_t> responsible(std::int32_t) override { return unsupported("responsible process"); }
    Result<std::vector<std::string>> arguments(std::int32_t) override { return unsupported("process arguments"); }
    Result<std::string> displayName(std::int32_t, const std::string&) override { return unsupported("display name"); }
    Result<std::string> applicationType(std::int32_t) override { return unsupported("application type"); }
    Result<bool> isUnresponsive(std::int32_t) override { return unsupported("window server"); }
};

/// Hands every question on; a test overrides the one it bends.
class HVK_EXPORT ForwardingProcessTablePort : public ProcessTablePort {
public:
    explicit ForwardingProcessTablePort(ProcessTablePort& target) : target_(target) {}
    Result<std::int64_t> timebaseFrequency() override { return target_.timebaseFrequency(); }
    Status pids(std::vector<std::int32_t>& pids) override { return target_.pids(pids); }
    Result<ProcessInformation> information(std::int32_t pid) override { return target_.information(pid); }
    void usage(std::span<const std::int32_t> pids, std::span<ProcessUsage> usage) override {
        target_.usage(pids, usage);
    }
    Result<std::uint64_t> footprint(std::int32_t pid) override { return target_.footprint(pid); }
    Result<std::int32_t> responsible(std::int32_t pid) override { return target_.responsible(pid); }
    Result<std::vector<std::string>> arguments(std::int32_t pid) override { return target_.arguments(pid); }
    Result<std::string> executable(std::int32_t pid) override { return target_.executable(pid); }
    Result<std::string> displayName(std::int32_t pid, const std::string& path) override {
        return target_.displayName(pid, path);
    }
    Result<std::string> applicationType(std::int32_t pid) override { return target_.applicationType(pid); }
    Result<bool> isUnresponsive(std::int32_t pid) override { return target_.isUnresponsive(pid); }

protected:
    ProcessTablePort& target_;
};

}  // namespace hvk
