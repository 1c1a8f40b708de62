// HVKStatisticsProcesses.h - the processes: one item each, their figures, their families, and lists of the busiest.
//
// It owns the table and the order of a pass. Figures are made in ProcessUpdate.h, names in ProcessNames.h, families in
// ProcessHierarchy.h, lists in ProcessLists.h; docs/processes.md says what each figure means.
//
//     HVKStatisticsProcesses processes(machine);
//     processes.update(machine.clock().wallSeconds());  // then every few seconds
//     processes.combinedProcessesWithConfig({ProcessListKey::CPU, 5, 0, true}).rows[0].process->name;  // "Browser"
//
// Steady passes allocate nothing.
#pragma once

#include <array>
#include <concepts>
#include <cstdint>
#include <memory>
#include <mutex>
#include <optional>
#include <span>
#include <vector>

#include "HVKBase/Export.h"
#include "HVKPlatform/Machine.h"
#include "HVKPlatform/Value.h"
#include "HVKStatistics/core/StatisticsRoles.h"
#include "HVKStatistics/processes/ProcessHierarchy.h"
#include "HVKStatistics/processes/ProcessLists.h"
#include "HVKStatistics/processes/ProcessSnapshot.h"
#include "HVKStatistics/processes/StatisticsProcessItem.h"
#include "HVKStatistics/processes/StatisticsProcessList.h"

namespace hvk {

/// The processes module. Thread: everything on the thread that updates it (the sampling thread), but for
/// `immutableProcesses` and `processWithPid`, which any thread may call.
class HVK_EXPORT HVKStatisticsProcesses : public StatisticsModuleRole {
public:
    /// Reads the time base only; there are no processes until the first update.
    explicit HVKStatisticsProcesses(Machine& machine = Machine::current());

    /// An instance for a host that wants only this module; made on first use. The framework has one of its own.
    static HVKStatisticsProcesses& Processes();

    /// A whole pass: `updateProcesses`, `updateStats` and `updateHierarchy`.
    void update(double time);

    /// Lists the processes and reads their counters. Who is new gets an item with name, path and type; who ended loses
    /// it, and its item `exists` no longer. A pid under which another process runs now is a new process. When the list
    /// cannot be read, the processes stay as they were. A process that the kernel does not describe is listed all the
    /// same, not `readable` and with `unreadableReason`.
    void updateProcesses(double time);

    /// Makes the figures of every readable process from the counters that `updateProcesses` read for this pass, or from
    /// new ones when it did not run since the last call. A process seen for the first time gets zeros. One whose
    /// counters cannot be read keeps its figures; where only processor time is known, disk rates and energy are kept.
    void updateStats(double time);

    /// Places every readable process in its family anew, and makes the lists again that `sortedProcesses` was asked
    /// for.
    void updateHierarchy();

    /// The processes of the latest pass; the same list as long as no process starts or ends.
    const StatisticsProcessList& processes() const { return *list_; }

    /// The same for any thread: a finished list, which never changes. Its items go on living and changing.
    std::shared_ptr<const StatisticsProcessList> immutableProcesses() const;

    /// The process of a pid in the finished list, or null. Thread: any.
    std::shared_ptr<StatisticsProcessItem> processWithPid(std::int32_t pid) const;

    /// Every pid, ascending; nothing when they cannot be listed. Asks the machine.
    std::optional<std::vector<std::int32_t>> pids();

    /// Time-base ticks per second; 1000000000 when the machine does not know or answers nothing above 0. Asks the
    /// machine.
    std::int64_t timebaseFrequency();

    /// The same, as it was read at construction.
    std::int64_t tbfrequency() const { return tbfrequency_; }
    void setTbfrequency(std::int64_t frequency) { tbfrequency_ = frequency; }

    /// When the processes were last updated, seconds since 1970; 0 before.
    double time() const { return time_; }

    /// Whether the process is an application that does not answer its window server; false when nobody can tell.
    bool isProcessFrozen(std::int32_t pid);

    /// The table with the counters of the latest pass, for another program: the form of ProcessSnapshot.h. The
    /// responsible processes are asked for afresh.
    Value allProcesses();

    /// The same without counters.
    Value basicProcesses();

    /// Takes the table that another program read in place of a pass of its own: `updateProcesses` and `updateStats`
    /// with the snapshot's processes, counters, time base and time. A process whose user, name, path or type differs
    /// from before, or whose processor time ran backwards, is a new one. A snapshot that makes no sense changes
    /// nothing; the machine's diagnostics say why.
    void updateWithProcesses(const Value& snapshot);

    /// The families: top-level nodes with their children.
    ProcessHierarchyNodes& hierarchy() { return hierarchy_.nodes(); }
    const ProcessHierarchyNodes& hierarchy() const { return hierarchy_.nodes(); }

    /// The node of a pid among `nodes` and all below them, or null.
    ProcessHierarchyNode* hierarchy(const ProcessHierarchyNodes& nodes, std::int32_t itemWithPid) const;

    /// Takes the nodes of processes that ended out of the tree, at every level; what hung under one takes its place.
    void hierarchyRemoveOldProcesses(ProcessHierarchyNodes& nodes);

    /// The node's own figure plus the sums of all its children; each is left in its node.
    double hierarchySort(ProcessHierarchyNode& node, ProcessMetric key);

    /// The process that the item hangs under by descent, null for a row of its own. Helpers of Spotlight, of the
    /// Notification Center and of Safari hang under these whatever it says.
    std::shared_ptr<StatisticsProcessItem> parentForProcess(StatisticsProcessItem& item) const;

