#include "HVKPlatform/linux/ProcessLineage.h"

#include <unistd.h>

#include <algorithm>

#include "HVKPlatform/linux/SystemCalls.h"
#include "HVKPlatform/linux/parse/ProcessStat.h"
#include "HVKPlatform/linux/parse/Scan.h"

namespace hvk {

namespace {

constexpr std::size_t LongestGroupFile = 65536;
constexpr int MostAncestors = 32;

std::string fileOf(std::int32_t pid, const char* name) { return "/proc/" + std::to_string(pid) + "/" + name; }

}  // namespace

void ProcessLineage::beginPass() {
    descents_.clear();
    groups_.clear();
    leaders_.clear();
}

void ProcessLineage::makeRoom() {
    if (size() + 1 > MostProcesses) beginPass();
}

Failure ProcessLineage::failureOf(std::int32_t pid, Failure failure) const {
    if (failure.kind != FailureKind::Absent) return failure;
    countSystemCalls();
    if (::access(root_.path("/proc/" + std::to_string(pid)).c_str(), F_OK) != 0) {
        failure.kind = FailureKind::Gone;
        failure.detail = "the process ended";
    }
    return failure;
}

Result<ProcessDescent> ProcessLineage::descent(std::int32_t pid) {
    if (const auto known = descents_.find(pid); known != descents_.end()) return known->second;
    const auto read = [&]() -> Result<ProcessDescent> {
        const auto text = root_.readFile(fileOf(pid, "stat"), 4096);
        if (!text) return failureOf(pid, text.failure());
        const auto stat = parse::parseProcessStat(*text);
        if (!stat) return stat.failure();
        return ProcessDescent{stat->parent, stat->session, std::string(parse::shortCommand(*stat)),
                              stat->isKernelThread()};
    };
    makeRoom();
    return descents_.emplace(pid, read()).first->second;
}

Result<parse::ControlGroup> ProcessLineage::group(std::int32_t pid) {
    if (const auto known = groups_.find(pid); known != groups_.end()) return known->second;
    const auto read = [&]() -> Result<parse::ControlGroup> {
        const auto text = root_.readFile(fileOf(pid, "cgroup"), LongestGroupFile);
        if (text) return text->empty() ? parse::ControlGroup{} : parse::parseControlGroup(*text);
        Failure failure = failureOf(pid, text.failure());
        if (failure.kind == FailureKind::Absent) return parse::ControlGroup{};
        return failure;
    };
    makeRoom();
    return groups_.emplace(pid, read()).first->second;
}

/// The lowest pid that the kernel lists for a unit. A process of another pid namespace is listed as 0.
Result<std::int32_t> ProcessLineage::lowestOf(const parse::ControlGroup& group) const {
    const char* const unified[] = {"/sys/fs/cgroup", "/sys/fs/cgroup/unified"};
    const char* const separate[] = {"/sys/fs/cgroup/systemd", "/sys/fs/cgroup/pids"};
    Failure failure{FailureKind::Absent, group.path, "no process is listed"};
    // A path that leads out of the own namespace's root is nothing that can be opened here.
    if (group.path.find("/..") != std::string::npos) return failure;
    for (const char* mount : group.unified ? unified : separate) {
        const auto text = root_.readFile(mount + group.path + "/cgroup.procs");
        if (!text) {
            failure = text.failure();
            continue;
        }
        std::uint64_t lowest = 0;
        std::string_view rest = *text;
        bool complete = true;
        while (!rest.empty()) {
            const auto number = parse::toUnsigned(parse::takeLine(rest, complete));
            // A number without its line end may have been cut.
            if (complete && number && *number > 0 && *number <= INT32_MAX && (lowest == 0 || *number < lowest))
                lowest = *number;
        }
        if (lowest != 0) return static_cast<std::int32_t>(lowest);
    }
    return failure;
}

std::int32_t ProcessLineage::leaderOf(const parse::ControlGroup& group, std::int32_t pid) {
    if (group.leader == pid) return pid;
    // A copy: reading the leader's group may make room.
    const std::string path = group.path;
    const auto known = leaders_.find(path);
    if (known != leaders_.end()) return known->second != 0 ? known->second : highestIn(path, pid);
    std::int32_t leader = 0;
    if (group.leader > 0) {
        const auto its = this->group(group.leader);
        if (its && its->path == path) leader = group.leader;
    }
    if (leader == 0) leader = lowestOf(group).valueOr(0);
    makeRoom();
    leaders_.emplace(path, leader);
    return leader != 0 ? leader : highestIn(path, pid);
}

/// The furthest ancestor that is still of the unit.
std::int32_t ProcessLineage::highestIn(const std::string& path, std::int32_t pid) {
    for (int steps = 0; steps < MostAncestors; ++steps) {
        const auto own = descent(pid);
        if (!own || own->parent <= 1) break;
        const auto above = group(own->parent);
        if (!above || above->path != path) break;
        pid = own->parent;
    }
    return pid;
}

}  // namespace hvk
