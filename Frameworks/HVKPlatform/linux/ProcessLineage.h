// ProcessLineage.h - who started a process: parents, sessions and systemd units, as far as one pass needs them.
//
// A process is read at most once between two calls of `beginPass`: /proc/[pid]/stat and /proc/[pid]/cgroup, three
// system calls each. Ancestors and leaders that many processes share are read once for all of them. It owns no opinion
// on who is responsible; ProcessIdentity has it.
#pragma once

#include <cstdint>
#include <string>
#include <unordered_map>

#include "HVKPlatform/Result.h"
#include "HVKPlatform/linux/LinuxRoot.h"
#include "HVKPlatform/linux/parse/ControlGroup.h"

namespace hvk {

/// What /proc/[pid]/stat tells of a process's descent.
struct ProcessDescent {
    std::int32_t parent = 0;
    std::int32_t session = 0;  ///< the pid of the session's leader, which may have ended; 0 for threads of the kernel
    std::string command;       ///< the short name
    bool isKernelThread = false;
};

/// The lineage of processes. What it hands out stays valid until the next question. Thread: one at a time.
class ProcessLineage {
public:
    explicit ProcessLineage(const LinuxRoot& root) : root_(root) {}

    /// Forgets all processes: what is asked from here on is read anew.
    void beginPass();

    /// Gone when it ended, Denied when procfs hides it.
    Result<ProcessDescent> descent(std::int32_t pid);

    /// The unit of a process, of kind None on a kernel without control groups. Gone and Denied as above.
    Result<parse::ControlGroup> group(std::int32_t pid);

    /// The process that an application's unit was made for: the one in its name while it lives there, else the lowest
    /// living pid of the unit; when the kernel lists none, the furthest ancestor of `pid` within the unit.
    std::int32_t leaderOf(const parse::ControlGroup& group, std::int32_t pid);

    /// The failure of reading a file of a process: what is missing of a process that lives is Absent, what is missing
    /// with it Gone.
    Failure failureOf(std::int32_t pid, Failure failure) const;

    /// Processes that are remembered now; never more than `MostProcesses`.
    std::size_t size() const { return descents_.size() + groups_.size() + leaders_.size(); }

    /// What is remembered is forgotten beyond this.
    static constexpr std::size_t MostProcesses = 16384;

private:
    Result<std::int32_t> lowestOf(const parse::ControlGroup& group) const;
    std::int32_t highestIn(const std::string& path, std::int32_t pid);
    void makeRoom();

    const LinuxRoot& root_;
    std::unordered_map<std::int32_t, Result<ProcessDescent>> descents_;
    std::unordered_map<std::int32_t, Result<parse::ControlGroup>> groups_;
    std::unordered_map<std::string, std::int32_t> leaders_;  ///< by path of the unit; 0 where the kernel lists none
};

}  // namespace hvk