    /// The first process whose type has bit 4; null when there is none. Indexers that carry the bit come last.
    std::shared_ptr<StatisticsProcessItem> spotlightProcess() const;

    /// The first whose type has bit 64; null when there is none.
    std::shared_ptr<StatisticsProcessItem> notificationCenterProcess() const;

    /// The first whose type has bit 8 and whose user is `user`; null when there is none.
    std::shared_ptr<StatisticsProcessItem> safariProcess(std::uint32_t user) const;

    /// The busiest processes now. The list is also kept in the cache, under the configuration's key.
    const ProcessListRows& processesWithConfig(const ProcessListConfig& configuration);

    /// The busiest families of the latest `updateHierarchy`, kept in the same way.
    const ProcessListRows& combinedProcessesWithConfig(const ProcessListConfig& configuration);

    /// The list that is in the cache for the configuration, or null. Whoever asks is remembered: from then on
    /// `updateHierarchy` makes that list, with the newest configuration for its key.
    const ProcessListRows* sortedProcesses(const ProcessListConfig& configuration);

    /// The same three with dictionaries: a configuration as ProcessListConfig::fromValue reads it, the rows as
    /// ProcessListRows::toValue writes them. Null when there is no list, and for a configuration that makes no sense;
    /// the machine's diagnostics say why. (Templates, so that {ProcessListKey::CPU, 5} is no dictionary.)
    template <std::same_as<Value> Dictionary>
    Value processesWithConfig(const Dictionary& configuration) {
        return listValue(configuration, ListKind::Processes);
    }
    template <std::same_as<Value> Dictionary>
    Value combinedProcessesWithConfig(const Dictionary& configuration) {
        return listValue(configuration, ListKind::Families);
    }
    template <std::same_as<Value> Dictionary>
    Value sortedProcesses(const Dictionary& configuration) {
        return listValue(configuration, ListKind::Cached);
    }

    /// Every list in the cache by its cache key: {"cpu": [...], "power-combined": [...]}.
    Value sortedCache() const;

    /// Empties the cache, so that no list is shown that was made before some figure changed.
    void clearSortedCache() { lists_.clear(); }

    // The list of each kind that was made last, of processes or of families; empty before the first.
    const std::vector<ProcessListRow>& processesCPU() const { return latest(ProcessListKey::CPU); }
    const std::vector<ProcessListRow>& processesMemory() const { return latest(ProcessListKey::Memory); }
    const std::vector<ProcessListRow>& processesDisks() const { return latest(ProcessListKey::DiskActivity); }
    const std::vector<ProcessListRow>& processesDisksRead() const { return latest(ProcessListKey::DiskRead); }
    const std::vector<ProcessListRow>& processesDisksWrite() const { return latest(ProcessListKey::DiskWrite); }
    const std::vector<ProcessListRow>& processesNetwork() const { return latest(ProcessListKey::Network); }
    const std::vector<ProcessListRow>& processesNetworkDownload() const {
        return latest(ProcessListKey::NetworkDownload);
    }
    const std::vector<ProcessListRow>& processesNetworkUpload() const { return latest(ProcessListKey::NetworkUpload); }
    const std::vector<ProcessListRow>& processesPower() const { return latest(ProcessListKey::Power); }

    /// Stored only.
    bool demo() const { return demo_; }
    void setDemo(bool demo) override { demo_ = demo; }

private:
    enum class ListKind : std::uint8_t { Processes, Families, Cached };

    template <class IsAnother, class Make>
    void replaceTable(IsAnother&& isAnother, Make&& make);
    std::shared_ptr<StatisticsProcessItem> makeItem(std::int32_t pid, const ProcessUsage& usage);
    void readCounters();
    void updateFigures(StatisticsProcessItem& item, const ProcessUsage& usage, double now);
    std::int32_t controllingOf(std::int32_t pid, std::int32_t fallback);
    ProcessSnapshot snapshot();
    ProcessSnapshotRecord recordAt(std::size_t index);
    std::shared_ptr<StatisticsProcessItem> itemAt(std::size_t index) const;
    Value listValue(const Value& configuration, ListKind kind);
    const std::vector<ProcessListRow>& latest(ProcessListKey key) const;

    Machine& machine_;
    ProcessTablePort& table_;
    std::int64_t tbfrequency_;
    double time_ = 0;
    bool knowsResponsible_ = true;  ///< until the machine says that it never does
    bool demo_ = false;

    mutable std::mutex listMutex_;  ///< other threads take `list_` under it; the sampling thread alone changes it
    std::shared_ptr<const StatisticsProcessList> list_ = std::make_shared<const StatisticsProcessList>();

    // Kept between passes so that a steady one allocates nothing.
    std::vector<std::int32_t> pids_;
    std::vector<ProcessUsage> usage_;  ///< in the order of `list_`
    bool areCountersNew_ = false;      ///< no figures were made from them yet
    std::int64_t counterFrequency_;    ///< ticks per second of `usage_`

    ProcessHierarchy hierarchy_;
    ProcessLists lists_;
    std::array<std::array<std::optional<ProcessListConfig>, 2>, ProcessListKeyCount> wanted_;
    SourceHealth* snapshotHealth_ = nullptr;  ///< registered when a host first sends one
    SourceHealth* configHealth_ = nullptr;
};

}  // namespace hvk
