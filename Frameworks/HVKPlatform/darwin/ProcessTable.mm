#include "HVKPlatform/darwin/ProcessTable.h"

#include <dlfcn.h>
#include <libproc.h>
#include <mach/mach.h>
#include <sys/proc_info.h>
#include <sys/resource.h>
#include <sys/sysctl.h>

#include <algorithm>
#include <cerrno>

#include "HVKPlatform/darwin/BundleName.h"
#include "HVKPlatform/darwin/Cost.h"
#include "HVKPlatform/darwin/Outcome.h"
#include "HVKPlatform/darwin/decode/Failures.h"
#include "HVKPlatform/darwin/decode/ProcessArguments.h"
#include "HVKPlatform/darwin/decode/System.h"

namespace hvk {

static_assert(sizeof(proc_bsdinfo) == decode::ProcessInformationSize);
static_assert(offsetof(proc_bsdinfo, pbi_pid) == 12 && offsetof(proc_bsdinfo, pbi_ppid) == 16 &&
              offsetof(proc_bsdinfo, pbi_uid) == 20 && offsetof(proc_bsdinfo, pbi_comm) == 48 &&
              offsetof(proc_bsdinfo, pbi_name) == 64 && offsetof(proc_bsdinfo, pbi_start_tvsec) == 120 &&
              offsetof(proc_bsdinfo, pbi_start_tvusec) == 128);
static_assert(sizeof(proc_taskallinfo) == decode::TaskAllInformationSize && offsetof(proc_taskallinfo, ptinfo) == 136 &&
              offsetof(proc_taskinfo, pti_total_user) == 16 && offsetof(proc_taskinfo, pti_total_system) == 24);
static_assert(sizeof(rusage_info_v3) == decode::ResourceUsageSize);
static_assert(offsetof(rusage_info_v3, ri_user_time) == 16 && offsetof(rusage_info_v3, ri_system_time) == 24 &&
              offsetof(rusage_info_v3, ri_pkg_idle_wkups) == 32 && offsetof(rusage_info_v3, ri_phys_footprint) == 72 &&
              offsetof(rusage_info_v3, ri_proc_start_abstime) == 80 &&
              offsetof(rusage_info_v3, ri_diskio_bytesread) == 144 &&
              offsetof(rusage_info_v3, ri_diskio_byteswritten) == 152);
static_assert(offsetof(task_vm_info, phys_footprint) == 144 &&
              TASK_VM_INFO_REV1_COUNT * sizeof(natural_t) == decode::TaskMemorySize);

namespace {

constexpr const char* ReadOthers = "run as root to read the processes of other users";

/// Hands an answer about one process on. That it has ended or has no such thing is no fault of the source.
template <class T>
Result<T> answered(SourceHealth& health, Result<T> result) {
    const bool faulty =
        !result && result.failure().kind != FailureKind::Gone && result.failure().kind != FailureKind::Absent;
    if (faulty) return health.failed(result.failure());
    health.works();
    return result;
}

/// Fills `record` with what proc_pidinfo tells and answers the part that was written.
Result<std::span<const std::uint8_t>> processInformation(const char* source, std::int32_t pid, int flavor,
                                                         std::span<std::uint8_t> record) {
    countSystemCalls();
    errno = 0;
    const int size = proc_pidinfo(pid, flavor, 0, record.data(), static_cast<int>(record.size()));
    if (size <= 0) return decode::processFailure(source, pid, errno == 0 ? ESRCH : errno);
    return std::span<const std::uint8_t>(record.first(std::min(static_cast<std::size_t>(size), record.size())));
}

/// The right to ask about a task, given back with it.
class TaskName {
public:
    explicit TaskName(std::int32_t pid) {
        countSystemCalls();
        code_ = task_name_for_pid(mach_task_self(), pid, &port_);
    }
    ~TaskName() {
        if (code_ != KERN_SUCCESS || port_ == MACH_PORT_NULL) return;
        countSystemCalls();
        mach_port_deallocate(mach_task_self(), port_);
    }
    TaskName(const TaskName&) = delete;
    TaskName& operator=(const TaskName&) = delete;

