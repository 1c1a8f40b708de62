// TaskReader.h - reads every process of the machine at once, as records; what IteratorSource stands on.
//
// An interface, so that a test hands over records of its own or fails at will.
#pragma once

#include <cstdint>
#include <span>

#include "HVKPlatform/Result.h"
#include "HVKPlatform/linux/parse/TaskRecord.h"

namespace hvk {

/// One way to come by task records. Thread: one at a time.
class TaskReader {
public:
    virtual ~TaskReader() = default;

    /// A record of each process, in ascending order of their numbers. They lie in a buffer of the reader, which the
    /// caller may reorder, until the next call. Unsupported when this machine can never give them.
    virtual Result<std::span<parse::TaskRecord>> read() = 0;

    /// Whether there is a process of this number now, be it one that nobody has reaped yet.
    virtual bool isThere(std::int32_t pid) = 0;
};

}  // namespace hvk
