// ProcessSource.h - where the process table of a Linux machine is read from: /proc, or the kernel's task iterator.
//
// Both give the same figures in the same units: time in nanoseconds, identity = start in clock ticks + 1, memory =
// anonymous pages in memory. Memory that several processes share and pages of files are left out: they would be counted
// once for each process. So is shared memory (shmem, tmpfs), which the kernel counts as pages of a file.
#pragma once

#include <cstdint>
#include <span>
#include <vector>

#include "HVKPlatform/ports/ProcessTable.h"

namespace hvk {

/// One way to read the table. The calls mean what they mean in ProcessTablePort. Thread: one at a time.
class ProcessSource {
public:
    virtual ~ProcessSource() = default;
    virtual Status pids(std::vector<std::int32_t>& pids) = 0;
    virtual Result<ProcessInformation> information(std::int32_t pid) = 0;
    virtual void usage(std::span<const std::int32_t> pids, std::span<ProcessUsage> usage) = 0;
};

}  // namespace hvk