    kern_return_t code() const { return code_; }
    mach_port_t get() const { return port_; }

private:
    mach_port_t port_ = MACH_PORT_NULL;
    kern_return_t code_ = KERN_FAILURE;
};

Result<std::uint64_t> readFootprint(std::int32_t pid) {
    const TaskName task(pid);
    // The call fails with one and the same code for a process that ended and for one that may not be asked.
    if (task.code() != KERN_SUCCESS)
        return Failure{FailureKind::Denied, "task_name_for_pid",
                       "process " + std::to_string(pid) + ": it ended, or belongs to another user"};
    alignas(task_vm_info) std::array<std::uint8_t, decode::TaskMemorySize> record{};
    mach_msg_type_number_t words = record.size() / sizeof(natural_t);
    countSystemCalls();
    const kern_return_t code =
        task_info(task.get(), TASK_VM_INFO, reinterpret_cast<task_info_t>(record.data()), &words);
    if (code != KERN_SUCCESS) return decode::kernelFailure("TASK_VM_INFO", static_cast<std::uint32_t>(code));
    return decode::decodeFootprint(std::span(record).first(std::min(words * sizeof(natural_t), record.size())));
}

}  // namespace

DarwinProcessTablePort::DarwinProcessTablePort(Diagnostics& diagnostics)
    : timebase_("hw.tbfrequency"),
      longestArguments_("kern.argmax", {CTL_KERN, KERN_ARGMAX}),
      responsible_(reinterpret_cast<Responsible>(dlsym(RTLD_DEFAULT, "responsibility_get_pid_responsible_for_pid"))),
      timebaseHealth_(diagnostics.source(timebase_.name(), "ticks of processor time in one second")),
      listHealth_(diagnostics.source("proc_listallpids", "which processes there are")),
      informationHealth_(diagnostics.source("PROC_PIDTBSDINFO", "who the processes are", ReadOthers)),
      usageHealth_(diagnostics.source("proc_pid_rusage", "what the processes use", ReadOthers)),
      footprintHealth_(diagnostics.source("TASK_VM_INFO", "footprint of processes that are read in part", ReadOthers)),
      responsibleHealth_(
          diagnostics.source("responsibility_get_pid_responsible_for_pid", "which application a process works for")),
      argumentsHealth_(diagnostics.source("KERN_PROCARGS2", "executables and arguments of the processes", ReadOthers)),
      namesHealth_(diagnostics.source("Info.plist", "names of applications")),
      typesHealth_(diagnostics.source("LaunchServices", "kinds of applications")),
      windowServerHealth_(diagnostics.source("CGSEventIsAppUnresponsive", "whether applications answer",
                                             "run inside the graphical session")) {}

Result<std::int64_t> DarwinProcessTablePort::timebaseFrequency() {
    std::array<std::uint8_t, sizeof(std::int64_t)> record{};
    const auto bytes = timebase_.read(record);
    if (!bytes) {
        // Systems that count in nanoseconds may leave the name out.
        Failure failure = bytes.failure();
        if (failure.kind == FailureKind::Unsupported) failure.kind = FailureKind::Absent;
        return timebaseHealth_.failed(std::move(failure));
    }
    return noted(timebaseHealth_, decode::decodeTimebaseFrequency(*bytes));
}

Result<std::span<const std::int32_t>> DarwinProcessTablePort::listPids() {
    countSystemCalls();
    const int count = proc_listallpids(nullptr, 0);
    if (count <= 0) return decode::systemControlFailure("proc_listallpids", errno);
    if (listed_.size() < static_cast<std::size_t>(count)) listed_.resize(static_cast<std::size_t>(count));
    while (true) {
        countSystemCalls();
        const int listed = proc_listallpids(listed_.data(), static_cast<int>(listed_.size() * sizeof(std::int32_t)));
        if (listed <= 0) return decode::systemControlFailure("proc_listallpids", errno);
        // A full list may be a cut one: processes began between the two calls.
        if (static_cast<std::size_t>(listed) < listed_.size())
            return std::span<const std::int32_t>(listed_).first(static_cast<std::size_t>(listed));
        listed_.resize(listed_.size() * 2);
    }
}

Status DarwinProcessTablePort::pids(std::vector<std::int32_t>& pids) {
    const auto listed = listPids();
    if (!listed) return listHealth_.failed(listed.failure());
    return noted(listHealth_, decode::decodeProcessList(*listed, pids));
}

Result<ProcessInformation> DarwinProcessTablePort::information(std::int32_t pid) {
    std::array<std::uint8_t, decode::ProcessInformationSize> record{};
    const auto bytes = processInformation("PROC_PIDTBSDINFO", pid, PROC_PIDTBSDINFO, record);
    if (!bytes) return answered<ProcessInformation>(informationHealth_, bytes.failure());
    return answered(informationHealth_, decode::decodeProcessInformation(*bytes));
}

std::optional<decode::ResourceUsage> DarwinProcessTablePort::resourceUsage(std::int32_t pid) {
    alignas(rusage_info_v3) std::array<std::uint8_t, decode::ResourceUsageSize> record{};
    countSystemCalls();
    if (proc_pid_rusage(pid, RUSAGE_INFO_V3, reinterpret_cast<rusage_info_t*>(record.data())) != 0) return std::nullopt;
    return *decode::decodeResourceUsage(record);
}

std::uint64_t DarwinProcessTablePort::identityOf(std::int32_t pid, const decode::ResourceUsage& resources) {
    if (const std::uint64_t known = identities_.find(pid, resources.startTicks)) return known;
    std::array<std::uint8_t, decode::ProcessInformationSize> record{};
    const auto bytes = processInformation("PROC_PIDTBSDINFO", pid, PROC_PIDTBSDINFO, record);
    if (!bytes) return 0;
    const auto identity = decode::decodeProcessIdentity(*bytes);
    // The same start in ticks after the question shows that the answer is about the same process.
    const auto after = resourceUsage(pid);
    if (!identity || !after || after->startTicks != resources.startTicks) return 0;
    identities_.remember(pid, resources.startTicks, *identity);
    return *identity;
}

ProcessUsage DarwinProcessTablePort::processorTimeOf(std::int32_t pid) {
    std::array<std::uint8_t, decode::TaskAllInformationSize> record{};
    // Both halves in one reading: the times and the identity are of the same process.
    countSystemCalls();
    const int size = proc_pidinfo(pid, PROC_PIDTASKALLINFO, 0, record.data(), static_cast<int>(record.size()));
    if (size != static_cast<int>(record.size())) return {};
    return *decode::decodeTaskUsage(record);
}

ProcessUsage DarwinProcessTablePort::usageOf(std::int32_t pid) {
    const auto resources = resourceUsage(pid);
    if (!resources) return errno == ESRCH ? ProcessUsage{} : processorTimeOf(pid);
    ProcessUsage usage = resources->usage;
    usage.identity = identityOf(pid, *resources);
    if (usage.identity == 0) return {};
    return usage;
}

void DarwinProcessTablePort::usage(std::span<const std::int32_t> pids, std::span<ProcessUsage> usage) {
    std::size_t refused = 0;
    identities_.beginPass();
    for (std::size_t i = 0; i < pids.size(); ++i) {
        usage[i] = usageOf(pids[i]);
        if (usage[i].kind != ProcessUsageKind::Complete) ++refused;
    }
    identities_.endPass();
    noteUsage(pids.size(), refused);
}

void DarwinProcessTablePort::noteUsage(std::size_t processes, std::size_t refused) {
    if (processes > 0 && refused == processes) {
        (void)usageHealth_.failed({FailureKind::Denied, "proc_pid_rusage", "no process may be read"});
        return;
    }
    usageHealth_.works();
    if (refused == notedRefusals_) return;
    notedRefusals_ = refused;
    usageHealth_.note(refused == 0 ? std::string()
                                   : std::to_string(refused) + " processes are not read in full; " + ReadOthers);
}

Result<std::uint64_t> DarwinProcessTablePort::footprint(std::int32_t pid) {
    return answered(footprintHealth_, readFootprint(pid));
}

Result<std::int32_t> DarwinProcessTablePort::responsible(std::int32_t pid) {
    constexpr const char* Source = "responsibility_get_pid_responsible_for_pid";
    if (responsible_ == nullptr)
        return responsibleHealth_.failed({FailureKind::Unsupported, Source, "this system lacks the function"});
    countSystemCalls();
    const std::int32_t owner = responsible_(pid);
    responsibleHealth_.works();
    if (owner < 0) return Failure{FailureKind::Absent, Source, "none for process " + std::to_string(pid)};
    return owner;
}

Result<std::span<const std::uint8_t>> DarwinProcessTablePort::argumentBytes(std::int32_t pid) {
    if (argumentCapacity_ == 0) {
        std::array<std::uint8_t, sizeof(std::int32_t)> record{};
        const auto bytes = longestArguments_.read(record);
        if (!bytes) return bytes.failure();
        const auto capacity = decode::decodeCount(longestArguments_.name(), *bytes);
        if (!capacity) return capacity.failure();
        argumentBytes_ = std::make_unique_for_overwrite<std::uint8_t[]>(*capacity);
        argumentCapacity_ = *capacity;
    }
    std::array<int, 3> name = {CTL_KERN, KERN_PROCARGS2, pid};
    std::size_t size = argumentCapacity_;
    countSystemCalls();
    if (sysctl(name.data(), name.size(), argumentBytes_.get(), &size, nullptr, 0) == 0)
        return std::span<const std::uint8_t>(argumentBytes_.get(), std::min(size, argumentCapacity_));
    // EINVAL stands for all of: it ended, it is the kernel's own, it belongs to another user. Hence Absent.
    return decode::processFailure("KERN_PROCARGS2", pid, errno);
}

Result<std::vector<std::string>> DarwinProcessTablePort::arguments(std::int32_t pid) {
    const auto bytes = argumentBytes(pid);
    if (!bytes) return answered<std::vector<std::string>>(argumentsHealth_, bytes.failure());
    return answered(argumentsHealth_, decode::decodeProcessArguments(*bytes));
}

Result<std::string> DarwinProcessTablePort::displayName(std::int32_t, const std::string& path) {
    @autoreleasepool {
        return answered(namesHealth_, bundleDisplayName(path));
    }
}

Result<std::string> DarwinProcessTablePort::applicationType(std::int32_t pid) {
    @autoreleasepool {
        return answered(typesHealth_, launchServices_.applicationType(pid));
    }
}

Result<bool> DarwinProcessTablePort::isUnresponsive(std::int32_t pid) {
    @autoreleasepool {
        return answered(windowServerHealth_, windowServer_.isUnresponsive(pid));
    }
}

}  // namespace hvk
