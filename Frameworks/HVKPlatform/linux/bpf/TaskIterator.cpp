#include "HVKPlatform/linux/bpf/TaskIterator.h"

#include <bpf/bpf.h>
#include <bpf/libbpf.h>
#include <linux/capability.h>
#include <signal.h>
#include <sys/stat.h>
#include <sys/syscall.h>
#include <unistd.h>

#include <TaskIterator.skel.h>
#include <algorithm>
#include <cerrno>
#include <cstdarg>
#include <cstdio>
#include <memory>
#include <string>
#include <utility>

#include "HVKPlatform/linux/SystemCalls.h"
#include "HVKPlatform/linux/TaskRecordStream.h"
#include "HVKPlatform/linux/parse/ProcessorList.h"
#include "HVKPlatform/linux/parse/Scan.h"

namespace hvk {

namespace {

constexpr const char* Source = "task iterator";

// Numbers that the kernel gave to capabilities and to the first namespaces once and for all.
constexpr unsigned SystemAdministration = 21, PerformanceMonitoring = 38, Bpf = 39;
constexpr ino_t InitialPidNamespace = 0xEFFFFFFCU, InitialTimeNamespace = 0xEFFFFFFAU;

/// What libbpf complained of first while this thread loaded the iterator.
thread_local std::string firstComplaint;

__attribute__((format(printf, 2, 0))) int hearComplaint(libbpf_print_level level, const char* format,
                                                        va_list arguments) {
    if (level != LIBBPF_WARN || !firstComplaint.empty()) return 0;
    char line[256];
    std::vsnprintf(line, sizeof line, format, arguments);
    std::string_view text = line;
    firstComplaint = parse::trimmed(text.substr(0, text.find('\n')));
    return 0;
}

bool isPrivileged() {
    __user_cap_header_struct header{_LINUX_CAPABILITY_VERSION_3, 0};
    __user_cap_data_struct sets[2]{};
    countSystemCalls();
    if (::syscall(SYS_capget, &header, sets) != 0) return false;
    const auto has = [&](unsigned capability) {
        return (sets[capability / 32].effective >> (capability % 32) & 1U) != 0;
    };
    return has(SystemAdministration) || (has(Bpf) && has(PerformanceMonitoring));
}

/// The number of a namespace of this program as the machine's own /proc tells it; 0 when it does not.
ino_t namespaceOf(const LinuxRoot& root, const char* kind) {
    struct stat status {};
    countSystemCalls();
    return ::stat(root.path(std::string("/proc/self/ns/") + kind).c_str(), &status) == 0 ? status.st_ino : 0;
}

Failure unsupportedBecause(std::string detail) { return {FailureKind::Unsupported, Source, std::move(detail)}; }

/// The iterator tells the numbers of the initial namespaces. In another one /proc says something else.
std::optional<TaskIteratorRefusal> refusalOfNamespaces(const LinuxRoot& root) {
    if (namespaceOf(root, "pid") != InitialPidNamespace)
        return TaskIteratorRefusal{
            unsupportedBecause("this program does not run in the initial pid namespace, where its numbers hold"),
            "run it outside the container, or let the container share the machine's pid namespace"};
    const ino_t time = namespaceOf(root, "time");
    if (time != 0 && time != InitialTimeNamespace)
        return TaskIteratorRefusal{
            unsupportedBecause("this program does not run in the initial time namespace, where its times hold"),
            "run it outside the time namespace"};
    return std::nullopt;
}

/// Tells the program which processors there may be.
Status notePossibleProcessors(const LinuxRoot& root, TaskIterator& program) {
    const auto line = root.readLine("/sys/devices/system/cpu/possible");
    const auto list = line ? parse::parseProcessorList(*line) : std::nullopt;
    if (!list || list->empty()) return unsupportedBecause("the list of possible processors cannot be read");
    if (list->back() >= std::size(program.rodata->possible)) return unsupportedBecause("there are too many processors");
    std::fill(std::begin(program.rodata->possible), std::end(program.rodata->possible), 0);
    for (const std::uint32_t processor : *list) program.rodata->possible[processor] = 1;
    program.rodata->processors = list->back() + 1;
    return {};
}

struct Destroy {
    void operator()(TaskIterator* program) const { TaskIterator::destroy(program); }
};
using Program = std::unique_ptr<TaskIterator, Destroy>;

/// Reads what the program in the kernel writes.
class TaskIteratorReader : public TaskReader {
public:
    explicit TaskIteratorReader(Program program) : program_(std::move(program)) {}

    Result<std::span<parse::TaskRecord>> read() override {
        // There is no way back to the beginning: each pass has a descriptor of its own.
        countSystemCalls();
        const int descriptor = ::bpf_iter_create(::bpf_link__fd(program_->links.visit));
        if (descriptor < 0) return failureFromErrno(-descriptor, Source);
        auto records = stream_.read(descriptor);
        countSystemCalls();
        ::close(descriptor);
        return records;
    }

    bool isThere(std::int32_t pid) override {
        countSystemCalls();
        return ::kill(pid, 0) == 0 || errno != ESRCH;
    }

private:
    Program program_;
    TaskRecordStream stream_;
};

TaskIteratorRefusal refusalOfKernel(int error, const char* step) {
    std::string detail =
        std::string("the kernel refused to ") + step + " it: " + failureFromErrno(error, Source).detail;
    if (!firstComplaint.empty()) detail += " (" + firstComplaint + ")";
    if (error == EPERM || error == EACCES)
        return {{FailureKind::Denied, Source, std::move(detail)},
                "a locked-down kernel, a security module or a container may forbid it: ask who runs the machine"};
    return {unsupportedBecause(std::move(detail)), "a kernel from 6.2 on has what it needs"};
}

}  // namespace

std::unique_ptr<TaskReader> openTaskIterator(const LinuxRoot& root, TaskIteratorRefusal& refusal) {
    if (auto elsewhere = refusalOfNamespaces(root)) {
        refusal = std::move(*elsewhere);
        return nullptr;
    }
    if (!isPrivileged()) {
        refusal = {{FailureKind::Denied, Source, "it takes the capabilities CAP_BPF and CAP_PERFMON"},
                   "run as root, or grant the program: setcap cap_bpf,cap_perfmon+ep PROGRAM"};
        return nullptr;
    }
    countSystemCalls();
    if (::access("/sys/kernel/btf/vmlinux", R_OK) != 0) {
        refusal = {unsupportedBecause("the kernel does not tell its types (/sys/kernel/btf/vmlinux)"),
                   "a kernel built with CONFIG_DEBUG_INFO_BTF"};
        return nullptr;
    }

    firstComplaint.clear();
    ::libbpf_set_print(hearComplaint);
    Program program(TaskIterator::open());
    if (!program) {
        refusal = refusalOfKernel(errno, "open");
        return nullptr;
    }
    if (auto noted = notePossibleProcessors(root, *program); !noted) {
        refusal = {noted.failure(), {}};
        return nullptr;
    }
    if (const int error = TaskIterator::load(program.get()); error != 0) {
        refusal = refusalOfKernel(-error, "load");
        return nullptr;
    }
    if (const int error = TaskIterator::attach(program.get()); error != 0) {
        refusal = refusalOfKernel(-error, "attach");
        return nullptr;
    }
    return std::make_unique<TaskIteratorReader>(std::move(program));
}

}  // namespace hvk
