// TaskRecords.h - makes sure that what was read from the task iterator is what its reader expects.
#pragma once

#include <cstddef>
#include <span>

#include "HVKPlatform/Result.h"
#include "HVKPlatform/linux/parse/TaskRecord.h"

namespace hvk::parse {

/// The records in the first `bytes` bytes of `buffer`, in ascending order, each process once (of two with one number,
/// the one that started later).
/// Reorders within the buffer and only where needed; allocates nothing. Malformed when the last record is cut, or when
/// one of them cannot be a process.
Result<std::span<TaskRecord>> takeTaskRecords(std::span<TaskRecord> buffer, std::size_t bytes);

}  // namespace hvk::parse
