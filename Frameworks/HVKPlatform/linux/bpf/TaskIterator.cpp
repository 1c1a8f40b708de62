#include "HVKPlatform/linux/bpf/TaskIterator.h"

#include <linux/capability.h>
#include <signal.h>
#include <sys/stat.h>
#include <sys/syscall.h>
#include <unistd.h>

#include <array>
#include <cerrno>
#include <memory>
#include <string>
#include <utility>

#include "HVKPlatform/linux/SystemCalls.h"
#include "HVKPlatform/linux/TaskRecordStream.h"
#include "HVKPlatform/linux/bpf/TaskProgram.h"
#include "HVKPlatform/linux/parse/ProcessorList.h"
#include "HVKPlatform/linux/parse/Scan.h"

namespace hvk {

namespace {

constexpr const char* Source = "task iterator";

// Numbers that the kernel gave to capabilities and to the first namespaces once and for all.
constexpr unsigned SystemAdministration = 21, PerformanceMonitoring = 38, Bpf = 39;
constexpr ino_t InitialPidNamespace = 0xEFFFFFFCU, InitialTimeNamespace = 0xEFFFFFFAU;

/// What the kernel said while it refused the program: of a long explanation the last line before its statistics.
std::string lastWords(std::string_view log) {
    std::string_view last;
    bool complete = true;
    while (!log.empty()) {
        const std::string_view line = parse::trimmed(parse::takeLine(log, complete));
        if (!line.empty() && !line.starts_with("processed ")) last = line;
    }
    return std::string(last.substr(0, 200));
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

struct Unload {
    void operator()(HVKTaskProgram* program) const { hvkTaskProgramUnload(program); }
};
using Program = std::unique_ptr<HVKTaskProgram, Unload>;

/// Reads what the program in the kernel writes.
class TaskIteratorReader : public TaskReader {
public:
    explicit TaskIteratorReader(Program program) : program_(std::move(program)) {}

    Result<std::span<parse::TaskRecord>> read() override {
        // There is no way back to the beginning: each pass has a descriptor of its own.
        countSystemCalls();
        const int descriptor = hvkTaskProgramRead(program_.get());
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

TaskIteratorRefusal refusalOfKernel(int error, std::string_view log) {
    Failure failure = failureFromErrno(error, Source);
    std::string detail = "the kernel refused the program: " + failure.detail;
    if (const std::string words = lastWords(log); !words.empty()) detail += " (" + words + ")";
    if (failure.kind == FailureKind::Denied)
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
    if (::access("/sys/kernel/btf/vmlinux", F_OK) != 0) {
        refusal = {unsupportedBecause("the kernel does not tell its types (/sys/kernel/btf/vmlinux)"),
                   "a kernel built with CONFIG_DEBUG_INFO_BTF"};
        return nullptr;
    }
    const auto line = root.readLine("/sys/devices/system/cpu/possible");
    const auto processors = line ? parse::parseProcessorList(*line) : std::nullopt;
    if (!processors || processors->empty() || processors->back() >= HVKTaskProgramProcessors) {
        refusal = {unsupportedBecause("the list of possible processors cannot be read, or is too long"), {}};
        return nullptr;
    }

    std::array<unsigned char, HVKTaskProgramProcessors> possible{};
    for (const std::uint32_t processor : *processors) possible[processor] = 1;
    std::string log(std::size_t{1} << 20, '\0');
    HVKTaskProgram* program = nullptr;
    countSystemCalls(16);
    const int error = hvkTaskProgramLoad(possible.data(), processors->back() + 1, log.data(),
                                         static_cast<unsigned>(log.size()), &program);
    if (error != 0) {
        refusal = refusalOfKernel(error, log.c_str());
        return nullptr;
    }
    return std::make_unique<TaskIteratorReader>(Program(program));
}

}  // namespace hvk
