// ProcessSource.h - where the process table of a Linux machine is read from: /proc, or the kernel's task iterator.
//
// Both give the same figures in the same units: identity = start in clock ticks + 1, memory = anonymous pages in
// memory, bytes = read_bytes and write_bytes of all threads, wakeups = voluntary context switches of the main thread.
// Memory that several processes share and pages of files are left out: they would be counted once for each process. So
// is shared memory (shmem, tmpfs), which the kernel counts as pages of a file. Wakeups of other threads are left out
// because /proc would take one file for each thread. Processor time is in nanoseconds; /proc tells it in two numbers of
// whole clock ticks, and may therefore be up to two ticks behind the iterator.
#pragma once

#include <cstdint>
#include <span>
#include <vector>

#include "HVKPlatform/ports/ProcessTable.h"

namespace hvk {

/// Which source a machine's table is read from.
enum class ProcessSourceChoice {
    Best,      ///< the task iterator where it can be had, else /proc
    Proc,      ///< /proc
    Iterator,  ///< the task iterator or nothing: for tests and measurements
};

/// One way to read the table. The calls mean what they mean in ProcessTablePort. Thread: one at a time.
class ProcessSource {
public:
    virtual ~ProcessSource() = default;
    virtual Status pids(std::vector<std::int32_t>& pids) = 0;
    virtual Result<ProcessInformation> information(std::int32_t pid) = 0;
    virtual void usage(std::span<const std::int32_t> pids, std::span<ProcessUsage> usage) = 0;

    /// Gets ready to be asked for these, ascending, which were listed elsewhere; what is kept of others is let go.
    virtual void prepare(std::span<const std::int32_t> pids) = 0;
};

}  // namespace hvk
