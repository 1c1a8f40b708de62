// TaskRecordStream.h - reads a descriptor of task records to its end, into a buffer that is kept.
#pragma once

#include <span>
#include <vector>

#include "HVKPlatform/Result.h"
#include "HVKPlatform/linux/parse/TaskRecord.h"

namespace hvk {

/// The buffer of a pass. It grows while a pass has more processes than any before and is never given back.
class TaskRecordStream {
public:
    /// Everything that `descriptor` has to give, checked and in order (parse::takeTaskRecords); valid until the next
    /// call. An interrupted read and one without anything for now are tried again, the latter for a bounded number of
    /// times. The descriptor stays open.
    Result<std::span<parse::TaskRecord>> read(int descriptor);

private:
    std::vector<parse::TaskRecord> buffer_;
};

}  // namespace hvk
