#include "HVKStatistics/processes/HVKStatisticsProcesses.h"

#include <algorithm>
#include <string_view>
#include <utility>

#include "HVKStatistics/processes/ProcessFamilies.h"
#include "HVKStatistics/processes/ProcessNames.h"
#include "HVKStatistics/processes/ProcessUpdate.h"

namespace hvk {

namespace {

constexpr std::int64_t DefaultFrequency = 1'000'000'000;

/// Puts pids in strictly ascending order. A machine answers so; the common case costs one look at each.
void putInOrder(std::vector<std::int32_t>& pids) {
    const auto isOutOfOrder = [](std::int32_t a, std::int32_t b) { return a >= b; };
    if (!pids.empty() && pids.front() >= 0 && std::adjacent_find(pids.begin(), pids.end(), isOutOfOrder) == pids.end())
        return;
    std::sort(pids.begin(), pids.end());
    pids.erase(std::unique(pids.begin(), pids.end()), pids.end());
    pids.erase(pids.begin(), std::lower_bound(pids.begin(), pids.end(), 0));
}

/// Whether another process runs under the item's pid now. An item without an identity was unreadable when it was made,
/// and then one that has an identity is another; or it came with a snapshot, and takes the identity over.
bool isReused(StatisticsProcessItem& item, const ProcessUsage& usage) {
    if (usage.identity == 0 || usage.identity == item.identity) return false;
    if (item.identity != 0 || !item.readable) return true;
    item.identity = usage.identity;
    return false;
}

/// Whether a record of a snapshot is about another process than the item.
bool isAnother(const StatisticsProcessItem& item, const ProcessSnapshotRecord& record) {
    if (item.name != record.name || item.path != record.path || item.user != record.user) return true;
    if (record.type != 0 && record.type != item.type) return true;
    return record.usage.kind != ProcessUsageKind::None && record.usage.cputime < item.cpuTime;
}

}  // namespace

HVKStatisticsProcesses::HVKStatisticsProcesses(Machine& machine)
    : machine_(machine),
      table_(machine.processTable()),
      tbfrequency_(timebaseFrequency()),
      counterFrequency_(tbfrequency_) {}

HVKStatisticsProcesses& HVKStatisticsProcesses::Processes() {
    static HVKStatisticsProcesses& instance = *new HVKStatisticsProcesses;
    return instance;
}

void HVKStatisticsProcesses::update(double time) {
    updateProcesses(time);
    updateStats(time);
    updateHierarchy();
}

std::int64_t HVKStatisticsProcesses::timebaseFrequency() {
    const std::int64_t frequency = table_.timebaseFrequency().valueOr(0);
    return frequency > 0 ? frequency : DefaultFrequency;
}

std::optional<std::vector<std::int32_t>> HVKStatisticsProcesses::pids() {
    std::vector<std::int32_t> pids;
    if (!table_.pids(pids)) return std::nullopt;
    putInOrder(pids);
    if (pids.empty()) return std::nullopt;
    return pids;
}

bool HVKStatisticsProcesses::isProcessFrozen(std::int32_t pid) { return table_.isUnresponsive(pid).valueOr(false); }

std::int32_t HVKStatisticsProcesses::controllingOf(std::int32_t pid, std::int32_t fallback) {
    if (!knowsResponsible_) return fallback;
    const auto responsible = table_.responsible(pid);
    if (!responsible && responsible.failure().kind == FailureKind::Unsupported) knowsResponsible_ = false;
    return responsible.valueOr(fallback);
}

// --- a pass
// -----------------------------------------------------------------------------------------------------------

void HVKStatisticsProcesses::updateProcesses(double time) {
    areCountersNew_ = false;
    if (!table_.pids(pids_)) return;
    putInOrder(pids_);
    // No machine is without a process: this is a reading that failed.
    if (pids_.empty()) return;
    time_ = time;
    readCounters();
    replaceTable([this](std::size_t index, StatisticsProcessItem& item) { return isReused(item, usage_[index]); },
                 [this](std::size_t index) { return makeItem(pids_[index], usage_[index]); });
}

void HVKStatisticsProcesses::readCounters() {
    usage_.resize(pids_.size());
    table_.usage(pids_, usage_);
    areCountersNew_ = true;
    counterFrequency_ = tbfrequency_;
}

/// Makes the list that belongs to `pids_`: of the items of before, and of new ones where there is none or where
/// `isAnother(place, item)` says so. When everything is as before the list stays.
template <class IsAnother, class Make>
void HVKStatisticsProcesses::replaceTable(IsAnother&& isAnother, Make&& make) {
    const StatisticsProcessList& before = *list_;
    std::size_t same = 0;
    if (std::equal(pids_.begin(), pids_.end(), before.pids().begin(), before.pids().end()))
        while (same < pids_.size() && !isAnother(same, *before[same])) ++same;
    if (same == before.size() && same == pids_.size()) return;

    StatisticsProcessList::Items items;
    items.reserve(pids_.size());
    std::size_t old = 0;
    for (std::size_t index = 0; index < pids_.size(); ++index) {
        for (; old < before.size() && before.pids()[old] < pids_[index]; ++old) before[old]->exists = false;
        const bool isListed = old < before.size() && before.pids()[old] == pids_[index];
        if (isListed && !isAnother(index, *before[old])) {
            items.push_back(before[old]);
        } else {
            if (isListed) before[old]->exists = false;
            items.push_back(make(index));
        }
        if (isListed) ++old;
    }
    for (; old < before.size(); ++old) before[old]->exists = false;

    auto list = std::make_shared<const StatisticsProcessList>(std::move(items));
    {
        std::lock_guard lock(listMutex_);
        list_.swap(list);
    }
    // What is left of the list of before ends here, outside the lock.
}

std::shared_ptr<StatisticsProcessItem> HVKStatisticsProcesses::makeItem(std::int32_t pid, const ProcessUsage& usage) {
    auto item = std::make_shared<StatisticsProcessItem>(pid);
    item->isNew = true;
    item->exists = true;
    auto answer = table_.information(pid);
    if (answer) {
        item->readable = true;
        item->user = answer->user;
        item->parent = answer->parent;
        item->identity = answer->identity;
        item->controlling = controllingOf(pid, -1);
    } else {
        item->unreadableReason = std::make_shared<const Failure>(answer.failure());
        item->identity = usage.identity;
    }
    const ProcessInformation information = std::move(answer).valueOr({});
    updateProcessNameWithPath(table_, information, pathForProcess(table_, pid).value_or(""), *item);
    if (item->name.starts_with("Web App"))
        if (const auto bundle = pathForWebApp(table_, pid))
            updateProcessNameWithPath(table_, information, *bundle, *item);
    item->type = information.startsServices ? StatisticsProcessTypeLaunchd : typeForProcess(table_, *item);
    return item;
}

void HVKStatisticsProcesses::updateStats(double time) {
    time_ = time;
    if (!areCountersNew_) {
        // A source may answer from the reading that the list came from, so the list is read anew with the counters.
        (void)table_.pids(pids_);
        pids_.assign(list_->pids().begin(), list_->pids().end());
        readCounters();
    }
    areCountersNew_ = false;
    for (std::size_t index = 0; index < list_->size(); ++index) {
        StatisticsProcessItem& item = *(*list_)[index];
        // Counters of a process that took the pid over since the list was made belong to the next pass.
        if (!item.readable || isReused(item, usage_[index])) continue;
        updateFigures(item, usage_[index], time);
        if (usage_[index].kind == ProcessUsageKind::CPUOnly) ProcessUpdateMemory2(item, table_);
    }
}

void HVKStatisticsProcesses::updateFigures(StatisticsProcessItem& item, const ProcessUsage& usage, double now) {
    if (usage.kind == ProcessUsageKind::None) return;
    const bool isIdle = ProcessUpdateCPU(item, now, usage.cputime, counterFrequency_);
    item.idle = isIdle;
    if (!isIdle) item.lastUsageTime = now;
    item.idleTime = item.lastUsageTime > 0 ? now - item.lastUsageTime : 0;
    if (usage.kind != ProcessUsageKind::Complete) return;
    ProcessUpdateMemory(item, usage.memory);
    ProcessUpdateIO(item, now, usage.diskRead, usage.diskWritten);
    ProcessUpdatePower(item, now, usage.wakeups, usage.cputime, counterFrequency_);
}

std::shared_ptr<const StatisticsProcessList> HVKStatisticsProcesses::immutableProcesses() const {
    std::lock_guard lock(listMutex_);
    return list_;
}

std::shared_ptr<StatisticsProcessItem> HVKStatisticsProcesses::processWithPid(std::int32_t pid) const {
    return immutableProcesses()->find(pid);
}

// --- snapshots
// --------------------------------------------------------------------------------------------------------

ProcessSnapshotRecord HVKStatisticsProcesses::recordAt(std::size_t index) {
    const StatisticsProcessItem& item = *(*list_)[index];
    ProcessSnapshotRecord record;
    record.pid = item.pid;
    record.user = item.user;
    record.parent = item.parent;
    record.controlling = controllingOf(item.pid, item.controlling);
    record.name = item.name;
    record.path = item.path;
    record.type = item.type;
    return record;
}

ProcessSnapshot HVKStatisticsProcesses::snapshot() {
    ProcessSnapshot snapshot;
    snapshot.frequency = counterFrequency_;
    snapshot.time = time_;
    snapshot.processes.reserve(list_->size());
    for (std::size_t index = 0; index < list_->size(); ++index) snapshot.processes.push_back(recordAt(index));
    return snapshot;
}

Value HVKStatisticsProcesses::allProcesses() {
    ProcessSnapshot whole = snapshot();
    for (std::size_t index = 0; index < usage_.size() && index < list_->size(); ++index) {
        const StatisticsProcessItem& item = *(*list_)[index];
        if (!item.readable || (usage_[index].identity != 0 && usage_[index].identity != item.identity)) continue;
        ProcessUsage& usage = whole.processes[index].usage;
        usage = usage_[index];
        // The footprint that came another way; asked for now when no figure was made of these counters yet.
        if (usage.kind == ProcessUsageKind::CPUOnly)
            usage.memory = areCountersNew_ ? table_.footprint(item.pid).valueOr(0) : item.memory.load();
    }
    return whole.toValue();
}

Value HVKStatisticsProcesses::basicProcesses() { return snapshot().toValue(false); }

void HVKStatisticsProcesses::updateWithProcesses(const Value& dictionary) {
    if (snapshotHealth_ == nullptr)
        snapshotHealth_ = &machine_.diagnostics().source("process snapshot", "processes that another program reads");
    const auto snapshot = ProcessSnapshot::fromValue(dictionary);
    if (!snapshot) {
        snapshotHealth_->failed(snapshot.failure());
        return;
    }
    snapshotHealth_->works();

    const std::vector<ProcessSnapshotRecord>& records = snapshot->processes;
    time_ = snapshot->time;
    counterFrequency_ = snapshot->frequency;
    pids_.clear();
    usage_.clear();
    for (const ProcessSnapshotRecord& record : records) {
        pids_.push_back(record.pid);
        usage_.push_back(record.usage);
    }
    areCountersNew_ = false;
    replaceTable([&](std::size_t index, StatisticsProcessItem& item) { return isAnother(item, records[index]); },
                 [&](std::size_t index) {
                     const ProcessSnapshotRecord& record = records[index];
                     auto item = std::make_shared<StatisticsProcessItem>(record.pid);
                     item->isNew = true;
                     item->exists = true;
                     item->readable =
                         record.user != StatisticsProcessNoUser || record.usage.kind != ProcessUsageKind::None;
                     item->user = record.user;
                     item->name = record.name;
                     item->path = record.path;
                     item->type = record.type != 0 ? record.type : typeForProcess(table_, *item);
                     if (!item->readable)
                         item->unreadableReason = std::make_shared<const Failure>(Failure{
                             FailureKind::Denied, "process snapshot", "the program that sent it could not read it"});
                     return item;
                 });
    for (std::size_t index = 0; index < records.size(); ++index) {
        StatisticsProcessItem& item = *(*list_)[index];
        item.parent = records[index].parent;
        item.controlling = records[index].controlling;
        updateFigures(item, usage_[index], time_);
        if (usage_[index].kind == ProcessUsageKind::CPUOnly) ProcessUpdateMemory(item, usage_[index].memory);
    }
}

// --- families and lists
// -----------------------------------------------------------------------------------------------

void HVKStatisticsProcesses::updateHierarchy() {
    hierarchy_.update(list_);
    for (const auto& kind : wanted_)
        for (const auto& wanted : kind)
            if (wanted) wanted->combine ? combinedProcessesWithConfig(*wanted) : processesWithConfig(*wanted);
}

ProcessHierarchyNode* HVKStatisticsProcesses::hierarchy(const ProcessHierarchyNodes& nodes,
                                                        std::int32_t itemWithPid) const {
    return findNode(nodes, itemWithPid);
}

void HVKStatisticsProcesses::hierarchyRemoveOldProcesses(ProcessHierarchyNodes& nodes) { removeEndedNodes(nodes); }

double HVKStatisticsProcesses::hierarchySort(ProcessHierarchyNode& node, ProcessMetric key) {
    return sumNode(node, key);
}

std::shared_ptr<StatisticsProcessItem> HVKStatisticsProcesses::itemAt(std::size_t index) const {
    return index == NoProcess ? nullptr : (*list_)[index];
}

std::shared_ptr<StatisticsProcessItem> HVKStatisticsProcesses::parentForProcess(StatisticsProcessItem& item) const {
    return itemAt(familyParent(*list_, item));
}

std::shared_ptr<StatisticsProcessItem> HVKStatisticsProcesses::spotlightProcess() const {
    ProcessFamilies families;
    families.find(*list_);
    return itemAt(families.spotlight());
}

std::shared_ptr<StatisticsProcessItem> HVKStatisticsProcesses::notificationCenterProcess() const {
    ProcessFamilies families;
    families.find(*list_);
    return itemAt(families.notificationCenter());
}

std::shared_ptr<StatisticsProcessItem> HVKStatisticsProcesses::safariProcess(std::uint32_t user) const {
    ProcessFamilies families;
    families.find(*list_);
    return itemAt(families.safari(user));
}

const ProcessListRows& HVKStatisticsProcesses::processesWithConfig(const ProcessListConfig& configuration) {
    return lists_.make(configuration, *list_);
}

const ProcessListRows& HVKStatisticsProcesses::combinedProcessesWithConfig(const ProcessListConfig& configuration) {
    return lists_.make(configuration, hierarchy_);
}

const ProcessListRows* HVKStatisticsProcesses::sortedProcesses(const ProcessListConfig& configuration) {
    wanted_[static_cast<std::size_t>(configuration.key)][configuration.combine ? 1 : 0] = configuration;
    return lists_.find(configuration.key, configuration.combine);
}

Value HVKStatisticsProcesses::listValue(const Value& configuration, ListKind kind) {
    if (configHealth_ == nullptr)
        configHealth_ = &machine_.diagnostics().source("process list configuration", "lists that the host asks for");
    const auto config = ProcessListConfig::fromValue(configuration);
    if (!config) {
        configHealth_->failed(config.failure());
        return nullptr;
    }
    configHealth_->works();
    switch (kind) {
        case ListKind::Processes: return processesWithConfig(*config).toValue();
        case ListKind::Families: return combinedProcessesWithConfig(*config).toValue();
        case ListKind::Cached:
            if (const ProcessListRows* list = sortedProcesses(*config)) return list->toValue();
    }
    return nullptr;
}

Value HVKStatisticsProcesses::sortedCache() const { return lists_.toValue(); }

const std::vector<ProcessListRow>& HVKStatisticsProcesses::latest(ProcessListKey key) const {
    static const std::vector<ProcessListRow> none;
    const ProcessListRows* list = lists_.latest(key);
    return list == nullptr ? none : list->rows;
}

}  // namespace hvk
