#include "HVKPlatform/linux/IteratorSource.h"

#include <algorithm>
#include <iterator>
#include <string>
#include <utility>

#include "HVKPlatform/linux/parse/ProcessStat.h"

namespace hvk {

namespace {

constexpr std::uint64_t PassesBetweenComparisons = 64;

bool before(const parse::TaskRecord& record, std::int32_t pid) { return record.pid < pid; }

}  // namespace

IteratorSource::IteratorSource(std::unique_ptr<TaskReader> reader, ProcessSource& proc, std::uint64_t ticksPerSecond,
                               std::uint64_t pageSize, SourceHealth& health)
    : reader_(std::move(reader)),
      proc_(proc),
      nanosecondsPerTick_(1'000'000'000 / ticksPerSecond),
      pageSize_(pageSize),
      health_(health) {}

Status IteratorSource::read() {
    records_ = {};
    const auto records = reader_->read();
    if (!records) return records.failure();
    if (records->empty()) return Failure{FailureKind::Malformed, "task iterator", "it told of no process at all"};
    if (!(records->front().flags & parse::TaskHasMemory))
        return Failure{FailureKind::Unsupported, "task iterator", "this kernel counts memory in an unknown form"};
    records_ = *records;
    return {};
}

/// Looks for processes that /proc lists and the iterator does not tell of. One that began or ended between the two
/// readings proves nothing; one that was there before a reading and after it does.
Status IteratorSource::findHidden() {
    if (!proc_.pids(listed_)) return {};
    hidden_.clear();
    suspects_.clear();
    for (const std::int32_t pid : listed_) {
        if (find(pid) != nullptr) continue;
        if (const auto who = proc_.information(pid)) suspects_.push_back({pid, who->identity});
    }
    if (!suspects_.empty()) {
        if (auto again = read(); !again) return again;
        for (const Suspect& suspect : suspects_) {
            if (find(suspect.pid) != nullptr) continue;
            const auto who = proc_.information(suspect.pid);
            if (who && who->identity == suspect.identity) hidden_.push_back(suspect.pid);
        }
    }
    proc_.prepare(hidden_);
    health_.note(hidden_.empty() ? std::string()
                                 : "the kernel keeps " + std::to_string(hidden_.size()) +
                                       " of the processes from the iterator; these are read from /proc");
    return {};
}

Status IteratorSource::pids(std::vector<std::int32_t>& pids) {
    auto done = read();
    if (done && pass_++ % PassesBetweenComparisons == 0) done = findHidden();
    if (!done) {
        // Whoever reads /proc meanwhile keeps more of it than is wanted here: compared, and let go, next time.
        pass_ = 0;
        return done;
    }
    pids.clear();
    auto hidden = hidden_.begin();
    for (const parse::TaskRecord& record : records_) {
        for (; hidden != hidden_.end() && *hidden < record.pid; ++hidden) pids.push_back(*hidden);
        if (hidden != hidden_.end() && *hidden == record.pid) ++hidden;
        pids.push_back(record.pid);
    }
    pids.insert(pids.end(), hidden, hidden_.end());
    return {};
}

const parse::TaskRecord* IteratorSource::find(std::int32_t pid) const {
    const auto at = std::lower_bound(records_.begin(), records_.end(), pid, before);
    return at != records_.end() && at->pid == pid ? &*at : nullptr;
}

std::uint64_t IteratorSource::identityOf(const parse::TaskRecord& record) const {
    return record.start / nanosecondsPerTick_ + 1;
}

ProcessUsage IteratorSource::usageOf(const parse::TaskRecord& record) const {
    ProcessUsage usage;
    usage.identity = identityOf(record);
    usage.cputime = record.cputime;
    usage.kind = ProcessUsageKind::CPUOnly;
    if (!(record.flags & parse::TaskHasIO)) return usage;
    usage.memory = record.anonymousPages * pageSize_;
    usage.diskRead = record.diskRead;
    usage.diskWritten = record.diskWritten;
    usage.wakeups = record.wakeups;
    usage.kind = ProcessUsageKind::Complete;
    return usage;
}

void IteratorSource::usage(std::span<const std::int32_t> pids, std::span<ProcessUsage> usage) {
    missing_.clear();
    missingAt_.clear();
    auto record = records_.begin();
    for (std::size_t index = 0; index < pids.size(); ++index) {
        // As a rule the very next one.
        if (record != records_.end() && record->pid < pids[index]) ++record;
        if (record != records_.end() && record->pid < pids[index])
            record = std::lower_bound(record, records_.end(), pids[index], before);
        if (record != records_.end() && record->pid == pids[index]) {
            usage[index] = usageOf(*record);
        } else {
            missing_.push_back(pids[index]);
            missingAt_.push_back(index);
        }
    }
    if (missing_.empty()) return;
    missingUsage_.resize(missing_.size());
    proc_.usage(missing_, missingUsage_);
    for (std::size_t index = 0; index < missing_.size(); ++index) usage[missingAt_[index]] = missingUsage_[index];
}

Result<ProcessInformation> IteratorSource::information(std::int32_t pid) {
    const parse::TaskRecord* record = find(pid);
    if (record == nullptr) return proc_.information(pid);
    if (!reader_->isThere(pid)) return Failure{FailureKind::Gone, "task iterator", "the process has ended"};
    ProcessInformation information;
    information.pid = pid;
    information.parent = record->parent;
    information.user = record->user;
    parse::ProcessStat stat;
    stat.command = record->name;
    stat.flags = record->flags & parse::TaskIsKernelThread ? parse::ProcessStat::KernelThread : 0;
    information.command = parse::shortCommand(stat);
    information.identity = identityOf(*record);
    return information;
}

}  // namespace hvk
