#include "HVKPlatform/linux/ProcSource.h"

#include <dirent.h>
#include <fcntl.h>
#include <sys/resource.h>
#include <sys/stat.h>
#include <sys/syscall.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cstdio>
#include <cstring>
#include <utility>

#include "HVKPlatform/linux/SystemCalls.h"
#include "HVKPlatform/linux/parse/Scan.h"

namespace hvk {

namespace {

constexpr std::size_t BufferSize = 32768;
/// Who may read a process changes rarely, and to be refused costs as much as to read.
constexpr std::uint8_t PassesAfterDenial = 15;
constexpr std::size_t FirstName = offsetof(dirent64, d_name);

/// A quarter of what this program may open is ours.
std::size_t shareOfDescriptors() {
    rlimit limit{};
    countSystemCalls();
    if (::getrlimit(RLIMIT_NOFILE, &limit) != 0) return 0;
    constexpr rlim_t most = rlim_t{1} << 18;
    return static_cast<std::size_t>(std::min(limit.rlim_cur, most) / 4);
}

bool isGone(int error) { return error == ESRCH || error == ENOENT || error == ENOTDIR; }

Failure failureOfProcess(int error, std::int32_t pid, const char* file) {
    Failure failure = failureFromErrno(error, "/proc/" + std::to_string(pid) + "/" + file);
    if (isGone(error)) failure.kind = FailureKind::Gone;
    return failure;
}

}  // namespace

ProcSource::ProcSource(const LinuxRoot& root, std::uint64_t ticksPerSecond, std::uint64_t pageSize,
                       Diagnostics& diagnostics)
    : root_(root),
      nanosecondsPerTick_(1'000'000'000 / ticksPerSecond),
      pageSize_(pageSize),
      listSource_(diagnostics.source("/proc", "list of processes", "mount procfs at /proc")),
      statSource_(diagnostics.source("/proc/[pid]/stat", "processor time and memory of processes",
                                     "mount procfs without hidepid")),
      ioSource_(diagnostics.source("/proc/[pid]/io", "disk traffic of processes",
                                   "run as root, or grant the program: setcap cap_sys_ptrace+ep PROGRAM")),
      limit_(root.isLive() ? shareOfDescriptors() : 0),
      buffer_(BufferSize, '\0') {}

ProcSource::~ProcSource() {
    for (Entry& entry : entries_) closeKept(entry);
    closeDirectory();
}

Status ProcSource::openDirectory() {
    if (directory_ >= 0) return {};
    countSystemCalls();
    directory_ = ::open(root_.path("/proc").c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC);
    if (directory_ < 0) return failureFromErrno(errno, "/proc");
    return {};
}

void ProcSource::closeDirectory() {
    if (directory_ < 0) return;
    countSystemCalls();
    ::close(std::exchange(directory_, -1));
}

void ProcSource::closeKept(int& descriptor) {
    if (descriptor < 0) return;
    countSystemCalls();
    ::close(std::exchange(descriptor, -1));
    --kept_;
}

void ProcSource::closeKept(Entry& entry) {
    closeKept(entry.stat);
    closeKept(entry.io);
}

Status ProcSource::pids(std::vector<std::int32_t>& pids) {
    // The directory of a saved tree may have been replaced since.
    if (!root_.isLive()) closeDirectory();
    if (auto opened = openDirectory(); !opened) return listSource_.failed(opened.failure());
    listed_.clear();
    countSystemCalls();
    long count = ::lseek(directory_, 0, SEEK_SET);
    while (count >= 0) {
        countSystemCalls();
        count = ::syscall(SYS_getdents64, directory_, buffer_.data(), buffer_.size());
        if (count <= 0) break;
        for (std::size_t at = 0; at < static_cast<std::size_t>(count);) {
            std::uint16_t length = 0;
            std::memcpy(&length, buffer_.data() + at + offsetof(dirent64, d_reclen), sizeof length);
            const auto number = parse::toUnsigned(buffer_.data() + at + FirstName);
            if (number && *number > 0 && *number <= INT32_MAX) listed_.push_back(static_cast<std::int32_t>(*number));
            at += length;
        }
    }
    if (count < 0) {
        const int error = errno;
        closeDirectory();
        return listSource_.failed(failureFromErrno(error, "/proc"));
    }
    if (listed_.empty()) return listSource_.failed({FailureKind::Absent, "/proc", "no process is listed"});
    // The kernel lists them in order; a saved directory is listed in any.
    if (!std::is_sorted(listed_.begin(), listed_.end())) std::sort(listed_.begin(), listed_.end());
    listSource_.works();
    keepEntries(listed_);
    pids.assign(listed_.begin(), listed_.end());
    return {};
}

/// Carries what is known of the processes that are still listed, and lets go of the others.
void ProcSource::keepEntries(std::span<const std::int32_t> pids) {
    next_.clear();
    auto old = entries_.begin();
    for (const std::int32_t pid : pids) {
        for (; old != entries_.end() && old->pid < pid; ++old) closeKept(*old);
        if (old != entries_.end() && old->pid == pid) {
            next_.push_back(*old++);
        } else {
            Entry& entry = next_.emplace_back();
            entry.pid = pid;
        }
    }
    for (; old != entries_.end(); ++old) closeKept(*old);
    entries_.swap(next_);
}

/// The content of a file of a process, in one read. With `keptDescriptor` the file stays open there while the share of
/// descriptors allows.
Result<std::string_view> ProcSource::read(std::int32_t pid, const char* file, int* keptDescriptor) {
    if (keptDescriptor != nullptr && *keptDescriptor >= 0) {
        countSystemCalls();
        const ssize_t count = ::pread(*keptDescriptor, buffer_.data(), buffer_.size(), 0);
        if (count > 0) return std::string_view(buffer_.data(), static_cast<std::size_t>(count));
        // It ended, and another may have its number by now.
        closeKept(*keptDescriptor);
    }
    if (auto opened = openDirectory(); !opened) return opened.failure();
    char path[32];
    std::snprintf(path, sizeof path, "%d/%s", pid, file);
    countSystemCalls();
    const int descriptor = ::openat(directory_, path, O_RDONLY | O_CLOEXEC | O_NONBLOCK);
    if (descriptor < 0) return failureOfProcess(errno, pid, file);
    countSystemCalls();
    const ssize_t count = ::pread(descriptor, buffer_.data(), buffer_.size(), 0);
    const int error = errno;
    if (count > 0 && keptDescriptor != nullptr && kept_ < limit_) {
        *keptDescriptor = descriptor;
        ++kept_;
    } else {
        countSystemCalls();
        ::close(descriptor);
    }
    if (count < 0) return failureOfProcess(error, pid, file);
    return std::string_view(buffer_.data(), static_cast<std::size_t>(count));
}

Result<parse::ProcessStat> ProcSource::readStat(std::int32_t pid, int* keptDescriptor) {
    const auto text = read(pid, "stat", keptDescriptor);
    if (!text) {
        // To end between list and reading is the way of processes, not a fault of the source.
        if (text.failure().kind != FailureKind::Gone) (void)statSource_.failed(text.failure());
        return text.failure();
    }
    auto stat = parse::parseProcessStat(*text);
    if (!stat) return statSource_.failed(stat.failure());
    if (stat->pid != pid)
        return statSource_.failed({FailureKind::Malformed, "/proc/[pid]/stat", "it tells of another process"});
    statSource_.works();
    return stat;
}

/// Brings the memory and the wakeups of an entry up to date; false when the process ended meanwhile.
bool ProcSource::readMemory(Entry& entry, const parse::ProcessStat& stat) {
    const bool isNew = entry.start != stat.startTicks + 1;
    const bool ran = isNew || entry.cpuTicks != stat.cpuTicks;
    const bool moved = isNew || entry.faults != stat.faults || entry.residentPages != stat.residentPages;
    if (isNew) entry.memory = entry.wakeups = entry.ioPause = 0;
    entry.start = stat.startTicks + 1;
    entry.cpuTicks = stat.cpuTicks;
    entry.faults = stat.faults;
    entry.residentPages = stat.residentPages;
    if (moved && !stat.isKernelThread()) {
        const auto text = read(entry.pid, "statm", nullptr);
        const auto pages = text ? parse::parseAnonymousPages(*text) : Result<std::uint64_t>(text.failure());
        if (pages)
            entry.memory = *pages * pageSize_;
        else if (pages.failure().kind == FailureKind::Gone)
            return false;
        else
            (void)statSource_.failed(pages.failure());
    }
    if (ran) {
        const auto text = read(entry.pid, "status", nullptr);
        const auto switches = text ? parse::parseContextSwitches(*text) : Result<std::uint64_t>(text.failure());
        if (switches) entry.wakeups = *switches;
    }
    return true;
}

void ProcSource::readOne(Entry& entry, ProcessUsage& usage) {
    const auto stat = readStat(entry.pid, &entry.stat);
    if (!stat) {
        entry.start = 0;
        return;
    }
    usage.identity = stat->startTicks + 1;
    usage.cputime = stat->cpuTicks * nanosecondsPerTick_;
    usage.kind = ProcessUsageKind::CPUOnly;
    if (!readMemory(entry, *stat)) {
        usage = {};
        entry.start = 0;
        return;
    }
    if (entry.ioPause != 0) {
        --entry.ioPause;
        ++denied_;
        return;
    }
    const auto text = read(entry.pid, "io", &entry.io);
    const auto io = text ? parse::parseProcessIO(*text) : Result<parse::ProcessIO>(text.failure());
    if (!io) {
        if (io.failure().kind == FailureKind::Denied) {
            ++denied_;
            if (root_.isLive()) entry.ioPause = PassesAfterDenial;
        } else if (io.failure().kind == FailureKind::Malformed) {
            (void)ioSource_.failed(io.failure());
        }
        return;
    }
    ioRead_ = true;
    ioSource_.works();
    usage.memory = entry.memory;
    usage.diskRead = io->read;
    usage.diskWritten = io->written;
    usage.wakeups = entry.wakeups;
    usage.kind = ProcessUsageKind::Complete;
}

void ProcSource::usage(std::span<const std::int32_t> pids, std::span<ProcessUsage> usage) {
    denied_ = 0;
    ioRead_ = false;
    auto entry = entries_.begin();
    for (std::size_t index = 0; index < pids.size(); ++index) {
        usage[index] = {};
        while (entry != entries_.end() && entry->pid < pids[index]) ++entry;
        if (entry != entries_.end() && entry->pid == pids[index]) {
            readOne(*entry, usage[index]);
        } else {
            Entry unlisted;
            unlisted.pid = pids[index];
            readOne(unlisted, usage[index]);
            closeKept(unlisted);
        }
    }
    // Said once, and again when it ends or begins.
    if ((denied_ == 0) != (deniedNoted_ == 0)) {
        deniedNoted_ = denied_;
        if (denied_ != 0 && !ioRead_)
            (void)ioSource_.failed({FailureKind::Denied, "/proc/[pid]/io", "none of the processes asked may be read"});
        ioSource_.note(denied_ == 0 ? std::string()
                                    : std::to_string(denied_) +
                                          " of other users' processes tell only their processor time and memory");
    }
}

Result<std::uint32_t> ProcSource::user(std::int32_t pid) {
    if (root_.isLive()) {
        // The directory belongs to the effective user, whatever the process hides of its files.
        char name[16];
        std::snprintf(name, sizeof name, "%d", pid);
        struct stat status {};
        countSystemCalls();
        if (::fstatat(directory_, name, &status, 0) != 0) return failureOfProcess(errno, pid, "");
        return static_cast<std::uint32_t>(status.st_uid);
    }
    const auto text = read(pid, "status", nullptr);
    if (!text) return text.failure();
    return parse::parseProcessUser(*text);
}

Result<ProcessInformation> ProcSource::information(std::int32_t pid) {
    const auto stat = readStat(pid, nullptr);
    if (!stat) return stat.failure();
    ProcessInformation information;
    information.pid = pid;
    information.parent = stat->parent;
    information.command = parse::shortCommand(*stat);
    information.identity = stat->startTicks + 1;
    const auto owner = user(pid);
    if (!owner && owner.failure().kind == FailureKind::Gone) return owner.failure();
    if (owner)
        information.user = *owner;
    else if (root_.isLive())
        return owner.failure();
    return information;
}

}  // namespace hvk
