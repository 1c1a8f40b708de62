#include "HVKPlatform/linux/parse/TaskRecords.h"

#include <algorithm>
#include <cstring>

namespace hvk::parse {

namespace {

constexpr unsigned KnownFlags = TaskIsKernelThread | TaskHasMemory | TaskHasIO;

bool canBe(const TaskRecord& record) {
    return record.pid > 0 && record.parent >= 0 && (record.flags & ~KnownFlags) == 0 &&
           std::memchr(record.name, '\0', sizeof record.name) != nullptr;
}

/// Moves the last record of each process to the front; the number of processes.
std::size_t dropEarlier(std::span<TaskRecord> records) {
    std::size_t kept = 0;
    for (const TaskRecord& record : records) {
        if (kept != 0 && records[kept - 1].pid == record.pid) --kept;
        records[kept++] = record;
    }
    return kept;
}

}  // namespace

Result<std::span<TaskRecord>> takeTaskRecords(std::span<TaskRecord> buffer, std::size_t bytes) {
    if (bytes % sizeof(TaskRecord) != 0 || bytes > buffer.size_bytes())
        return Failure{FailureKind::Malformed, "task iterator", "the last record is cut"};
    std::span<TaskRecord> records = buffer.first(bytes / sizeof(TaskRecord));
    if (!std::all_of(records.begin(), records.end(), canBe))
        return Failure{FailureKind::Malformed, "task iterator", "a record is not that of a process"};

    const auto inOrder = [](const TaskRecord& one, const TaskRecord& next) { return one.pid < next.pid; };
    const auto outOfOrder = [&](const TaskRecord& one, const TaskRecord& next) { return !inOrder(one, next); };
    // As a rule they come in order, each once.
    if (std::adjacent_find(records.begin(), records.end(), outOfOrder) == records.end()) return records;
    std::sort(records.begin(), records.end(), [&](const TaskRecord& one, const TaskRecord& other) {
        return inOrder(one, other) || (one.pid == other.pid && one.start < other.start);
    });
    return records.first(dropEarlier(records));
}

}  // namespace hvk::parse
